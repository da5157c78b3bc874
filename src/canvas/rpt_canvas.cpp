#include "canvas/rpt_canvas.h"

namespace quillet {

bool TRptBitmap::HasTransparency() const {
  const size_t n = Pixels.size() / 4;
  for (size_t i = 0; i < n; ++i)
    if (Pixels[i * 4 + 3] != 0xFF) return true;
  return false;
}

}  // namespace quillet
