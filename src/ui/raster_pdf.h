// PDF files whose every page is one full-page JPEG image: the pages painted on screen, saved as
// they look. A small writer of its own, apart from the vector PDF writer.
#pragma once

#include <QImage>

#include <cstdint>
#include <string>
#include <vector>

#include "base/file_io.h"

namespace quillet {

// Writes the pages one by one as they are painted, so no more than one page's JPEG is held at a
// time. The number of pages is known up front (the page tree lists them before the first page).
// The file appears when Finish completes; a writer destroyed before that leaves nothing behind.
class TRasterPdfWriter {
 public:
  TRasterPdfWriter(const std::string& FileName, int32_t PageCount);
  // Encodes Page as JPEG (quality 85) and writes it stretched over a WidthPt x HeightPt page.
  void AddPage(const QImage& Page, float WidthPt, float HeightPt);
  // Writes the cross-reference table and the trailer and renames the file into place. Raises
  // when fewer or more pages were added than announced.
  void Finish();
  int32_t PagesWritten() const noexcept { return FWritten; }

 private:
  void Line(const std::string& Text);
  void BeginObject(int32_t Num);

  TAtomicFileWriter FOut;
  int32_t FPageCount;
  int32_t FWritten = 0;
  std::vector<uint64_t> FOffsets;  // by object number; 0 = not begun
};

// The page images to FileName, each stretched over a PageW x PageH point page. An empty list
// writes nothing and creates no file. Failures of the codec or the file system raise
// EQuilletError.
void RptSavePagesToPDF(const std::vector<QImage>& Pages, const std::string& FileName, float PageW, float PageH);

// Pages as JPEG at Quality through Qt's image codec; raises EQuilletError when it fails.
std::string EncodeJpegQt(const QImage& Page, int Quality);

}  // namespace quillet
