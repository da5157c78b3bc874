// Placing a data field on the report: a label showing the field where it is dropped, and the
// field's data source written into the report's schema so that the report remembers what it was
// designed against. Everything happens as one step of the undo stack.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "designer/report_document.h"

namespace quillet::designer {

// The size of a placed field's label, in points.
inline constexpr float kPlacedFieldWidth = 100;
inline constexpr float kPlacedFieldHeight = 18;

// Adds, as one undo step, a label at (Left, Top) of band Band whose text is "[Source.Field]",
// named "lbl" + Field ("lblAmount", "lblAmount2" when that name is taken), and records the schema:
//   - Source with SourceFields goes into the page's data sources; a source recorded before keeps
//     its list, with the fields of SourceFields (and Field) it lacks added at the end;
//   - Source is added to the visible data sources when it is not listed;
//   - a data band (master, detail, subdetail) without a data source is bound to Source, unless
//     one of its elements already refers to another source: such a band walks the main data set
//     on purpose. A band bound to a source keeps it.
// Steps that would change nothing are left out. Band out of range throws std::out_of_range.
void PlaceField(TReportDocument& Doc, size_t Band, float Left, float Top, const std::string& Source,
                const std::string& Field, const std::vector<std::string>& SourceFields);

// The name PlaceField gives a label for Field in Page: "lbl" + Field with its first letter upper
// case and everything but letters, digits and "_" left out, then a number when the name is taken.
std::string PlacedFieldName(const TReportPage& Page, const std::string& Field);

}  // namespace quillet::designer
