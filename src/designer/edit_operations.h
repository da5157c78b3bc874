// The designer's edits on selected elements, each one step on the document's undo stack: new
// elements from the toolbox, moves and resizes, the clipboard, duplicates, deletion, stacking
// order, alignment, equal sizes and equal spacing. The design surface and the menus call them;
// they need no window, so the tests run them offscreen.
#pragma once

#include <QString>
#include <string>
#include <vector>

#include "designer/report_document.h"
#include "designer/selection.h"

namespace quillet::designer {

// The font new elements get: the file's default family when this machine has it, else the
// family the desktop uses, so that a report made here renders without a font substitution.
std::string DefaultFontName();

// A new element of Type as the toolbox places it: a size that shows what it is, a name and a
// text where the kind has one.
TReportElement NewElement(TRptElemType Type);

// A name for a new element of Type that no element of Page has yet ("Label3").
std::string UniqueElementName(const TReportPage& Page, TRptElemType Type);

// Adds El to Band (on top of its elements), named uniquely when it has no name, and selects it.
void PlaceElement(TReportDocument& Doc, TSelection& Sel, size_t Band, TReportElement El);

// Shifts the selected elements by (Dx, Dy) points (a line's far end goes along).
void MoveSelection(TReportDocument& Doc, const TSelection& Sel, float Dx, float Dy);

// The clipboard's form of elements: a JSON array of element objects as the report file holds them.
std::string ElementsToJson(const TReportPage& Page, const std::vector<TElementRef>& Refs);
// Elements back from that text (an element object alone is taken too); text that is not such
// JSON gives none.
std::vector<TReportElement> ElementsFromJson(const std::string& Text);

// Adds copies of Elements to Band, moved by Offset points right and down, renamed where their
// names are taken, and selects them. Nothing happens for an empty list.
void PasteElements(TReportDocument& Doc, TSelection& Sel, size_t Band, const std::vector<TReportElement>& Elements,
                   float Offset);
// Copies of the selected elements beside them (one grid step down and right), selected.
void DuplicateSelection(TReportDocument& Doc, TSelection& Sel, float Offset);
void DeleteSelection(TReportDocument& Doc, TSelection& Sel);

// Stacking order within each band: to the end (drawn last, on top) or to the front.
void RaiseSelection(TReportDocument& Doc, TSelection& Sel);
void LowerSelection(TReportDocument& Doc, TSelection& Sel);

enum class TAlign { Left, HCenter, Right, Top, VCenter, Bottom };
// Aligns the selected elements to the first selected one.
void AlignSelection(TReportDocument& Doc, const TSelection& Sel, TAlign How);

enum class TSameSize { Width, Height, Both };
// Gives the selected elements the first one's width and/or height.
void SameSizeSelection(TReportDocument& Doc, const TSelection& Sel, TSameSize How);

// Spreads three or more selected elements so the gaps between them are equal, keeping the
// outermost two where they are.
void SpaceSelectionEvenly(TReportDocument& Doc, const TSelection& Sel, bool Horizontally);

// Moves the selected elements into Band, each shifted right by Dx and given the Top of NewTops
// (parallel to the selection), as one step; the moved elements stay selected.
void MoveSelectionToBand(TReportDocument& Doc, TSelection& Sel, size_t Band, float Dx, const std::vector<float>& NewTops);

}  // namespace quillet::designer
