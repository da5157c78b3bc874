#include "registration/pdf_open.h"

#include <cstdio>

#include "base/platform.h"

namespace quillet {

void PDFOpen(const std::string& FileName, const TMessageHook& Hook) {
  const auto show = [&Hook](const std::string& Message) {
    if (Hook)
      Hook(Message);
    else
      std::fprintf(stderr, "%s\n", Message.c_str());
  };
  if (!IsExistingFile(FileName)) {
    show("PDF file not found: " + FileName);
    return;
  }
  const std::string opener = FindOnPath("xdg-open");
  const std::string failure =
      opener.empty() ? std::string("xdg-open is not installed") : StartDetached(opener, {FileName}, "");
  if (!failure.empty()) show("Cannot open " + FileName + ": " + failure);
}

}  // namespace quillet
