// The shape of JSON text, found without parsing it: how deep arrays and objects nest, and the
// most entries one of them holds. Readers bound both before a parser that recurses per level and
// allocates per entry runs. Strings are skipped; whatever else is malformed is left to the parser.
#pragma once

#include <cstddef>
#include <string_view>

namespace quillet {

struct TJsonShape {
  size_t Depth = 0;             // 0 for a bare value, 1 for [1, 2], 2 for [[1]]
  size_t MostItems = 0;         // entries of the largest array or object
  bool MostItemsInArray = false;
};

TJsonShape MeasureJsonShape(std::string_view Text);

}  // namespace quillet
