#include "expr/format_settings.h"

namespace quillet {

TFormatSettings& FormatSettings() {
  static TFormatSettings settings;
  return settings;
}

}  // namespace quillet
