#include "ui/raster_pdf.h"

#include <QBuffer>
#include <QByteArray>
#include <QImageWriter>

#include <cstdio>

#include "base/error.h"
#include "base/number_format.h"

namespace quillet {

std::string EncodeJpegQt(const QImage& Page, int Quality) {
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  QImageWriter writer(&buffer, "jpeg");
  writer.setQuality(Quality);
  if (Page.isNull() || !writer.write(Page))
    throw EQuilletError("JPEG encoding failed: " + writer.errorString().toStdString());
  return std::string(bytes.constData(), static_cast<size_t>(bytes.size()));
}

TRasterPdfWriter::TRasterPdfWriter(const std::string& FileName, int32_t PageCount)
    : FOut(FileName), FPageCount(PageCount) {
  if (PageCount < 1) throw EQuilletError("A raster PDF needs at least one page", FileName);
  FOffsets.assign(static_cast<size_t>(3) * static_cast<size_t>(PageCount) + 3, 0);
  Line("%PDF-1.4");
  Line("% Quillet");
  BeginObject(1);
  Line("<< /Type /Catalog /Pages 2 0 R >>");
  Line("endobj");
  BeginObject(2);
  std::string kids = "<< /Type /Pages /Count " + std::to_string(PageCount) + " /Kids [";
  for (int32_t i = 0; i < PageCount; ++i) kids += (i ? " " : "") + std::to_string(3 * i + 3) + " 0 R";
  Line(kids + "] >>");
  Line("endobj");
}

void TRasterPdfWriter::Line(const std::string& Text) {
  FOut.Write(Text);
  FOut.Write("\n");
}

void TRasterPdfWriter::BeginObject(int32_t Num) {
  FOffsets[static_cast<size_t>(Num)] = FOut.Position();
  Line(std::to_string(Num) + " 0 obj");
}

void TRasterPdfWriter::AddPage(const QImage& Page, float WidthPt, float HeightPt) {
  if (FWritten >= FPageCount) throw EQuilletError("More pages than announced for a raster PDF", FOut.FileName());
  const std::string jpeg = EncodeJpegQt(Page, 85);
  const int32_t pageObj = 3 * FWritten + 3, imageObj = pageObj + 1, contentObj = pageObj + 2;
  const std::string w = FormatDecimals(WidthPt, 2), h = FormatDecimals(HeightPt, 2);
  BeginObject(pageObj);
  Line("<< /Type /Page /Parent 2 0 R");
  Line("   /MediaBox [0 0 " + w + " " + h + "]");
  Line("   /Resources << /XObject << /Im0 " + std::to_string(imageObj) + " 0 R >> >>");
  Line("   /Contents " + std::to_string(contentObj) + " 0 R");
  Line(">>");
  Line("endobj");
  BeginObject(imageObj);
  Line("<< /Type /XObject /Subtype /Image");
  Line("   /Width " + std::to_string(Page.width()) + " /Height " + std::to_string(Page.height()));
  Line("   /ColorSpace /DeviceRGB /BitsPerComponent 8");
  Line("   /Filter /DCTDecode /Length " + std::to_string(jpeg.size()));
  Line(">>");
  Line("stream");
  FOut.Write(jpeg);
  FOut.Write("\n");
  Line("endstream");
  Line("endobj");
  const std::string content = "q\n" + w + " 0 0 " + h + " 0 0 cm\n/Im0 Do\nQ\n";
  BeginObject(contentObj);
  Line("<< /Length " + std::to_string(content.size()) + " >>");
  Line("stream");
  FOut.Write(content);
  Line("endstream");
  Line("endobj");
  ++FWritten;
}

void TRasterPdfWriter::Finish() {
  if (FWritten != FPageCount)
    throw EQuilletError("A raster PDF announced " + std::to_string(FPageCount) + " pages but got " +
                            std::to_string(FWritten),
                        FOut.FileName());
  const uint64_t xref = FOut.Position();
  const size_t size = FOffsets.size();
  Line("xref");
  Line("0 " + std::to_string(size));
  std::string table = "0000000000 65535 f \n";
  char entry[32];
  for (size_t k = 1; k < size; ++k) {
    if (FOffsets[k] == 0) {
      table += "0000000000 00000 n \n";
    } else {
      std::snprintf(entry, sizeof entry, "%010llu 00000 n \n", static_cast<unsigned long long>(FOffsets[k]));
      table += entry;
    }
  }
  FOut.Write(table);
  Line("trailer");
  Line("<< /Size " + std::to_string(size) + " /Root 1 0 R >>");
  Line("startxref");
  Line(std::to_string(xref));
  Line("%%EOF");
  FOut.Commit();
}

void RptSavePagesToPDF(const std::vector<QImage>& Pages, const std::string& FileName, float PageW, float PageH) {
  if (Pages.empty()) return;
  TRasterPdfWriter writer(FileName, static_cast<int32_t>(Pages.size()));
  for (const QImage& page : Pages) writer.AddPage(page, PageW, PageH);
  writer.Finish();
}

}  // namespace quillet
