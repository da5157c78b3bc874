// A data set over a CSV file (RFC 4180, UTF-8 with optional byte-order mark, header row).
// The separator is "," unless set; a file whose header line holds ";" but no "," outside quotes
// (as spreadsheets write them where "," is the decimal comma) is read with ";".
// Column types come from one streaming pre-pass; records are then read from the file on demand,
// never loaded whole: the cursor keeps the previous records' offsets for Prior and the last
// record's offset for Last, and bookmarks are file offsets.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "data/data_set.h"

namespace quillet {

// Bytes of one cell: a megabyte of text is hundreds of pages; beyond it a file is damaged (an
// unbalanced quote swallowing the rest) or not meant as data.
inline constexpr size_t kMaxCsvCellBytes = 1048576;
// Bytes of one record, its line breaks inside quotes included: bounds what one record costs
// (every cell is held at once, a string each) however the bytes are split into cells.
inline constexpr int64_t kMaxCsvRecordBytes = 2097152;

// Reads CSV records from a file at byte offsets. Malformed quoting, and a cell or record longer
// than the limits above, raise EQuilletError naming the file and the offset of the record.
class TCsvReader {
 public:
  explicit TCsvReader(std::string FileName, char Separator = ',');
  ~TCsvReader();
  TCsvReader(const TCsvReader&) = delete;
  TCsvReader& operator=(const TCsvReader&) = delete;

  // Offset just after a leading byte-order mark (0 without one).
  int64_t DataStart() const noexcept { return FBomSize; }
  // Moves to a byte offset (a record start from ReadRecord, or DataStart).
  void Seek(int64_t Offset);
  int64_t Position() const noexcept { return FPos; }  // byte offset of the next read
  // Reads the next record, skipping empty lines; false at the end of the file. Start receives
  // the offset of the record's first byte.
  bool ReadRecord(std::vector<std::string>& Cells, int64_t& Start);
  // Moves past empty lines, so that Position is the start of the next record.
  void SkipBlankLines();
  // The separator the header line suggests: ';' when, outside quotes, it holds ';' and no ','.
  // Reads from DataStart and returns there.
  char GuessSeparator();
  void SetSeparator(char Separator) noexcept { FSeparator = Separator; }

 private:
  int Get();
  int Peek();
  [[noreturn]] void Fail(const std::string& Problem, int64_t Offset) const;
  [[noreturn]] void FailTooLong(const char* What, size_t Limit, int64_t Offset) const;

  std::string FFileName;
  char FSeparator;
  std::FILE* FFile = nullptr;
  int64_t FBomSize = 0;
  int64_t FPos = 0;  // file offset of FBuf[FBufPos]
  std::vector<char> FBuf;
  size_t FBufPos = 0, FBufLen = 0;
};

class TCsvDataSet : public TDataSet {
 public:
  // Nothing is read until the field defs are asked for or the set opens.
  TCsvDataSet(std::string Name, std::string FileName);
  ~TCsvDataSet() override;

  const std::string& FileName() const noexcept { return FFileName; }
  int64_t RecordCount();  // from the pre-pass

  // The cell separator; 0 (the default) takes it from the header line. Set it while the set is
  // closed. A quote or a line break cannot separate cells (EQuilletError).
  void SetSeparator(char Separator);
  // The separator in use: the one set, else the one the last read of the file found (',' before).
  char Separator() const noexcept { return FSeparator ? FSeparator : FScan.Separator; }
  // Whether the header line made it ';' (no separator was set): callers may want to say so.
  bool SeparatorGuessed() const noexcept { return !FSeparator && FScan.Separator != ','; }

  // See TDataSet::SetMaster; an index of the detail field's offsets is built once per open.
  void SetMaster(TDataSet* Master, std::string DetailField, std::string MasterField) override;

 protected:
  void DoOpen() override;
  void DoClose() override;
  void DoUpdateFieldDefs() override;
  bool DoFirst() override;
  bool DoNext() override;
  bool DoPrior() override;
  bool DoLast() override;
  int64_t DoGetBookmark() override;
  bool DoGotoBookmark(int64_t Pos) override;

 private:
  struct TScan {
    std::vector<TFieldDef> Defs;
    int64_t DataStart = 0;
    int64_t Count = 0;
    int64_t LastOff = -1, SecondLastOff = -1;
    char Separator = ',';
  };

  void Scan();
  void ReadAt(int64_t Offset);  // loads the record at Offset into FRecord
  void Convert();
  void FillBack();
  void BuildIndex();

  std::string FFileName;
  char FSeparator = 0;
  bool FScanned = false;
  TScan FScan;
  std::unique_ptr<TCsvReader> FReader;
  std::vector<std::string> FCells;
  int64_t FCurOff = -1, FNextOff = -1;
  // Offsets of the records right before the current one, ascending (FBack.back() is the
  // previous record). Next keeps it short; when Prior runs out it is refilled by one scan from
  // the top, with a batch of offsets so that a backward walk is not quadratic.
  std::vector<int64_t> FBack;
  // Master/detail view: record offsets of the current master key, ascending.
  bool FFiltered = false;
  std::vector<int64_t> FView;
  size_t FViewPos = 0;
  bool FIndexBuilt = false;
  std::unordered_map<std::string, std::vector<int64_t>> FIndex;
};

}  // namespace quillet
