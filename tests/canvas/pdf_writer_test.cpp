#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "base/error.h"
#include "base/file_io.h"
#include "canvas/flate.h"
#include "canvas/pdf_writer.h"
#include "../support/test_support.h"

namespace quillet {
namespace {

namespace fs = std::filesystem;

using test::TTempDir;

struct TFixedClock {  // 2023-11-14 22:13:20 UTC
  TFixedClock() { ::setenv("SOURCE_DATE_EPOCH", "1700000000", 1); }
  ~TFixedClock() { ::unsetenv("SOURCE_DATE_EPOCH"); }
};
const std::string Date = "/CreationDate (D:20231114221320) >>";

std::string Inflate(const std::string& Z, size_t Size) {
  std::string out(Size + 1, '\0');  // a spare byte shows output longer than expected
  uLongf len = static_cast<uLongf>(out.size());
  if (uncompress(reinterpret_cast<Bytef*>(out.data()), &len, reinterpret_cast<const Bytef*>(Z.data()),
                 static_cast<uLong>(Z.size())) != Z_OK)
    return "<corrupt>";
  return out.substr(0, len);
}

TEST(PdfWriter, OnePageDocumentByteForByte) {
  TFixedClock clock;
  TTempDir dir;
  const std::string content = "BT /F0 12 Tf 72 720 Td (Hello) Tj ET\n";
  {
    TPDFVectorWriter w(dir.File("one.pdf"));
    w.SetInfoTitle("\xC3\x84");
    EXPECT_EQ(w.AddContentStream(content), 3);
    EXPECT_EQ(w.AddPage(595.2756, 842, 3, "<< /ProcSet [/PDF] >>"), 4);
    w.SaveToFile();
  }
  std::vector<uint8_t> z;
  TFlateCompressor().CompressTo(content, z);
  std::string e = "%PDF-1.4\n% Quillet vector\n";
  size_t off[6];
  off[3] = e.size();
  e += "3 0 obj\n<< /Filter /FlateDecode /Length " + std::to_string(z.size()) + " >>\nstream\n" +
       std::string(z.begin(), z.end()) + "\nendstream\nendobj\n";
  off[4] = e.size();
  e += "4 0 obj\n<< /Type /Page /Parent 2 0 R\n   /MediaBox [0 0 595.276 842]\n   /Resources << /ProcSet [/PDF] >>\n"
       "   /Contents 3 0 R\n>>\nendobj\n";
  off[1] = e.size();
  e += "1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n";
  off[2] = e.size();
  e += "2 0 obj\n<< /Type /Pages /Count 1 /Kids [4 0 R] >>\nendobj\n";
  off[5] = e.size();
  e += "5 0 obj\n<< /Title <FEFF00C4> /Producer <FEFF005100750069006C006C00650074> " + Date + "\nendobj\n";
  const size_t xref = e.size();
  e += "xref\n0 6\n0000000000 65535 f \n";
  for (int i = 1; i <= 5; ++i) {
    char entry[21];
    std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", off[i]);
    e += entry;
  }
  e += "trailer\n<< /Size 6 /Root 1 0 R /Info 5 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF";
  EXPECT_EQ(ReadWholeFile(dir.File("one.pdf")), e);
}

TEST(PdfWriter, InfoStringsAreUtf16HexInFixedOrder) {
  TFixedClock clock;
  TTempDir dir;
  using TSetter = void (TPDFVectorWriter::*)(std::string);
  const TSetter setters[] = {&TPDFVectorWriter::SetInfoTitle,    &TPDFVectorWriter::SetInfoAuthor,
                             &TPDFVectorWriter::SetInfoSubject,  &TPDFVectorWriter::SetInfoKeywords,
                             &TPDFVectorWriter::SetInfoCreator,  &TPDFVectorWriter::SetInfoProducer};
  struct Case {
    const char* Fields[6];  // Title, Author, Subject, Keywords, Creator, Producer
    std::string Expected;
  } cases[] = {
      // U+1F600 becomes a surrogate pair; an invalid byte U+FFFD.
      {{"a\xF0\x9F\x98\x80", "\xC5\x9F\xE2\x82\xAC", "", "\xFF", "", ""},
       "<< /Title <FEFF0061D83DDE00> /Author <FEFF015F20AC> /Keywords <FEFFFFFD> " + Date},
      {{"1", "2", "3", "4", "5", "6"},
       "<< /Title <FEFF0031> /Author <FEFF0032> /Subject <FEFF0033> /Keywords <FEFF0034> /Creator <FEFF0035> "
       "/Producer <FEFF0036> " + Date},
  };
  for (const auto& c : cases) {
    TPDFVectorWriter w(dir.File("info.pdf"));
    for (int i = 5; i >= 0; --i) (w.*setters[i])(c.Fields[i]);
    EXPECT_EQ(w.BuildInfoDict(), c.Expected);
  }
}

TEST(PdfWriter, TextIsAsciiWithOneQuestionMarkPerCodePoint) {
  const std::string longRun(70000, 'x');  // longer than the write buffer
  const std::pair<std::string, std::string> cases[] = {
{"a\xC3\xA4\xC3\xB6z", "a??z"}, {"\xF0\x9F\x98\x80!", "?!"},
      {"\xE2\x82\xAC", "?"},  {"\xFF\xFE", "??"},  {longRun + "\xC3\x84", longRun + "?"}};
  TTempDir dir;
  for (const auto& [in, out] : cases) {
    {
      TPDFVectorWriter w(dir.File("w.pdf"));
      w.W(in);
      w.WL("|");
      w.WB(std::string_view("\xC3\x84\n"));  // stream bytes pass unchanged
      w.SaveToFile();
    }
    EXPECT_TRUE(ReadWholeFile(dir.File("w.pdf")).substr(26, out.size() + 13) == out + "|\n\xC3\x84\n1 0 obj\n")
        << out.substr(0, 20);
  }
}

// Shaped like a canvas document: a font named by its number before it is written, compressed
// page contents and font streams, a raw stream bigger than the write buffer. Returns the
// uncompressed data of every Flate stream in file order.
std::vector<std::string> WriteSample(const std::string& Path, int Level, bool WithUnwritten) {
  std::vector<std::string> flate;
  TPDFVectorWriter w(Path);
  w.SetCompressionLevel(Level);
  const int32_t font = w.AllocObj();
  if (WithUnwritten) w.AllocObj();
  const double sizes[][2] = {{595.2756, 841.8898}, {612, 792}, {0.5, 1000.0004}};
  for (const auto& sz : sizes) {
    std::string content = "BT /F0 12 Tf 72 720 Td (Page) Tj ET\n";
    for (int i = 0; i < 40; ++i) content += "0.5 w 72 " + std::to_string(700 - i * 12) + " m 523 700 l S\n";
    flate.push_back(content);
    w.AddPage(sz[0], sz[1], w.AddContentStream(content), "<< /Font << /F0 " + std::to_string(font) + " 0 R >> >>");
  }
  std::mt19937 rng(3);
  std::string noise(200 * 1024, '\0');
  for (auto& ch : noise) ch = static_cast<char>(rng());
  w.AddStreamObject("/Subtype /Unused", noise);
  flate.push_back("/CIDInit /ProcSet findresource begin\n");
  w.AddStreamObjectFlate("", flate.back());
  flate.push_back(noise);
  w.AddStreamObjectFlate("/Length1 204800", noise);
  w.WriteRawObjectAt(font, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  w.SaveToFile();
  return flate;
}

TEST(PdfWriter, CrossReferenceAndStreamsReadBack) {
  TFixedClock clock;
  TTempDir dir;
  const auto flate = WriteSample(dir.File("s.pdf"), 6, true);
  const std::string f = ReadWholeFile(dir.File("s.pdf"));
  WriteSample(dir.File("again.pdf"), 6, true);
  EXPECT_TRUE(ReadWholeFile(dir.File("again.pdf")) == f) << "a fixed clock gives identical files";
  const size_t sx = f.rfind("startxref\n");
  size_t pos = std::stoul(f.substr(sx + 10));
  ASSERT_EQ(f.substr(sx + 10), std::to_string(pos) + "\n%%EOF");
  ASSERT_EQ(f.substr(pos, 30), "xref\n0 15\n0000000000 65535 f \n");
  pos += 30;
  for (int n = 1; n < 15; ++n, pos += 20) {
    ASSERT_EQ(f.substr(pos + 10, 10), " 00000 n \n") << n;
    const size_t off = std::stoul(f.substr(pos, 10));
    if (n == 4) {
      EXPECT_EQ(off, 0u) << "allocated, never written";
    } else {
      EXPECT_EQ(f.substr(off, 8 + (n > 9)), std::to_string(n) + " 0 obj\n");
    }
  }
  EXPECT_EQ(f.substr(pos, sx - pos), "trailer\n<< /Size 15 /Root 1 0 R /Info 14 0 R >>\n");
  for (const char* part : {"\n2 0 obj\n<< /Type /Pages /Count 3 /Kids [6 0 R 8 0 R 10 0 R] >>\n",
                           "/MediaBox [0 0 595.276 841.89]\n", "/MediaBox [0 0 0.5 1000]\n",
                           "\n3 0 obj\n<< /Type /Font", "<<  /Filter /FlateDecode /Length "})
    EXPECT_NE(f.find(part), std::string::npos) << part;

  size_t i = 0;
  for (size_t at = 0; (at = f.find("/FlateDecode /Length ", at)) != std::string::npos; ++i) {
    const size_t len = std::stoul(f.substr(at + 21));
    at = f.find(">>\nstream\n", at) + 10;
    ASSERT_LT(i, flate.size());
    EXPECT_TRUE(Inflate(f.substr(at, len), flate[i].size()) == flate[i]) << "stream " << i;
    EXPECT_EQ(f.substr(at + len, 11), "\nendstream\n");
    at += len;
  }
  EXPECT_EQ(i, flate.size());
}

TEST(PdfWriter, QpdfFindsNoFault) {
  if (!test::HaveTool("qpdf")) GTEST_SKIP() << "qpdf not installed";
  TTempDir dir;
  TPDFVectorWriter(dir.File("empty.pdf")).SaveToFile();
  for (int level : {0, 6, 12}) WriteSample(dir.File(("l" + std::to_string(level) + ".pdf").c_str()), level, false);
  for (const char* name : {"empty.pdf", "l0.pdf", "l6.pdf", "l12.pdf"}) {
    int status = -1;
    const std::string out = test::RunTool("qpdf --check '" + dir.File(name) + "' 2>&1", &status);
    EXPECT_EQ(status, 0) << name << "\n" << out;
  }
}

TEST(PdfWriter, OutputIsWholeOrNothing) {
  TTempDir dir;
  const std::string path = dir.File("out.pdf");
  {
    TPDFVectorWriter w(path);
    w.AddContentStream(std::string(100000, 'q'));
    EXPECT_EQ(dir.Count(), 1u) << "the temporary file";
  }
  EXPECT_EQ(dir.Count(), 0u);
  WriteFileAtomic(path, "old");
  TPDFVectorWriter(path).AddRawObject("<< >>");
  EXPECT_EQ(ReadWholeFile(path), "old") << "abandoning keeps the old file";
  TPDFVectorWriter(path).SaveToFile();
  EXPECT_EQ(dir.Count(), 1u);
  EXPECT_EQ(ReadWholeFile(path).substr(0, 9), "%PDF-1.4\n");

  const std::string missing = dir.File("no-such-folder/out.pdf");
  try {
    TPDFVectorWriter w(missing);
    ADD_FAILURE() << "no exception";
  } catch (const EQuilletError& e) {
    EXPECT_EQ(e.FileName(), missing);
  }
}

TEST(PdfWriter, MisuseRaisesInsteadOfWritingABrokenFile) {
  TTempDir dir;
  TPDFVectorWriter w(dir.File("m.pdf"));
  EXPECT_THROW(w.BeginObj(3), EQuilletError);  // never allocated
  EXPECT_THROW(w.WriteRawObjectAt(w.AddRawObject("<< >>"), "<< >>"), EQuilletError);  // twice
  EXPECT_THROW(w.SetCompressionLevel(13), EQuilletError);
  EXPECT_EQ(w.CompressionLevel(), 6);
  w.SaveToFile();
  EXPECT_THROW(w.SaveToFile(), EQuilletError);
}

}  // namespace
}  // namespace quillet

namespace quillet {
namespace {

// Pages compressed on the second thread must give the very same file as the one-thread path,
// also when other objects (an image, a raw object) are written between pages and the level
// changes in the middle.
TEST(PdfWriter, BackgroundCompressionIsByteIdentical) {
  TFixedClock clock;
  TTempDir dir;
  auto make = [&](bool Background, const std::string& Name) {
    TPDFVectorWriter w(dir.File(Name));
    w.SetBackgroundCompression(Background);
    std::mt19937 rng(7);
    for (int page = 0; page < 40; ++page) {
      std::string content;
      const int lines = 1 + static_cast<int>(rng() % 400);
      for (int i = 0; i < lines; ++i) content += "BT /F1 9 Tf " + std::to_string(rng() % 1000) + " 0 Td (x) Tj ET\n";
      if (page == 13) w.AddStreamObjectFlate("/Type /XObject", std::string(5000, 'a'));
      if (page == 21) w.SetCompressionLevel(1);
      if (page == 30) w.AddRawObject("<< /Extra true >>");
      const int32_t kid = w.AddPageContent(595, 842, content, "<< >>");
      EXPECT_TRUE(content.empty());
      EXPECT_EQ(w.Kids().back(), kid);
    }
    w.SaveToFile();
    return ReadWholeFile(dir.File(Name));
  };
  const auto one = make(false, "one.pdf");
  const auto two = make(true, "two.pdf");
  ASSERT_GT(one.size(), 1000u);
  EXPECT_TRUE(one == two);
  if (test::HaveTool("qpdf")) {
    int status = -1;
    test::RunTool("qpdf --check " + dir.File("two.pdf") + " >/dev/null 2>&1", &status);
    EXPECT_EQ(status, 0);
  }
}

// A writer abandoned with a page still on the second thread leaves no file behind.
TEST(PdfWriter, AbandonedBackgroundPageLeavesNothing) {
  TTempDir dir;
  {
    TPDFVectorWriter w(dir.File("gone.pdf"));
    std::string content(200000, 'q');
    w.AddPageContent(100, 100, content, "<< >>");
  }
  EXPECT_EQ(dir.Count(), 0u);
}

}  // namespace
}  // namespace quillet
