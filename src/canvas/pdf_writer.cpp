#include "canvas/pdf_writer.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/clock.h"
#include "base/error.h"
#include "base/number_format.h"
#include "base/utf8.h"

namespace quillet {

namespace {

constexpr size_t BufSize = 64 * 1024;
// The cross-reference table has ten digits for an offset.
constexpr int64_t MaxXrefOffset = 9999999999;

std::span<const uint8_t> AsBytes(std::string_view S) {
  return {reinterpret_cast<const uint8_t*>(S.data()), S.size()};
}

// Zero-padded decimal of exactly Width digits into P (V must fit).
void PutDigits(char* P, int Width, int64_t V) {
  for (int i = Width - 1; i >= 0; --i) {
    P[i] = static_cast<char>('0' + V % 10);
    V /= 10;
  }
}

void AppendPadded(std::string& S, int Width, int64_t V) {
  char buf[24];
  auto r = std::to_chars(buf, buf + sizeof buf, V);
  const auto len = static_cast<int>(r.ptr - buf);
  if (len < Width) S.append(static_cast<size_t>(Width - len), '0');
  S.append(buf, r.ptr);
}

void AppendHex4(std::string& S, uint32_t Unit) {
  static constexpr char Hex[] = "0123456789ABCDEF";
  for (int shift = 12; shift >= 0; shift -= 4) S += Hex[(Unit >> shift) & 0xF];
}

// A PDF text string as UTF-16BE hex with byte-order mark; code points above U+FFFF become
// surrogate pairs.
void AppendUtf16Hex(std::string& S, std::string_view Utf8) {
  S += "<FEFF";
  size_t pos = 0;
  while (pos < Utf8.size()) {
    const char32_t c = DecodeUtf8At(Utf8, pos);
    if (c > 0xFFFF) {
      const uint32_t v = static_cast<uint32_t>(c) - 0x10000;
      AppendHex4(S, 0xD800 + (v >> 10));
      AppendHex4(S, 0xDC00 + (v & 0x3FF));
    } else {
      AppendHex4(S, static_cast<uint32_t>(c));
    }
  }
  S += '>';
}

}  // namespace

double ClampPdfNumber(double V) noexcept {
  if (std::isnan(V)) return 0;
  return V > kMaxPdfNumber ? kMaxPdfNumber : V < -kMaxPdfNumber ? -kMaxPdfNumber : V;
}

void AppendPdfNumber(std::string& Out, double V) { AppendDecimals(Out, ClampPdfNumber(V), 3); }

TPDFVectorWriter::TPDFVectorWriter(const std::string& TargetFileName)
    : FTargetFileName(TargetFileName), FBuf(std::make_unique_for_overwrite<char[]>(BufSize)) {
  // A folder in the way would only show when the finished file is renamed onto it.
  struct stat target {};
  if (::stat(TargetFileName.c_str(), &target) == 0 && S_ISDIR(target.st_mode))
    throw EQuilletError("Cannot write file \"" + FTargetFileName + "\": " + std::strerror(EISDIR), FTargetFileName);
  std::string tmp = TargetFileName + ".XXXXXX.tmp";
  FFd = ::mkostemps(tmp.data(), 4, O_CLOEXEC);
  if (FFd < 0) {
    const int err = errno;
    throw EQuilletError("Cannot write file \"" + FTargetFileName + "\": " + std::strerror(err), FTargetFileName);
  }
  FTempFileName = std::move(tmp);
  FOffsets.assign(3, 0);
  WL("%PDF-1.4");
  WL("% Quillet vector");
}

TPDFVectorWriter::~TPDFVectorWriter() {
  StopWorker();
  if (!FSaved) Discard();
}

void TPDFVectorWriter::StopWorker() noexcept {
  if (!FWorker.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(FMutex);
    FStop = true;
  }
  FCv.notify_all();
  FWorker.join();
}

void TPDFVectorWriter::WorkerLoop() {
  std::unique_ptr<TFlateCompressor> compressor;
  std::unique_lock<std::mutex> lock(FMutex);
  for (;;) {
    FCv.wait(lock, [this] { return FStop || (FJobReady && !FJobDone); });
    if (FStop) return;
    lock.unlock();
    std::exception_ptr error;
    try {
      if (!compressor || compressor->Level() != FJob.Level) compressor = std::make_unique<TFlateCompressor>(FJob.Level);
      compressor->CompressTo(std::string_view(FJob.Data), FJob.Out);
    } catch (...) {
      error = std::current_exception();
    }
    lock.lock();
    FJobError = error;
    FJobDone = true;
    FCv.notify_all();
  }
}

void TPDFVectorWriter::SetBackgroundCompression(bool On) {
  if (!On) FlushPending();
  FBackground = On;
}

int32_t TPDFVectorWriter::AddPageContent(double WidthPt, double HeightPt, std::string& Content,
                                         std::string_view ResourcesDict) {
  if (!FBackground) {
    const int32_t content = AddContentStream(std::string_view(Content));
    Content.clear();
    return AddPage(WidthPt, HeightPt, content, ResourcesDict);
  }
  FlushPending();
  CheckOpen();
  // Numbers in the order the one-thread path takes them: content first, then the page.
  FJob.ContentObj = AllocObj();
  FJob.PageObj = AllocObj();
  FKids.push_back(FJob.PageObj);
  FJob.Width = WidthPt;
  FJob.Height = HeightPt;
  FJob.Level = FCompressionLevel;
  FJob.Resources.assign(ResourcesDict);
  FJob.Data.swap(Content);
  Content.clear();
  if (!FWorker.joinable()) FWorker = std::thread([this] { WorkerLoop(); });
  {
    std::lock_guard<std::mutex> lock(FMutex);
    FJobDone = false;
    FJobReady = true;
  }
  FCv.notify_all();
  FPending = true;
  return FJob.PageObj;
}

void TPDFVectorWriter::FlushPending() {
  if (!FPending) return;
  FPending = false;
  std::exception_ptr error;
  {
    std::unique_lock<std::mutex> lock(FMutex);
    FCv.wait(lock, [this] { return FJobDone; });
    FJobReady = false;
    error = FJobError;
    FJobError = nullptr;
  }
  if (error) {
    Discard();
    std::rethrow_exception(error);
  }
  WriteStreamBody(FJob.ContentObj, nullptr, true, FJob.Out);
  WritePageObject(FJob.PageObj, FJob.Width, FJob.Height, FJob.ContentObj, FJob.Resources);
}

void TPDFVectorWriter::Discard() noexcept {
  if (FFd >= 0) ::close(FFd);
  FFd = -1;
  if (!FTempFileName.empty()) ::unlink(FTempFileName.c_str());
  FTempFileName.clear();
}

void TPDFVectorWriter::Fail(const char* What, int Err) {
  Discard();
  throw EQuilletError(std::string(What) + " \"" + FTargetFileName + "\": " + std::strerror(Err), FTargetFileName);
}

void TPDFVectorWriter::CheckOpen() const {
  if (FFd >= 0) return;
  throw EQuilletError("Cannot write file \"" + FTargetFileName + "\": " +
                          (FSaved ? "the document is already saved" : "an earlier write failed"),
                      FTargetFileName);
}

void TPDFVectorWriter::WriteAll(const char* P, size_t N) {
  while (N > 0) {
    const ssize_t n = ::write(FFd, P, N);
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail("Cannot write file", errno);
    }
    P += n;
    N -= static_cast<size_t>(n);
  }
}

void TPDFVectorWriter::Flush() {
  if (FBufLen == 0) return;
  WriteAll(FBuf.get(), FBufLen);
  FBufLen = 0;
}

void TPDFVectorWriter::Append(const char* P, size_t N) {
  if (FPending) FlushPending();
  if (FFd < 0) CheckOpen();
  FPosition += static_cast<int64_t>(N);
  if (FBufLen + N <= BufSize) {
    if (N != 0) std::memcpy(FBuf.get() + FBufLen, P, N);
    FBufLen += N;
    return;
  }
  Flush();
  if (N >= BufSize) {
    WriteAll(P, N);  // large stream data goes straight out, without a copy
  } else {
    std::memcpy(FBuf.get(), P, N);
    FBufLen = N;
  }
}

void TPDFVectorWriter::AppendInt(int64_t V) {
  char buf[24];
  auto r = std::to_chars(buf, buf + sizeof buf, V);
  Append(buf, static_cast<size_t>(r.ptr - buf));
}

void TPDFVectorWriter::W(std::string_view S) {
  const size_t n = S.size();
  size_t i = 0;
  while (i < n) {
    size_t j = i;
    while (j < n && static_cast<unsigned char>(S[j]) < 0x80) ++j;
    Append(S.data() + i, j - i);
    i = j;
    // Everything else is replaced per code point, like a character-set conversion would.
    while (i < n && static_cast<unsigned char>(S[i]) >= 0x80) {
      DecodeUtf8At(S, i);
      Append("?");
    }
  }
}

void TPDFVectorWriter::WL(std::string_view S) {
  W(S);
  Append("\n");
}

void TPDFVectorWriter::WB(std::span<const uint8_t> Data) {
  Append(reinterpret_cast<const char*>(Data.data()), Data.size());
}

void TPDFVectorWriter::WB(std::string_view Data) { Append(Data.data(), Data.size()); }

int32_t TPDFVectorWriter::AllocObj() {
  CheckOpen();
  ++FObjCount;
  FOffsets.push_back(0);
  return FObjCount;
}

void TPDFVectorWriter::BeginObj(int32_t N) {
  if (FPending) FlushPending();
  CheckOpen();
  if (N < 1 || N > FObjCount)
    throw EQuilletError("PDF object " + std::to_string(N) + " was never allocated", FTargetFileName);
  if (FOffsets[static_cast<size_t>(N)] != 0)
    throw EQuilletError("PDF object " + std::to_string(N) + " is written twice", FTargetFileName);
  FOffsets[static_cast<size_t>(N)] = FPosition;
  AppendInt(N);
  Append(" 0 obj\n");
}

void TPDFVectorWriter::EndObj() { WL("endobj"); }

int32_t TPDFVectorWriter::AddRawObject(std::string_view Body) {
  const int32_t n = AllocObj();
  WriteRawObjectAt(n, Body);
  return n;
}

void TPDFVectorWriter::WriteRawObjectAt(int32_t N, std::string_view Body) {
  BeginObj(N);
  WL(Body);
  EndObj();
}

void TPDFVectorWriter::Compress(std::span<const uint8_t> Data) {
  if (!FCompressor) FCompressor = std::make_unique<TFlateCompressor>(FCompressionLevel);
  FCompressor->CompressTo(Data, FCompressed);
}

// One routine for the three stream kinds. A content stream's dictionary starts directly with
// /Filter; otherwise DictExtra, even when empty, is framed by single spaces.
int32_t TPDFVectorWriter::WriteStreamObject(const std::string_view* DictExtra, bool Flate,
                                            std::span<const uint8_t> Data) {
  if (FPending) FlushPending();
  CheckOpen();
  if (Flate) {
    Compress(Data);
    Data = FCompressed;
  }
  const int32_t n = AllocObj();
  WriteStreamBody(n, DictExtra, Flate, Data);
  return n;
}

void TPDFVectorWriter::WriteStreamBody(int32_t N, const std::string_view* DictExtra, bool Flate,
                                       std::span<const uint8_t> Data) {
  BeginObj(N);
  Append("<<");
  if (DictExtra) {
    Append(" ");
    W(*DictExtra);
  }
  if (Flate) Append(" /Filter /FlateDecode");
  Append(" /Length ");
  AppendInt(static_cast<int64_t>(Data.size()));
  Append(" >>\nstream\n");
  WB(Data);
  Append("\nendstream\n");
  EndObj();
}

int32_t TPDFVectorWriter::AddStreamObject(std::string_view DictExtra, std::span<const uint8_t> Data) {
  return WriteStreamObject(&DictExtra, false, Data);
}

int32_t TPDFVectorWriter::AddStreamObject(std::string_view DictExtra, std::string_view Data) {
  return WriteStreamObject(&DictExtra, false, AsBytes(Data));
}

int32_t TPDFVectorWriter::AddStreamObjectFlate(std::string_view DictExtra, std::span<const uint8_t> Data) {
  return WriteStreamObject(&DictExtra, true, Data);
}

int32_t TPDFVectorWriter::AddStreamObjectFlate(std::string_view DictExtra, std::string_view Data) {
  return WriteStreamObject(&DictExtra, true, AsBytes(Data));
}

int32_t TPDFVectorWriter::AddContentStream(std::span<const uint8_t> Data) {
  return WriteStreamObject(nullptr, true, Data);
}

int32_t TPDFVectorWriter::AddContentStream(std::string_view Data) {
  return WriteStreamObject(nullptr, true, AsBytes(Data));
}

int32_t TPDFVectorWriter::AddPage(double WidthPt, double HeightPt, int32_t ContentObj,
                                  std::string_view ResourcesDict) {
  if (FPending) FlushPending();
  const int32_t n = AllocObj();
  WritePageObject(n, WidthPt, HeightPt, ContentObj, ResourcesDict);
  FKids.push_back(n);
  return n;
}

void TPDFVectorWriter::WritePageObject(int32_t N, double WidthPt, double HeightPt, int32_t ContentObj,
                                       std::string_view ResourcesDict) {
  BeginObj(N);
  Append("<< /Type /Page /Parent ");
  AppendInt(FPagesObj);
  Append(" 0 R\n   /MediaBox [0 0 ");
  std::string size;
  AppendPdfNumber(size, WidthPt);
  size += ' ';
  AppendPdfNumber(size, HeightPt);
  W(size);
  Append("]\n   /Resources ");
  W(ResourcesDict);
  Append("\n   /Contents ");
  AppendInt(ContentObj);
  Append(" 0 R\n>>\n");
  EndObj();
}

std::string TPDFVectorWriter::BuildInfoDict() const {
  std::string s = "<<";
  const std::pair<const char*, const std::string*> fields[] = {
      {" /Title ", &FInfoTitle},       {" /Author ", &FInfoAuthor},   {" /Subject ", &FInfoSubject},
      {" /Keywords ", &FInfoKeywords}, {" /Creator ", &FInfoCreator}, {" /Producer ", &FInfoProducer}};
  for (const auto& [key, value] : fields) {
    if (value->empty()) continue;
    s += key;
    AppendUtf16Hex(s, *value);
  }
  const TClockReading now = ReadClock();
  s += " /CreationDate (D:";
  AppendPadded(s, 4, now.Year);
  AppendPadded(s, 2, now.Month);
  AppendPadded(s, 2, now.Day);
  AppendPadded(s, 2, now.Hour);
  AppendPadded(s, 2, now.Minute);
  AppendPadded(s, 2, now.Second);
  s += ") >>";
  return s;
}

void TPDFVectorWriter::SetCompressionLevel(int Level) {
  if (Level == FCompressionLevel) return;
  // Validates before anything changes; the compressor for the new level is made on first use.
  TFlateCompressor probe(Level);
  FCompressionLevel = Level;
  FCompressor.reset();
}

void TPDFVectorWriter::SaveToFile() {
  FlushPending();
  StopWorker();
  CheckOpen();
  BeginObj(FCatalogObj);
  Append("<< /Type /Catalog /Pages ");
  AppendInt(FPagesObj);
  Append(" 0 R >>\n");
  EndObj();

  BeginObj(FPagesObj);
  Append("<< /Type /Pages /Count ");
  AppendInt(static_cast<int64_t>(FKids.size()));
  Append(" /Kids [");
  for (size_t i = 0; i < FKids.size(); ++i) {
    if (i > 0) Append(" ");
    AppendInt(FKids[i]);
    Append(" 0 R");
  }
  Append("] >>\n");
  EndObj();

  const int32_t info = AddRawObject(BuildInfoDict());

  const int64_t xref = FPosition;
  Append("xref\n0 ");
  AppendInt(static_cast<int64_t>(FObjCount) + 1);
  Append("\n0000000000 65535 f \n");
  // A number allocated but never written stays an in-use entry at offset 0.
  char entry[20] = {'0', '0', '0', '0', '0', '0', '0', '0', '0', '0', ' ',
                    '0', '0', '0', '0', '0', ' ', 'n', ' ', '\n'};
  for (int32_t i = 1; i <= FObjCount; ++i) {
    const int64_t off = FOffsets[static_cast<size_t>(i)];
    if (off > MaxXrefOffset) Fail("Cannot write file", EFBIG);
    PutDigits(entry, 10, off);
    Append(entry, sizeof entry);
  }
  Append("trailer\n<< /Size ");
  AppendInt(static_cast<int64_t>(FObjCount) + 1);
  Append(" /Root ");
  AppendInt(FCatalogObj);
  Append(" 0 R /Info ");
  AppendInt(info);
  Append(" 0 R >>\nstartxref\n");
  AppendInt(xref);
  Append("\n%%EOF");
  Flush();

  // mkstemps makes the file 0600: keep the mode of the file being replaced, else rw-r--r--.
  struct stat st {};
  const mode_t mode = ::stat(FTargetFileName.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
  if (::fchmod(FFd, mode) != 0) Fail("Cannot write file", errno);
  if (::fsync(FFd) != 0) Fail("Cannot write file", errno);
  const int fd = FFd;
  FFd = -1;
  if (::close(fd) != 0) Fail("Cannot write file", errno);
  if (::rename(FTempFileName.c_str(), FTargetFileName.c_str()) != 0) Fail("Cannot write file", errno);
  FTempFileName.clear();
  FSaved = true;
}

}  // namespace quillet
