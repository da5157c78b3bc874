#include <gtest/gtest.h>

#include "canvas/rpt_canvas.h"

namespace quillet {
namespace {

TEST(RptCanvas, TransparencyIsTheAlphaByteAlone) {
  struct Case {
    TAlphaColor Color;
    bool Transparent;
  } cases[] = {{0x00FFFFFF, true}, {0x00000000, true}, {0x01000000, false}, {0xFF000000, false}, {0x80FF0000, false}};
  for (const auto& c : cases) EXPECT_EQ(IsTranspColor(c.Color), c.Transparent) << std::hex << c.Color;

  const TRptFont f = RptFont("Arial", 10, false, true);
  EXPECT_EQ(f, (TRptFont{"Arial", 10, false, true}));

  TRptBitmap b{2, 1, {1, 2, 3, 255, 4, 5, 6, 255}};
  EXPECT_FALSE(b.HasTransparency());
  b.Pixels[7] = 254;
  EXPECT_TRUE(b.HasTransparency());
}

}  // namespace
}  // namespace quillet
