#include <gtest/gtest.h>
#include <zlib.h>

#include <random>

#include "base/error.h"
#include "canvas/flate.h"

namespace quillet {
namespace {

TEST(Flate, EveryStreamInflatesWithZlibToItsInput) {
  std::mt19937 rng(7);
  auto make = [&](size_t n, bool random) {
    static const char line[] = "0 0 0 RG 1 w 72 720 m 523 720 l S\n";
    std::vector<uint8_t> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = random ? static_cast<uint8_t>(rng()) : line[i % (sizeof line - 1)];
    return v;
  };
  const std::vector<std::vector<uint8_t>> inputs = {{},
                                                    {0x41},
                                                    make(64 * 1024, true),
                                                    make(64 * 1024, false),
                                                    make(300 * 1024, true),
                                                    make(3 * 1024 * 1024, false)};
  for (int level : {0, 1, 6, 9, 12}) {
    TFlateCompressor c(level);  // one compressor reused over all inputs, as a document does
    std::vector<uint8_t> z;
    for (const auto& in : inputs) {
      c.CompressTo(in, z);
      std::vector<uint8_t> out(in.size() + 1);  // a spare byte shows output longer than the input
      uLongf len = static_cast<uLongf>(out.size());
      ASSERT_EQ(uncompress(out.data(), &len, z.data(), static_cast<uLong>(z.size())), Z_OK) << level;
      out.resize(len);
      EXPECT_TRUE(out == in) << "level " << level << ", size " << in.size();
    }
    // Stored blocks expand; every real level must shrink repetitive text a lot.
    if (level == 0)
      EXPECT_GT(z.size(), inputs.back().size());
    else
      EXPECT_LT(z.size(), inputs.back().size() / 50);
  }
  for (int level : {-1, 13}) EXPECT_THROW(TFlateCompressor{level}, EQuilletError) << level;
}

}  // namespace
}  // namespace quillet
