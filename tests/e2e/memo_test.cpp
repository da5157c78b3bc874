// Memos wrap inside their element, in the PDF and on screen alike: quillet render of one-memo
// reports, read back with pdftotext -bbox (where each word lies) and from the PNG page the screen
// canvas paints (which pixel rows carry ink).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "canvas/image_codecs.h"
#include "e2e_support.h"

namespace quillet::e2e {
namespace {

struct TWord {
  std::string Text;
  double XMin, YMin, XMax;
};
using TLine = std::vector<TWord>;

// The words of page 1 from pdftotext -bbox, in lines: the words of a line share their top.
std::vector<TLine> PdfLines(const std::string& Pdf) {
  const std::string html = test::RunTool("pdftotext -bbox -l 1 " + Quote(Pdf) + " - 2>/dev/null");
  auto num = [&](size_t At, const std::string& Name) { return std::atof(html.c_str() + html.find(Name, At) + Name.size()); };
  std::vector<TLine> lines;
  for (size_t at = html.find("<word "); at != std::string::npos; at = html.find("<word ", at + 1)) {
    const size_t open = html.find('>', at) + 1;
    const TWord w{html.substr(open, html.find("</word>", open) - open), num(at, "xMin=\""), num(at, "yMin=\""),
                  num(at, "xMax=\"")};
    if (lines.empty() || std::abs(lines.back().front().YMin - w.YMin) > 0.01) lines.emplace_back();
    lines.back().push_back(w);
  }
  return lines;
}

// Tops, in points, of the bands of dark pixel rows of a page painted at Dpi: one band per line of
// text. Rows without ink inside a line (under the dot of an i) are bridged; lines are 5 points apart.
std::vector<double> InkTops(const TRptBitmap& Page, int Dpi) {
  std::vector<double> tops;
  for (int32_t y = 0, lastInk = -1000; y < Page.Height; ++y) {
    const uint8_t* row = &Page.Pixels[static_cast<size_t>(y) * static_cast<size_t>(Page.Width) * 4];
    bool ink = false;
    for (int32_t x = 0; x < Page.Width && !ink; ++x) ink = row[4 * x] + row[4 * x + 1] + row[4 * x + 2] < 3 * 128;
    if (!ink) continue;
    if (y - lastInk > Dpi / 36 + 1) tops.push_back(y * 72.0 / Dpi);
    lastInk = y;
  }
  return tops;
}

std::vector<std::string> Words(const std::string& Text) {
  std::istringstream in(Text);
  std::vector<std::string> out;
  for (std::string w; in >> w;) out.push_back(w);
  return out;
}

const std::string kLorem =
    "Quillet flows each memo into its element line by line and breaks a line only where a space "
    "allows it so that words keep together while the text stays inside the box on every page of "
    "a long report with many memos in it and nothing is measured more than once along the way";

// The same words as rich text, every fifth bold and every seventh italic.
std::string RichLorem() {
  std::string rich = "{\\rtf1";
  const std::vector<std::string> words = Words(kLorem);
  for (size_t i = 0; i < words.size(); ++i)
    rich += " " + (i % 5 == 0 ? "{\\b " + words[i] + "}" : i % 7 == 0 ? "{\\i " + words[i] + "}" : words[i]);
  return rich + "}";
}

struct TCase {
  const char* Name;
  float Width;
  std::string Text;
  // The words of each line ("" for an empty line) and the size that sets its height; none: the
  // memo holds kLorem at 10 points, and each line must be broken only where its next word would
  // not have fitted after it.
  std::vector<std::pair<std::string, float>> Lines;
};

// The memo sits 10 points into the title band of a report with 30-point margins: its box starts
// at (40, 40), the first line at y 42, the text at x 44 (the flow's 2 points and the canvas's 2).
TEST(Memos, WrapInsideTheirWidthOnPaperAndOnScreen) {
  const std::string wide = "Pneumonoultramicroscopicsilicovolcanoconiosis";
  const std::vector<TCase> cases = {
      {"plain text", 150, kLorem, {}},
      {"rich text", 150, RichLorem(), {}},
      {"line feeds", 300, "one two\nthree\r\nfour\rfive\n\nsix",
       {{"one two", 10}, {"three", 10}, {"four", 10}, {"five", 10}, {"", 10}, {"six", 10}}},
      {"paragraphs", 300,
       "{\\rtf1 alpha\\par\\par beta\\line\r\ngam\r\nma\\par{\\fs30\\par}delta{\\b epsilon}{\\i zeta} eta\\par}",
       {{"alpha", 10}, {"", 10}, {"beta", 10}, {"gamma", 10}, {"", 15}, {"deltaepsilonzeta eta", 10}}},
      {"a word wider than the line", 80, "a " + wide + " b", {{"a", 10}, {wide, 10}, {"b", 10}}},
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.Name);
    test::TTempDir dir;
    const TJson memo = {{"type", "Memo"}, {"name", "m"}, {"left", 10}, {"top", 10}, {"width", c.Width},
                        {"height", 20}, {"text", c.Text}, {"fontName", "DejaVu Sans"}, {"fontSize", 10}};
    dir.Write("memo.qdr", Report({Band("Title", 400, {memo})}));
    const TRun r = RunQuillet({"render", "memo.qdr", "-o", "memo.pdf"}, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    const std::vector<TLine> lines = PdfLines(dir.File("memo.pdf"));
    const double right = 40 + c.Width;

    // Every word once and in order, none past the box's right edge unless wider than the line.
    std::vector<std::string> want = c.Lines.empty() ? Words(kLorem) : std::vector<std::string>{};
    std::vector<std::string> got, wantLines, gotLines;
    std::vector<double> tops;  // of the lines with words
    double top = 42;
    for (const auto& [text, size] : c.Lines) {
      for (const std::string& w : Words(text)) want.push_back(w);
      if (!text.empty()) {
        wantLines.push_back(text);
        tops.push_back(top);
      }
      top += 1.3 * size + 2;
    }
    double space = 0;  // the widest gap between words on a line
    for (const TLine& l : lines) {
      std::string text;
      for (size_t i = 0; i < l.size(); ++i) {
        got.push_back(l[i].Text);
        text += (i ? " " : "") + l[i].Text;
        if (l[i].XMax - l[i].XMin <= c.Width - 4) {
          EXPECT_LE(l[i].XMax, right + 0.01) << l[i].Text;
        }
        if (i) space = std::max(space, l[i].XMin - l[i - 1].XMax);
      }
      EXPECT_NEAR(l.front().XMin, 44, 0.01) << text;
      gotLines.push_back(text);
    }
    EXPECT_EQ(got, want);
    if (c.Lines.empty()) {
      ASSERT_GE(lines.size(), 4u);
      for (size_t k = 0; k < lines.size(); ++k) {
        tops.push_back(42 + 15.0 * static_cast<double>(k));
        if (k + 1 == lines.size()) break;
        const TWord& next = lines[k + 1].front();
        EXPECT_GT(lines[k].back().XMax + space + (next.XMax - next.XMin), right) << "room left for " << next.Text;
      }
    } else {
      EXPECT_EQ(gotLines, wantLines);
    }
    ASSERT_EQ(lines.size(), tops.size());
    for (size_t k = 0; k < lines.size(); ++k) EXPECT_NEAR(lines[k].front().YMin, tops[k], 0.05) << gotLines[k];

    // The screen canvas runs the same flow: the ink of each line starts within its line.
    const TRun png = RunQuillet({"render", "memo.qdr", "-o", "memo", "--format", "png", "--dpi", "144"}, dir.Str());
    if (png.Status == 2 && png.Err.find("Qt module") != std::string::npos) continue;  // a build without it
    ASSERT_EQ(png.Status, 0) << png.Err;
    const std::vector<double> ink = InkTops(LoadImageFile(dir.File("memo-1.png")), 144);
    ASSERT_EQ(ink.size(), tops.size()) << testing::PrintToString(ink);
    for (size_t k = 0; k < tops.size(); ++k) {
      EXPECT_GE(ink[k], tops[k]) << gotLines[k];
      EXPECT_LT(ink[k], tops[k] + 6) << gotLines[k];
    }
  }
}

}  // namespace
}  // namespace quillet::e2e
