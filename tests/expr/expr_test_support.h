// Shared helpers for the expression tests: short value makers and readable failure output.
#pragma once

#include <cstdio>
#include <ostream>

#include "expr/expr_value.h"

namespace quillet {

inline void PrintTo(const TExprValue& V, std::ostream* Os) {
  static const char* const kinds[] = {"null", "empty", "bool", "int", "float", "string", "datetime"};
  *Os << kinds[V.Kind()];
  if (V.Kind() == evkFloat || V.Kind() == evkDateTime) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.17g", V.AsFloat());
    *Os << "(" << buf << ")";
  } else if (!V.IsNullOrEmpty()) {
    *Os << "(" << V.ToText() << ")";
  }
}

namespace testval {
inline TExprValue N() { return TExprValue::Null(); }
inline TExprValue I(int64_t V) { return TExprValue::FromInt(V); }
inline TExprValue F(double V) { return TExprValue::FromFloat(V); }
inline TExprValue S(std::string V) { return TExprValue::FromString(std::move(V)); }
inline TExprValue B(bool V) { return TExprValue::FromBool(V); }
inline TExprValue D(double V) { return TExprValue::FromDateTime(V); }
}  // namespace testval

}  // namespace quillet
