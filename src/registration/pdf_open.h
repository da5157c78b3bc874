// Opening a finished PDF in the user's viewer.
#pragma once

#include <string>

#include "engine/report_engine.h"

namespace quillet {

// Opens FileName with the desktop's viewer for it (xdg-open) and returns without waiting. A
// file that does not exist is reported as "PDF file not found: FILE", and a viewer that cannot
// be started with one message too; messages go to Hook (stderr without one).
void PDFOpen(const std::string& FileName, const TMessageHook& Hook = nullptr);

}  // namespace quillet
