#include <gtest/gtest.h>
#include <zlib.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/file_io.h"
#include "canvas/image_codecs.h"

namespace quillet {
namespace {

using TRgba = std::array<uint8_t, 4>;
using TBytes = std::vector<uint8_t>;
using TSamples = std::vector<uint16_t>;

const std::string DataDir = std::string(QUILLET_SOURCE_DIR) + "/tests/canvas/data/";

TBytes ToBytes(const std::string& S) { return TBytes(S.begin(), S.end()); }
TBytes ReadData(const std::string& Name) { return ToBytes(ReadWholeFile(DataDir + Name)); }

TRgba PixelAt(const TRptBitmap& B, int X, int Y) {
  const uint8_t* p = &B.Pixels[(size_t(Y) * B.Width + X) * 4];
  return {p[0], p[1], p[2], p[3]};
}

void ExpectNear(const TRgba& Got, const TRgba& Want, int Tolerance) {
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(Got[i], Want[i], Tolerance) << "channel " << i;
}

void PutBE32(std::string& Out, uint32_t V) {
  for (int shift = 24; shift >= 0; shift -= 8) Out += char(V >> shift);
}

uint32_t Crc(const std::string& S, size_t Pos, size_t Len) {
  return uint32_t(crc32(0, reinterpret_cast<const Bytef*>(S.data()) + Pos, uInt(Len)));
}

void AppendChunk(std::string& Out, const std::string& Type, const std::string& Data) {
  PutBE32(Out, uint32_t(Data.size()));
  Out += Type + Data;
  PutBE32(Out, Crc(Out, Out.size() - Data.size() - 4, Data.size() + 4));
}

// A PNG written sample by sample (filter 0, zlib), independent of the decoder's library.
struct TPngRecipe {
  int Depth, ColorType;
  bool Interlaced;
  std::function<TSamples(int X, int Y)> Samples;
  std::string Plte = {}, Trns = {};
  int Width = 10, Height = 9;
};

std::string MakePng(const TPngRecipe& S) {
  static const int Adam7[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                  {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
  static const int Single[1][4] = {{0, 0, 1, 1}};
  std::string raw;
  for (int p = 0; p < (S.Interlaced ? 7 : 1); ++p) {
    const auto [x0, y0, dx, dy] = S.Interlaced ? Adam7[p] : Single[0];
    if (x0 >= S.Width) continue;  // an empty pass has no rows at all
    for (int y = y0; y < S.Height; y += dy) {
      raw += '\0';
      uint32_t acc = 0, bits = 0;
      for (int x = x0; x < S.Width; x += dx)
        for (uint16_t v : S.Samples(x, y)) {
          if (S.Depth == 16) {
            raw += {char(v >> 8), char(v)};
            continue;
          }
          acc = (acc << S.Depth) | v;
          if ((bits += S.Depth) == 8) raw += char(acc), acc = bits = 0;
        }
      if (bits > 0) raw += char(acc << (8 - bits));
    }
  }
  uLongf zlen = compressBound(uLong(raw.size()));
  std::string z(zlen, '\0');
  compress(reinterpret_cast<Bytef*>(z.data()), &zlen, reinterpret_cast<const Bytef*>(raw.data()), raw.size());
  std::string ihdr, png = "\x89PNG\r\n\x1a\n";
  PutBE32(ihdr, uint32_t(S.Width));
  PutBE32(ihdr, uint32_t(S.Height));
  AppendChunk(png, "IHDR", ihdr + std::string{char(S.Depth), char(S.ColorType), 0, 0, char(S.Interlaced)});
  if (!S.Plte.empty()) AppendChunk(png, "PLTE", S.Plte);
  if (!S.Trns.empty()) AppendChunk(png, "tRNS", S.Trns);
  AppendChunk(png, "IDAT", z.substr(0, zlen));
  AppendChunk(png, "IEND", "");
  return png;
}

uint16_t G(int X, int Y) { return uint16_t((X * 29 + Y * 53) & 255); }
TRgba Grey(int V, int A = 255) { return {uint8_t(V), uint8_t(V), uint8_t(V), uint8_t(A)}; }
TRgba Pal(int I, int A = 255) { return {uint8_t(I * 3), uint8_t(255 - I), uint8_t(I * 7), uint8_t(A)}; }
std::string Palette(int N) {
  std::string s;
  for (int i = 0; i < N; ++i) s += {char(Pal(i)[0]), char(Pal(i)[1]), char(Pal(i)[2])};
  return s;
}

TEST(ImageCodecs, EveryPngKindDecodesToStraightRgba8) {
  const uint16_t key = G(3, 2);
  struct Case {
    const char* Name;
    TPngRecipe Png;
    std::function<TRgba(int X, int Y)> Expect;
  } cases[] = {
      {"grey 1-bit", {1, 0, false, [](int x, int y) { return TSamples{uint16_t((x + y) & 1)}; }},
       [](int x, int y) { return Grey((x + y) & 1 ? 255 : 0); }},
      {"grey 2-bit interlaced", {2, 0, true, [](int x, int y) { return TSamples{uint16_t((x + 2 * y) & 3)}; }},
       [](int x, int y) { return Grey(((x + 2 * y) & 3) * 85); }},
      {"grey 8-bit, tRNS key", {8, 0, false, [](int x, int y) { return TSamples{G(x, y)}; }, "", {0, char(key)}},
       [&](int x, int y) { return Grey(G(x, y), G(x, y) == key ? 0 : 255); }},
      {"grey 16-bit keeps the high byte",
       {16, 0, false, [](int x, int y) { return TSamples{uint16_t(G(x, y) << 8 | (x * 37 & 255))}; }},
       [](int x, int y) { return Grey(G(x, y)); }},
      {"grey+alpha 16-bit interlaced",
       {16, 4, true, [](int x, int y) { return TSamples{uint16_t(G(x, y) << 8 | 0x7F), uint16_t(x * 20 << 8 | y)}; }},
       [](int x, int y) { return Grey(G(x, y), x * 20); }},
      {"rgb 8-bit, tRNS key",
       {8, 2, false, [](int x, int y) { return TSamples{G(x, y), G(y, x), 7}; }, "",
        {0, char(G(4, 5)), 0, char(G(5, 4)), 0, 7}},
       [](int x, int y) { return TRgba{uint8_t(G(x, y)), uint8_t(G(y, x)), 7, uint8_t(x == 4 && y == 5 ? 0 : 255)}; }},
      {"rgba 16-bit",
       {16, 6, false,
        [](int x, int y) {
          return TSamples{uint16_t(G(x, y) << 8), uint16_t(G(y, x) << 8 | 9), 300, uint16_t(y * 30 << 8 | 200)};
        }},
       [](int x, int y) { return TRgba{uint8_t(G(x, y)), uint8_t(G(y, x)), 1, uint8_t(y * 30)}; }},
      {"palette 4-bit, short tRNS, interlaced",
       {4, 3, true, [](int x, int y) { return TSamples{uint16_t((x + 2 * y) % 13)}; }, Palette(13), {0, char(0x80)}},
       [](int x, int y) { const int i = (x + 2 * y) % 13; return Pal(i, i == 0 ? 0 : i == 1 ? 0x80 : 255); }},
      {"palette 8-bit", {8, 3, false, [](int x, int y) { return TSamples{uint16_t((x * 11 + y) % 85)}; }, Palette(85)},
       [](int x, int y) { return Pal((x * 11 + y) % 85); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    const TRptBitmap b = DecodeImage(ToBytes(MakePng(c.Png)));
    ASSERT_EQ(b.Width, c.Png.Width);
    ASSERT_EQ(b.Height, c.Png.Height);
    ASSERT_EQ(b.Pixels.size(), size_t(b.Width) * b.Height * 4);
    for (int y = 0; y < b.Height; ++y)
      for (int x = 0; x < b.Width; ++x) ASSERT_EQ(PixelAt(b, x, y), c.Expect(x, y)) << x << "," << y;
  }
}

TEST(ImageCodecs, JpegColourSpacesDecodeToRgb) {
  // Each file holds 16x16 patches; a patch's centre is free of block and chroma bleeding.
  const std::vector<TRgba> inks = {{0, 255, 255, 255}, {255, 0, 255, 255}, {255, 255, 0, 255}, {127, 127, 127, 255}};
  struct Case {
    const char* File;
    std::vector<TRgba> Patches;
  } cases[] = {
      {"grey.jpg", {Grey(64), Grey(192)}},
      {"cmyk_adobe.jpg", inks},  // inverted CMYK, flagged by the Adobe marker
      {"ycck_adobe.jpg", inks},
      {"cmyk_plain.jpg", inks},  // no Adobe marker: plain ink values
      {"rgb_progressive.jpg", {{200, 30, 40, 255}, {20, 180, 60, 255}, {30, 40, 220, 255}, {250, 250, 250, 255}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.File);
    const TRptBitmap b = LoadImageFile(DataDir + c.File);
    ASSERT_EQ(b.Width, int(c.Patches.size()) * 16);
    ASSERT_EQ(b.Height, 16);
    for (size_t i = 0; i < c.Patches.size(); ++i) ExpectNear(PixelAt(b, int(i) * 16 + 8, 8), c.Patches[i], 3);
    EXPECT_FALSE(b.HasTransparency());
  }
}

TEST(ImageCodecs, EncodedJpegIsBaselineRgbAndRoundTrips) {
  TRptBitmap src{48, 40, {}};
  for (int y = 0; y < src.Height; ++y)
    for (int x = 0; x < src.Width; ++x)
      src.Pixels.insert(src.Pixels.end(), {uint8_t(x * 5), uint8_t(y * 6), uint8_t(128 + x - y), 255});
  const TBytes jpeg = EncodeJpeg(src);
  // The frame header (first SOFn, skipping DHT/DAC) is SOF0, baseline, with three components.
  size_t sof = 2;
  while (sof + 9 < jpeg.size() && !(jpeg[sof] == 0xFF && (jpeg[sof + 1] & 0xF0) == 0xC0 &&
                                    jpeg[sof + 1] != 0xC4 && jpeg[sof + 1] != 0xCC))
    ++sof;
  ASSERT_LT(sof + 9, jpeg.size());
  EXPECT_EQ(jpeg[sof + 1], 0xC0);
  EXPECT_EQ(jpeg[sof + 9], 3);

  const TRptBitmap back = DecodeJpeg(jpeg);
  ASSERT_EQ(back.Width, src.Width);
  ASSERT_EQ(back.Height, src.Height);
  for (size_t i = 0; i < src.Pixels.size(); ++i) ASSERT_NEAR(src.Pixels[i], back.Pixels[i], 8) << i;
}

TEST(ImageCodecs, TransparencyIsCompositedOverWhiteBeforeJpeg) {
  struct Case {
    TRgba Pixel, Expect;
  } cases[] = {
      {{0, 0, 0, 0}, {255, 255, 255, 255}},  // transparent black must not stay black
      {{10, 200, 30, 0}, {255, 255, 255, 255}},
      {{255, 0, 0, 128}, {255, 127, 127, 255}},  // half-transparent red turns pink
      {{0, 0, 0, 64}, {191, 191, 191, 255}},
      {{0, 0, 255, 255}, {0, 0, 255, 255}},
  };
  for (const auto& c : cases) {
    TRptBitmap b{16, 16, {}};
    for (int i = 0; i < 16 * 16; ++i) b.Pixels.insert(b.Pixels.end(), c.Pixel.begin(), c.Pixel.end());
    ExpectNear(PixelAt(DecodeJpeg(EncodeJpeg(b)), 7, 7), c.Expect, 2);
  }
}

std::string PatchIhdr(std::string Png, uint32_t W, uint32_t H) {
  std::string dims, crc;
  PutBE32(dims, W);
  PutBE32(dims, H);
  Png.replace(16, 8, dims);
  PutBE32(crc, Crc(Png, 12, 17));
  return Png.replace(29, 4, crc);
}

TBytes PatchSof(TBytes Jpeg, uint16_t W, uint16_t H) {
  for (size_t i = 2; i + 9 < Jpeg.size(); ++i)
    if (Jpeg[i] == 0xFF && (Jpeg[i + 1] == 0xC0 || Jpeg[i + 1] == 0xC2)) {
      Jpeg[i + 5] = uint8_t(H >> 8), Jpeg[i + 6] = uint8_t(H), Jpeg[i + 7] = uint8_t(W >> 8), Jpeg[i + 8] = uint8_t(W);
      break;
    }
  return Jpeg;
}

TEST(ImageCodecs, BadDataRaisesErrorsNeverCrashes) {
  const std::string png = MakePng({8, 6, false, [](int x, int y) { return TSamples{G(x, y), 1, 2, 3}; }});
  const TBytes jpeg = ReadData("grey.jpg"), progressive = ReadData("rgb_progressive.jpg");
  struct Case {
    const char* Name;
    TBytes Data;
    const char* Message;  // part of what()
  } cases[] = {
      {"empty", {}, "Unsupported image format"},
      {"GIF", ToBytes("GIF89a\x01\x02"), "Unsupported image format"},
      {"PNG signature alone", ToBytes(png.substr(0, 8)), "Invalid PNG image"},
      {"PNG of 20000 x 20000", ToBytes(PatchIhdr(png, 20000, 20000)), "Image too large: 20000 x 20000"},
      // Right at the pixel cap the size passes and only the missing data stops the decoder; one
      // row more is refused for its size.
      {"PNG of 10000 x 10000, cut short", ToBytes(PatchIhdr(png, 10000, 10000)), "image data is truncated"},
      {"PNG of 10000 x 10001", ToBytes(PatchIhdr(png, 10000, 10001)), "Image too large: 10000 x 10001"},
      {"PNG of 0 x 9", ToBytes(PatchIhdr(png, 0, 9)), "Invalid PNG image"},
      {"PNG promising more than its data", ToBytes(PatchIhdr(png, 5000, 5000)), "image data is truncated"},
      {"PNG with a bad header CRC", ToBytes(PatchIhdr(png, 10, 9).replace(30, 1, "?")), "Invalid PNG image"},
      {"JPEG of 20000 x 20000", PatchSof(jpeg, 20000, 20000), "Image too large: 20000 x 20000"},
      {"progressive JPEG of 20000 x 20000", PatchSof(progressive, 20000, 20000), "Image too large"},
      {"JPEG of 32 x 0", PatchSof(jpeg, 32, 0), "Invalid JPEG image"},
      {"JPEG of 0 x 16", PatchSof(jpeg, 0, 16), "Invalid JPEG image"},
      {"JPEG promising more than its data", PatchSof(jpeg, 4000, 3000), "Invalid JPEG image"},
  };
  for (const auto& c : cases) {
    try {
      (void)DecodeImage(c.Data);
      ADD_FAILURE() << c.Name << " decoded";
    } catch (const EQuilletError& e) {
      EXPECT_NE(std::string(e.what()).find(c.Message), std::string::npos) << c.Name << ": " << e.what();
    }
  }

  // Every cut of a valid file is an error, also one that only loses the end marker.
  const TRptBitmap grey{20, 12, std::vector<uint8_t>(20 * 12 * 4, 90)};
  const auto palette = [](int x, int y) { return TSamples{uint16_t((x + y) % 5)}; };
  const TBytes whole[] = {ToBytes(png), ToBytes(MakePng({4, 3, true, palette, Palette(5), "\x40"})), jpeg,
                          progressive, ReadData("ycck_adobe.jpg"), EncodeJpeg(grey)};
  for (const TBytes& file : whole) {
    ASSERT_NO_THROW((void)DecodeImage(file));
    for (size_t cut = 0; cut < file.size(); ++cut)
      EXPECT_THROW((void)DecodeImage(std::span(file).first(cut)), EQuilletError) << cut << " of " << file.size();
  }

  EXPECT_THROW(EncodeJpeg(TRptBitmap{}), EQuilletError);
  EXPECT_THROW(EncodeJpeg(TRptBitmap{4, 4, std::vector<uint8_t>(4 * 3 * 4)}), EQuilletError);
  for (const std::string name : {"none.png", "../image_codecs_test.cpp"}) {
    try {
      (void)LoadImageFile(DataDir + name);
      ADD_FAILURE() << name << " loaded";
    } catch (const EQuilletError& e) {
      EXPECT_EQ(e.FileName(), DataDir + name);
    }
  }
}

}  // namespace
}  // namespace quillet
