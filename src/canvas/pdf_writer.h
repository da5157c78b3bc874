// The PDF 1.4 object writer of the vector output. It knows nothing of drawing: the PDF canvas
// hands it finished content streams and resource dictionaries, the font manager its font objects.
//
// Objects go to disk as soon as they are finished, so a document of thousands of pages never sits
// in memory. They are written to a temporary file beside the target (TARGET.XXXXXX.tmp); SaveToFile
// appends the catalog, page tree, information dictionary, cross-reference table and trailer, syncs
// the file and renames it over the target. A writer destroyed before SaveToFile removes its
// temporary file, so an abandoned or failed document leaves nothing behind.
//
// Object numbers: 1 is the catalog and 2 the page tree, both written last by SaveToFile; every
// other number comes from AllocObj. The information dictionary is always the last object.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "canvas/flate.h"

namespace quillet {

// The largest magnitude of a number in page content and page sizes. Readers hold such numbers in
// 32-bit floats or fixed point, some refuse integers of more than 32 bits, and a page is never
// larger than this many points.
inline constexpr double kMaxPdfNumber = 32767;

// The number formatter of the vector output: V with at most three decimals ("0.###"), limited to
// ±kMaxPdfNumber (NaN as 0), so that no report, however wild its sizes, writes a number a reader
// rejects. Every coordinate, size and width of page content and page boxes goes through it.
void AppendPdfNumber(std::string& Out, double V);
double ClampPdfNumber(double V) noexcept;

class TPDFVectorWriter {
 public:
  // Creates the temporary file in the target's folder and writes the header. Raises EQuilletError
  // naming TargetFileName when the file cannot be created (for example, the folder is missing).
  explicit TPDFVectorWriter(const std::string& TargetFileName);
  ~TPDFVectorWriter();
  TPDFVectorWriter(const TPDFVectorWriter&) = delete;
  TPDFVectorWriter& operator=(const TPDFVectorWriter&) = delete;

  const std::string& TargetFileName() const noexcept { return FTargetFileName; }

  // Appends text. A byte outside 7-bit ASCII becomes "?", one per UTF-8 code point, so PDF text
  // with other characters must already be hex-encoded by the caller.
  void W(std::string_view S);
  // W(S) followed by a single LF.
  void WL(std::string_view S);
  // Appends bytes unchanged (stream data).
  void WB(std::span<const uint8_t> Data);
  void WB(std::string_view Data);

  // Reserves the next object number (3 or more).
  int32_t AllocObj();
  // Records the current file position as the offset of object N and writes "N 0 obj". N must be
  // allocated and not yet written; anything else raises EQuilletError instead of making a file
  // whose cross-reference table lies.
  void BeginObj(int32_t N);
  void EndObj();

  // An object whose body is one line; returns its number.
  int32_t AddRawObject(std::string_view Body);
  // The same for a number allocated earlier, when other objects had to name it first.
  void WriteRawObjectAt(int32_t N, std::string_view Body);
  // A stream object with Data as given. DictExtra goes into the dictionary before /Length.
  int32_t AddStreamObject(std::string_view DictExtra, std::span<const uint8_t> Data);
  int32_t AddStreamObject(std::string_view DictExtra, std::string_view Data);
  // A stream object with Data Flate-compressed at CompressionLevel().
  int32_t AddStreamObjectFlate(std::string_view DictExtra, std::span<const uint8_t> Data);
  int32_t AddStreamObjectFlate(std::string_view DictExtra, std::string_view Data);
  // A page content stream, always Flate-compressed.
  int32_t AddContentStream(std::span<const uint8_t> Data);
  int32_t AddContentStream(std::string_view Data);
  // Writes a page object (sizes in points, at most three decimals) and appends it to the kids.
  int32_t AddPage(double WidthPt, double HeightPt, int32_t ContentObj, std::string_view ResourcesDict);
  // A page with its content: the same objects, numbers and bytes as AddContentStream followed by
  // AddPage. With background compression the content is compressed on a second thread while the
  // caller draws the next page, and both objects are written before anything else reaches the
  // file. Content is taken over and comes back empty (keeping a buffer's capacity for reuse).
  // Returns the page's object number.
  int32_t AddPageContent(double WidthPt, double HeightPt, std::string& Content, std::string_view ResourcesDict);
  // On by default. The output is byte-for-byte the same either way.
  void SetBackgroundCompression(bool On);
  bool BackgroundCompression() const noexcept { return FBackground; }

  // The information dictionary as written by SaveToFile. The creation date is
  // "(D:yyyymmddhhnnss)" without zone suffix: local time normally; UTC when SOURCE_DATE_EPOCH
  // fixes the clock, so two runs give byte-identical files.
  std::string BuildInfoDict() const;

  // Finishes the document and moves it into place, replacing an existing file. Once only: the
  // writer accepts nothing after it. A failure raises EQuilletError naming the target and
  // removes the temporary file.
  void SaveToFile();

  // Flate level 0..12 for every later compressed stream; default 6.
  void SetCompressionLevel(int Level);
  int CompressionLevel() const noexcept { return FCompressionLevel; }

  const std::string& InfoTitle() const noexcept { return FInfoTitle; }
  const std::string& InfoAuthor() const noexcept { return FInfoAuthor; }
  const std::string& InfoSubject() const noexcept { return FInfoSubject; }
  const std::string& InfoKeywords() const noexcept { return FInfoKeywords; }
  const std::string& InfoCreator() const noexcept { return FInfoCreator; }
  const std::string& InfoProducer() const noexcept { return FInfoProducer; }
  void SetInfoTitle(std::string V) { FInfoTitle = std::move(V); }
  void SetInfoAuthor(std::string V) { FInfoAuthor = std::move(V); }
  void SetInfoSubject(std::string V) { FInfoSubject = std::move(V); }
  void SetInfoKeywords(std::string V) { FInfoKeywords = std::move(V); }
  void SetInfoCreator(std::string V) { FInfoCreator = std::move(V); }
  void SetInfoProducer(std::string V) { FInfoProducer = std::move(V); }

  int32_t PageCount() const noexcept { return static_cast<int32_t>(FKids.size()); }
  const std::vector<int32_t>& Kids() const noexcept { return FKids; }
  int32_t ObjCount() const noexcept { return FObjCount; }
  // Bytes written so far, header included, not counting a page still being compressed.
  int64_t Position() const noexcept { return FPosition; }

 private:
  void Append(const char* P, size_t N);
  void Append(std::string_view S) { Append(S.data(), S.size()); }
  void AppendInt(int64_t V);
  void Flush();
  void WriteAll(const char* P, size_t N);
  void CheckOpen() const;
  [[noreturn]] void Fail(const char* What, int Err);
  // DictExtra null: content stream, whose dictionary has no extra part.
  int32_t WriteStreamObject(const std::string_view* DictExtra, bool Flate, std::span<const uint8_t> Data);
  void Compress(std::span<const uint8_t> Data);
  void Discard() noexcept;
  void WriteStreamBody(int32_t N, const std::string_view* DictExtra, bool Flate, std::span<const uint8_t> Data);
  void WritePageObject(int32_t N, double WidthPt, double HeightPt, int32_t ContentObj, std::string_view ResourcesDict);
  // Waits for the page on the second thread and writes its two objects.
  void FlushPending();
  void WorkerLoop();
  void StopWorker() noexcept;

  std::string FTargetFileName;
  std::string FTempFileName;
  int FFd = -1;
  bool FSaved = false;
  std::unique_ptr<char[]> FBuf;
  size_t FBufLen = 0;
  int64_t FPosition = 0;

  std::vector<int64_t> FOffsets;  // by object number; 0 = not written; entry 0 unused
  int32_t FObjCount = 2;
  std::vector<int32_t> FKids;
  const int32_t FCatalogObj = 1;
  const int32_t FPagesObj = 2;

  int FCompressionLevel = TFlateCompressor::DefaultLevel;
  std::unique_ptr<TFlateCompressor> FCompressor;  // made on first use, kept for the document
  std::vector<uint8_t> FCompressed;               // reused output buffer of the compressor

  // Background compression: one page at a time is handed to the worker. The job is touched by
  // the worker only between FJobReady and FJobDone, under FMutex's hand-over.
  struct TPageJob {
    int32_t ContentObj = 0;
    int32_t PageObj = 0;
    double Width = 0;
    double Height = 0;
    int Level = TFlateCompressor::DefaultLevel;
    std::string Resources;
    std::string Data;
    std::vector<uint8_t> Out;
  };
  bool FBackground = true;
  bool FPending = false;  // a page was handed over and is not written yet
  TPageJob FJob;
  std::mutex FMutex;
  std::condition_variable FCv;
  bool FJobReady = false;
  bool FJobDone = false;
  bool FStop = false;
  std::exception_ptr FJobError;
  std::thread FWorker;

  std::string FInfoTitle, FInfoAuthor, FInfoSubject, FInfoKeywords, FInfoCreator;
  std::string FInfoProducer = "Quillet";
};

}  // namespace quillet
