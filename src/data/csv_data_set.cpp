#include "data/csv_data_set.h"

#include <algorithm>
#include <charconv>
#include <memory>

#include "base/error.h"
#include "base/number_format.h"

namespace quillet {

namespace {

constexpr size_t kBufSize = 64 * 1024;

std::string_view TrimBlanks(std::string_view S) {
  while (!S.empty() && (S.front() == ' ' || S.front() == '\t')) S.remove_prefix(1);
  while (!S.empty() && (S.back() == ' ' || S.back() == '\t')) S.remove_suffix(1);
  return S;
}

bool ParseInt64(std::string_view S, int64_t& Value) {
  S = TrimBlanks(S);
  if (!S.empty() && S.front() == '+') S.remove_prefix(1);
  if (S.empty()) return false;
  auto [end, ec] = std::from_chars(S.data(), S.data() + S.size(), Value);
  return ec == std::errc() && end == S.data() + S.size();
}

bool ParseBool(std::string_view S, bool& Value) {
  S = TrimBlanks(S);
  auto same = [&](std::string_view W) {
    if (S.size() != W.size()) return false;
    for (size_t i = 0; i < S.size(); ++i)
      if ((S[i] | 0x20) != W[i]) return false;
    return true;
  };
  if (same("true")) return Value = true, true;
  if (same("false")) return Value = false, true;
  return false;
}

TExprValue CellValue(std::string& Cell, TFieldType Type) {
  if (Cell.empty()) return TExprValue();
  switch (Type) {
    case ftLargeint: {
      int64_t v;
      return ParseInt64(Cell, v) ? TExprValue::FromInt(v) : TExprValue();
    }
    case ftFloat: {
      double v;
      return ParseDouble(Cell, v) ? TExprValue::FromFloat(v) : TExprValue();
    }
    case ftBoolean: {
      bool v;
      return ParseBool(Cell, v) ? TExprValue::FromBool(v) : TExprValue();
    }
    default:
      return TExprValue::FromString(std::move(Cell));
  }
}

}  // namespace

// ---- TCsvReader ----

TCsvReader::TCsvReader(std::string FileName, char Separator)
    : FFileName(std::move(FileName)), FSeparator(Separator), FBuf(kBufSize) {
  FFile = std::fopen(FFileName.c_str(), "rb");
  if (!FFile) throw EQuilletError("Cannot open data file: " + FFileName, FFileName);
  unsigned char bom[3] = {0, 0, 0};
  size_t n = std::fread(bom, 1, 3, FFile);
  if (n == 3 && bom[0] == 0xEF && bom[1] == 0xBB && bom[2] == 0xBF) FBomSize = 3;
  // A real seek: the bytes just read are not in the buffer.
  if (fseeko(FFile, static_cast<off_t>(FBomSize), SEEK_SET) != 0)
    throw EQuilletError("Cannot read data file: " + FFileName, FFileName, FBomSize);
  FPos = FBomSize;
}

TCsvReader::~TCsvReader() {
  if (FFile) std::fclose(FFile);
}

void TCsvReader::Fail(const std::string& Problem, int64_t Offset) const {
  throw EQuilletError("Invalid CSV data in " + FFileName + ": " + Problem + " (record at byte " +
                          std::to_string(Offset) + ")",
                      FFileName, Offset);
}

void TCsvReader::FailTooLong(const char* What, size_t Limit, int64_t Offset) const {
  Fail(std::string("a ") + What + " longer than " + std::to_string(Limit) + " bytes", Offset);
}

void TCsvReader::Seek(int64_t Offset) {
  // Moving within the buffered window needs no system call: the walker steps back one record
  // and returns at every group break, and each record is re-read at its offset.
  const int64_t bufStart = FPos - static_cast<int64_t>(FBufPos);
  if (Offset >= bufStart && Offset <= bufStart + static_cast<int64_t>(FBufLen)) {
    FBufPos = static_cast<size_t>(Offset - bufStart);
    FPos = Offset;
    return;
  }
  if (fseeko(FFile, static_cast<off_t>(Offset), SEEK_SET) != 0)
    throw EQuilletError("Cannot read data file: " + FFileName, FFileName, Offset);
  FPos = Offset;
  FBufPos = FBufLen = 0;
}

int TCsvReader::Peek() {
  if (FBufPos == FBufLen) {
    FBufLen = std::fread(FBuf.data(), 1, FBuf.size(), FFile);
    FBufPos = 0;
    if (FBufLen == 0) {
      if (std::ferror(FFile)) throw EQuilletError("Cannot read data file: " + FFileName, FFileName, FPos);
      return -1;
    }
  }
  return static_cast<unsigned char>(FBuf[FBufPos]);
}

int TCsvReader::Get() {
  int c = Peek();
  if (c >= 0) {
    ++FBufPos;
    ++FPos;
  }
  return c;
}

void TCsvReader::SkipBlankLines() {
  int c;
  while ((c = Peek()) == '\r' || c == '\n') Get();
}

char TCsvReader::GuessSeparator() {
  Seek(FBomSize);
  SkipBlankLines();
  bool quoted = false, comma = false, semicolon = false;
  for (int c; (c = Get()) >= 0;) {
    if (c == '"') quoted = !quoted;  // a doubled quote toggles twice
    else if (quoted) continue;
    else if (c == '\n' || c == '\r') break;
    else if (c == ',') comma = true;
    else if (c == ';') semicolon = true;
  }
  Seek(FBomSize);
  return semicolon && !comma ? ';' : ',';
}

bool TCsvReader::ReadRecord(std::vector<std::string>& Cells, int64_t& Start) {
  SkipBlankLines();
  if (Peek() < 0) return false;
  int c;
  // Get and Peek give bytes as 0..255 and the end as -1: the separator is compared as a byte too,
  // or a separator of 0x80 or above never matches and 0xFF matches the end of the file.
  const int sepByte = static_cast<unsigned char>(FSeparator);
  Start = FPos;
  // Cell strings are reused from the previous record, so a steady walk allocates nothing.
  size_t count = 0;
  for (;;) {
    if (count == Cells.size()) Cells.emplace_back();
    std::string& cell = Cells[count++];
    cell.clear();
    if (Peek() == '"') {
      Get();
      for (;;) {
        c = Get();
        if (c < 0) Fail("unterminated quoted field", Start);
        if (c == '"') {
          if (Peek() != '"') break;
          Get();
        }
        cell.push_back(static_cast<char>(c));
        if (cell.size() > kMaxCsvCellBytes) FailTooLong("cell", kMaxCsvCellBytes, Start);
      }
      c = Get();
      if (c != sepByte && c != '\n' && c != '\r' && c >= 0)
        Fail("unexpected character after a closing quote", Start);
    } else {
      // An unquoted cell is copied from the buffer in runs up to the next special byte.
      for (;;) {
        if (Peek() < 0) {
          c = -1;
          break;
        }
        const char* b = FBuf.data() + FBufPos;
        const char* e = FBuf.data() + FBufLen;
        const char* p = b;
        const char sep = FSeparator;
        while (p < e && *p != sep && *p != '\n' && *p != '\r' && *p != '"') ++p;
        cell.append(b, p);
        FBufPos += static_cast<size_t>(p - b);
        FPos += p - b;
        if (cell.size() > kMaxCsvCellBytes) FailTooLong("cell", kMaxCsvCellBytes, Start);
        if (p < e) {
          c = Get();
          if (c == '"') Fail("quote inside an unquoted field", Start);
          break;
        }
      }
    }
    // The record's length so far, without the line break just read.
    if (FPos - Start - (c >= 0 && c != sepByte ? 1 : 0) > kMaxCsvRecordBytes)
      FailTooLong("record", static_cast<size_t>(kMaxCsvRecordBytes), Start);
    if (c == sepByte) continue;
    if (c == '\r' && Peek() == '\n') Get();
    Cells.resize(count);
    return true;
  }
}

// ---- TCsvDataSet ----

TCsvDataSet::TCsvDataSet(std::string Name, std::string FileName)
    : TDataSet(std::move(Name)), FFileName(std::move(FileName)) {}

TCsvDataSet::~TCsvDataSet() { Close(); }

void TCsvDataSet::SetSeparator(char Separator) {
  if (Separator == '"' || Separator == '\n' || Separator == '\r')
    throw EQuilletError("A quote or a line break cannot separate CSV cells", FFileName);
  FSeparator = Separator;
  FScanned = false;
}

void TCsvDataSet::Scan() {
  TCsvReader reader(FFileName);
  TScan scan;
  scan.Separator = FSeparator ? FSeparator : reader.GuessSeparator();
  reader.SetSeparator(scan.Separator);
  std::vector<std::string> cells;
  int64_t start = 0;
  if (!reader.ReadRecord(cells, start)) {
    FScan = std::move(scan);  // an empty file: no fields, no records
    FScanned = true;
    return;
  }
  struct TInfer {
    bool Any = false, AllInt = true, AllNum = true, AllBool = true;
  };
  std::vector<TInfer> infer(cells.size());
  for (auto& name : cells) scan.Defs.push_back({std::move(name), ftString});
  reader.SkipBlankLines();
  scan.DataStart = reader.Position();
  while (reader.ReadRecord(cells, start)) {
    ++scan.Count;
    scan.SecondLastOff = scan.LastOff;
    scan.LastOff = start;
    size_t n = std::min(cells.size(), infer.size());
    for (size_t i = 0; i < n; ++i) {
      const std::string& s = cells[i];
      if (s.empty()) continue;
      TInfer& t = infer[i];
      t.Any = true;
      int64_t iv;
      double dv;
      bool bv;
      if (t.AllInt && !ParseInt64(s, iv)) t.AllInt = false;
      if (t.AllNum && !t.AllInt && !ParseDouble(s, dv)) t.AllNum = false;
      if (t.AllBool && !ParseBool(s, bv)) t.AllBool = false;
    }
  }
  for (size_t i = 0; i < infer.size(); ++i) {
    const TInfer& t = infer[i];
    if (!t.Any) continue;
    scan.Defs[i].DataType = t.AllInt ? ftLargeint : t.AllNum ? ftFloat : t.AllBool ? ftBoolean : ftString;
  }
  FScan = std::move(scan);
  FScanned = true;
}

int64_t TCsvDataSet::RecordCount() {
  if (!FScanned) Scan();
  return FScan.Count;
}

void TCsvDataSet::DoUpdateFieldDefs() {
  Scan();
  FFieldDefs = FScan.Defs;
}

void TCsvDataSet::DoOpen() {
  // A scan made for the field defs while closed is reused; otherwise the file is read now.
  if (!FScanned) Scan();
  FFieldDefs = FScan.Defs;
  FReader = std::make_unique<TCsvReader>(FFileName, FScan.Separator);
  FCurOff = FNextOff = -1;
  FBack.clear();
  FFiltered = false;
  FIndexBuilt = false;
}

void TCsvDataSet::DoClose() {
  FReader.reset();
  FScanned = false;
  FIndex.clear();
  FView.clear();
  FIndexBuilt = false;
  FFiltered = false;
}

void TCsvDataSet::SetMaster(TDataSet* Master, std::string DetailField, std::string MasterField) {
  TDataSet::SetMaster(Master, std::move(DetailField), std::move(MasterField));
  FIndexBuilt = false;
  FFiltered = false;
}

void TCsvDataSet::Convert() {
  size_t n = FFieldDefs.size();
  FRecord.resize(n);
  for (size_t i = 0; i < n; ++i)
    FRecord[i] = i < FCells.size() ? CellValue(FCells[i], FFieldDefs[i].DataType) : TExprValue();
}

void TCsvDataSet::ReadAt(int64_t Offset) {
  FReader->Seek(Offset);
  int64_t start = 0;
  if (!FReader->ReadRecord(FCells, start) || start != Offset)
    throw EQuilletError("Data file changed while it was read: " + FFileName, FFileName, Offset);
  FCurOff = Offset;
  // The next record starts after any blank lines, so offsets always name record starts.
  FReader->SkipBlankLines();
  FNextOff = FReader->Position();
  Convert();
}

void TCsvDataSet::FillBack() {
  constexpr size_t kBatch = 64;
  FBack.clear();
  FReader->Seek(FScan.DataStart);
  int64_t start = 0;
  while (FReader->ReadRecord(FCells, start) && start < FCurOff) {
    if (FBack.size() == 2 * kBatch) FBack.erase(FBack.begin(), FBack.begin() + kBatch);
    FBack.push_back(start);
  }
}

void TCsvDataSet::BuildIndex() {
  int col = DetailFieldIndex();
  TFieldType type = FFieldDefs[col].DataType;
  FIndex.clear();
  FReader->Seek(FScan.DataStart);
  int64_t start = 0;
  while (FReader->ReadRecord(FCells, start)) {
    if (static_cast<size_t>(col) >= FCells.size()) continue;
    TExprValue v = CellValue(FCells[col], type);
    if (!v.IsNull()) FIndex[v.ToText()].push_back(start);
  }
  FIndexBuilt = true;
}

bool TCsvDataSet::DoFirst() {
  FFiltered = FMaster != nullptr;
  if (FFiltered) {
    if (!FIndexBuilt) BuildIndex();
    FView.clear();
    std::string key;
    if (MasterKey(key)) {
      auto it = FIndex.find(key);
      if (it != FIndex.end()) FView = it->second;
    }
    if (FView.empty()) return false;
    FViewPos = 0;
    ReadAt(FView[0]);
    return true;
  }
  if (FScan.Count == 0) return false;
  ReadAt(FScan.DataStart);
  FBack.clear();
  return true;
}

bool TCsvDataSet::DoNext() {
  if (FFiltered) {
    if (FViewPos + 1 >= FView.size()) return false;
    ReadAt(FView[++FViewPos]);
    return true;
  }
  if (FCurOff >= FScan.LastOff) return false;
  int64_t cur = FCurOff;
  ReadAt(FNextOff);
  if (FBack.size() >= 128) FBack.erase(FBack.begin(), FBack.end() - 1);
  FBack.push_back(cur);
  return true;
}

bool TCsvDataSet::DoPrior() {
  if (FFiltered) {
    if (FViewPos == 0) return false;
    ReadAt(FView[--FViewPos]);
    return true;
  }
  if (FCurOff <= FScan.DataStart) return false;
  if (FBack.empty()) FillBack();
  if (FBack.empty()) return false;
  int64_t target = FBack.back();
  FBack.pop_back();
  ReadAt(target);
  return true;
}

bool TCsvDataSet::DoLast() {
  if (FMaster) {
    if (!DoFirst()) return false;
    FViewPos = FView.size() - 1;
    ReadAt(FView[FViewPos]);
    return true;
  }
  if (FScan.Count == 0) return false;
  ReadAt(FScan.LastOff);
  FBack.clear();
  if (FScan.SecondLastOff >= 0) FBack.push_back(FScan.SecondLastOff);
  return true;
}

int64_t TCsvDataSet::DoGetBookmark() { return FCurOff; }

bool TCsvDataSet::DoGotoBookmark(int64_t Pos) {
  if (FFiltered) {
    auto it = std::lower_bound(FView.begin(), FView.end(), Pos);
    if (it == FView.end() || *it != Pos) return false;
    FViewPos = static_cast<size_t>(it - FView.begin());
    ReadAt(Pos);
    return true;
  }
  if (Pos < FScan.DataStart || Pos > FScan.LastOff) return false;
  ReadAt(Pos);
  FBack.clear();
  return true;
}

}  // namespace quillet
