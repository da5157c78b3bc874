// Shared checks for every data-set implementation.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "data/data_set.h"
#include "../support/test_support.h"

namespace quillet::testing_data {

using test::TTempDir;

inline int64_t IdOf(TDataSet& Ds) {
  TField* f = Ds.FindField("id");
  EXPECT_NE(f, nullptr);
  if (!f || f->IsNull()) return -1;
  double d = 0;
  EXPECT_TRUE(f->AsFloat(d));
  return static_cast<int64_t>(d);
}

// Ds holds records whose field "id" reads 1..N in order; Ds is open. Checks the movement rules
// the band walker relies on.
inline void CheckMovement(TDataSet& Ds, int N) {
  SCOPED_TRACE("records: " + std::to_string(N));
  ASSERT_TRUE(Ds.Active());
  Ds.First();
  if (N == 0) {
    EXPECT_TRUE(Ds.Eof());
    EXPECT_FALSE(Ds.HasRecord());
    for (int i = 0; i < Ds.FieldCount(); ++i) {
      EXPECT_TRUE(Ds.Fields(i).IsNull());
      EXPECT_EQ(Ds.Fields(i).DisplayText(), "");
    }
    Ds.Next();
    EXPECT_TRUE(Ds.Eof());
    Ds.Last();
    EXPECT_TRUE(Ds.Eof());
    EXPECT_FALSE(Ds.GetBookmark().Valid());
    return;
  }
  // Forward walk; Next past the end keeps the last record readable.
  std::vector<int64_t> seen;
  for (Ds.First(); !Ds.Eof(); Ds.Next()) seen.push_back(IdOf(Ds));
  ASSERT_EQ(static_cast<int>(seen.size()), N);
  for (int i = 0; i < N; ++i) EXPECT_EQ(seen[i], i + 1);
  EXPECT_EQ(IdOf(Ds), N);
  Ds.Next();
  EXPECT_TRUE(Ds.Eof());
  EXPECT_EQ(IdOf(Ds), N);
  // Prior after Eof steps back from the last record.
  Ds.Prior();
  EXPECT_FALSE(Ds.Eof());
  EXPECT_EQ(IdOf(Ds), N > 1 ? N - 1 : 1);
  // Prior on the first record stays.
  Ds.First();
  Ds.Prior();
  EXPECT_TRUE(Ds.Bof());
  EXPECT_FALSE(Ds.Eof());
  EXPECT_EQ(IdOf(Ds), 1);
  // Last, then a backward walk.
  Ds.Last();
  EXPECT_FALSE(Ds.Eof());
  EXPECT_EQ(IdOf(Ds), N);
  std::vector<int64_t> back{IdOf(Ds)};
  for (Ds.Prior(); !Ds.Bof(); Ds.Prior()) back.push_back(IdOf(Ds));
  ASSERT_EQ(static_cast<int>(back.size()), N);
  for (int i = 0; i < N; ++i) EXPECT_EQ(back[i], N - i);
  Ds.Last();
  Ds.Next();
  EXPECT_TRUE(Ds.Eof());
  EXPECT_EQ(IdOf(Ds), N);
  // Bookmarks return to their record, wherever the cursor went meanwhile.
  for (int k = 1; k <= N; k += (N > 6 ? N / 3 : 1)) {
    Ds.First();
    for (int i = 1; i < k; ++i) Ds.Next();
    TBookmark b = Ds.GetBookmark();
    ASSERT_TRUE(b.Valid());
    Ds.Last();
    Ds.First();
    Ds.GotoBookmark(b);
    EXPECT_FALSE(Ds.Eof());
    EXPECT_EQ(IdOf(Ds), k);
    Ds.Next();
    EXPECT_EQ(IdOf(Ds), k < N ? k + 1 : N);
    EXPECT_EQ(Ds.Eof(), k == N);
  }
}

}  // namespace quillet::testing_data
