// Starting a design session as the command line asks: the report opened, or begun when its file
// does not exist yet (it is saved under that name); the data sources of the /ds: description and
// of the data options shown in the data tree; previews and exports run over that data, whose
// first record the expression editor's check uses.
#pragma once

#include <string>
#include <vector>

#include "designer/command_line.h"
#include "designer/designer_data.h"
#include "designer/designer_window.h"

namespace quillet::designer {

// Data may be null (no data options) and must outlive the window. Returns what could not be
// opened (a report, a description), one line each; the session goes on without it.
std::vector<std::string> StartSession(TDesignerWindow& Window, const TDesignerArgs& Args, TDesignerData* Data);

// A problem of File as one line: the error's text with its detail, naming the file.
std::string ErrorLine(const std::string& File, const std::exception& E);

}  // namespace quillet::designer
