// Walking a whole data set as a report does, and more: every record forwards, every field's text
// and value, bookmarks, backwards from the end, and a second open.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/error.h"
#include "data/data_set.h"

namespace quillet_fuzz {

inline void DataCheck(bool Condition, const char* What) {
  if (!Condition) {
    std::fprintf(stderr, "data check failed: %s\n", What);
    std::abort();
  }
}

inline void WalkDataSet(quillet::TDataSet& D) {
  using namespace quillet;
  D.Open();
  size_t sink = 0;
  int64_t forward = 0;
  for (D.First(); !D.Eof(); D.Next()) {
    ++forward;
    for (int i = 0; i < D.FieldCount(); ++i) {
      const TField& f = D.Fields(i);
      sink += f.DisplayText().size() + f.FieldName().size();
      double v = 0;
      (void)f.AsFloat(v);
      (void)f.IsNull();
      (void)f.Value().ToText();
    }
  }
  int64_t backward = 0;
  for (D.Last(); !D.Bof(); D.Prior()) {
    if (++backward > forward) break;
    for (int i = 0; i < D.FieldCount(); ++i) sink += D.Fields(i).DisplayText().size();
  }
  DataCheck(backward == forward, "walking backwards met a different number of records");
  D.First();
  if (!D.Eof()) {
    D.Next();
    const TBookmark mark = D.GetBookmark();
    std::string here;
    if (!D.Eof())
      for (int i = 0; i < D.FieldCount(); ++i) here += D.Fields(i).DisplayText() + '\x1f';
    D.Last();
    if (mark.Valid() && !here.empty()) {
      try {
        D.GotoBookmark(mark);
      } catch (const quillet::EQuilletError&) {
        DataCheck(false, "a bookmark of a record was not found");
      }
      std::string again;
      for (int i = 0; i < D.FieldCount(); ++i) again += D.Fields(i).DisplayText() + '\x1f';
      DataCheck(again == here, "a bookmark came back to a different record");
    }
  }
  if (D.FieldCount() > 0) (void)D.FindField(D.Fields(0).FieldName());
  (void)D.FindField("no such field");
  D.Close();
  D.Open();  // a second open reads the same file again
  D.Close();
  if (sink == size_t(-1)) std::abort();
}

}  // namespace quillet_fuzz
