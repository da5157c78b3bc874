#include "base/json_shape.h"

#include <vector>

namespace quillet {

TJsonShape MeasureJsonShape(std::string_view Text) {
  struct TLevel {
    size_t Items = 0;
    bool Array = false;
  };
  TJsonShape shape;
  std::vector<TLevel> open;
  bool inString = false;
  for (size_t i = 0; i < Text.size(); ++i) {
    const char c = Text[i];
    if (inString) {
      if (c == '\\')
        ++i;
      else if (c == '"')
        inString = false;
      continue;
    }
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    if (c == ']' || c == '}') {
      if (!open.empty()) open.pop_back();
      continue;
    }
    if (!open.empty()) {
      TLevel& level = open.back();
      if (c == ',')
        ++level.Items;
      else if (level.Items == 0)
        level.Items = 1;  // the first entry begins
      if (level.Items > shape.MostItems) {
        shape.MostItems = level.Items;
        shape.MostItemsInArray = level.Array;
      }
    }
    if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      open.push_back({0, c == '['});
      if (open.size() > shape.Depth) shape.Depth = open.size();
    }
  }
  return shape;
}

}  // namespace quillet
