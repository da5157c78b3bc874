// The quillet program: shared pieces of its commands.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace quillet::cli {

// A command-line mistake: reported with a hint to --help, exit status 2.
class EUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using TArgs = std::vector<std::string>;

// Each command takes the arguments after its name and returns the exit status. Failures are
// thrown: EUsageError for usage, anything else is a failure while running (status 1).
int RunRender(const TArgs& Args);
int RunEval(const TArgs& Args);
int RunCheck(const TArgs& Args);
int RunSelfTest(const TArgs& Args);

}  // namespace quillet::cli

namespace quillet {
class TReportPage;
}

namespace quillet::cli {

// The structure listing that `check` prints.
std::string DescribeReport(const TReportPage& Page);
// The traps `check` points out after the listing, one "warning: ..." line each.
std::string ReportWarnings(const TReportPage& Page);

// Splits "NAME=VALUE"; throws EUsageError naming Option when there is no "=" or no name.
std::pair<std::string, std::string> SplitAssignment(const std::string& Option, const std::string& Text);

}  // namespace quillet::cli
