#include "canvas/image_codecs.h"

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

// jpeglib.h uses FILE and size_t without including their headers; jerror.h needs jpeglib.h.
#include <jpeglib.h>
#include <jerror.h>
#include <png.h>

#include "base/byte_reader.h"
#include "base/error.h"
#include "base/file_io.h"

// libpng and libjpeg report errors by longjmp. Every member function below that calls into them
// sets its own jump point first and holds only trivially destructible locals, so a jump out of a
// library never skips a destructor; the bitmap and row tables live in the calling frame, and the
// library state lives in an object whose destructor frees it on every path.

namespace quillet {

namespace {

constexpr uint8_t PngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

// Deflate's densest code is a 258-byte match in two bits (a 1-bit length code and a 1-bit distance
// code), so a PNG cannot hold more pixel data than this many times its IDAT bytes.
constexpr uint64_t MaxDeflateRatio = 1032;

// An encoder writes a dozen scans; a crafted file can hold thousands, each a pass over the whole
// coefficient buffer.
constexpr int MaxJpegScans = 500;

// Rows decoded per step, so that a file whose header promises a huge image but whose data runs out
// early fails before its whole bitmap is touched.
constexpr size_t JpegStepBytes = size_t(4) << 20;

void CheckDimensions(uint64_t Width, uint64_t Height) {
  if (Width == 0 || Height == 0) throw EQuilletError("Image has no pixels");
  const auto limit = static_cast<uint64_t>(MaxImagePixels);
  if (Width > limit || Height > limit || Width * Height > limit)
    throw EQuilletError("Image too large: " + std::to_string(Width) + " x " + std::to_string(Height) +
                        " pixels");
}

// Sizes Bmp for Width x Height, reserving the whole pixel buffer (address space only, nothing is
// touched) and resizing it to Rows rows.
void PrepareBitmap(TRptBitmap& Bmp, uint32_t Width, uint32_t Height, uint32_t Rows) {
  Bmp.Width = static_cast<int32_t>(Width);
  Bmp.Height = static_cast<int32_t>(Height);
  try {
    Bmp.Pixels.reserve(size_t(Width) * Height * 4);
    Bmp.Pixels.resize(size_t(Width) * Rows * 4);
  } catch (const std::bad_alloc&) {
    throw EQuilletError("Not enough memory for an image of " + std::to_string(Width) + " x " +
                        std::to_string(Height) + " pixels");
  }
}

uint32_t ReadBE32(const uint8_t* P) {
  return (uint32_t(P[0]) << 24) | (uint32_t(P[1]) << 16) | (uint32_t(P[2]) << 8) | P[3];
}

// The IDAT payload bytes actually present; a chunk whose length runs past the end counts what is
// there. Each step moves on by at least one chunk header, so the walk ends.
uint64_t PresentIdatBytes(std::span<const uint8_t> Data) {
  uint64_t total = 0;
  size_t pos = sizeof PngSignature;
  while (pos <= Data.size() && Data.size() - pos >= 8) {
    const uint32_t length = ReadBE32(&Data[pos]);
    const bool idat = std::memcmp(&Data[pos + 4], "IDAT", 4) == 0;
    const bool iend = std::memcmp(&Data[pos + 4], "IEND", 4) == 0;
    pos += 8;
    const size_t present = std::min<uint64_t>(length, Data.size() - pos);
    if (idat) total += present;
    if (iend || present < length) break;
    pos += present + 4;  // payload and CRC
  }
  return total;
}

// Libraries report damage with pointers into our buffer, or past it when they ran out of data.
int64_t OffsetIn(std::span<const uint8_t> Data, const void* P) {
  const auto begin = reinterpret_cast<uintptr_t>(Data.data());
  const auto p = reinterpret_cast<uintptr_t>(P);
  if (p >= begin && p - begin <= Data.size()) return static_cast<int64_t>(p - begin);
  return static_cast<int64_t>(Data.size());
}

// ---- PNG ---------------------------------------------------------------------------------------

// Chunks we never use; skipping them also skips their decompression (iCCP, zTXt, iTXt).
constexpr png_byte PngIgnoredChunks[] = {'i', 'C', 'C', 'P', 0, 'z', 'T', 'X', 't', 0, 'i', 'T', 'X', 't', 0,
                                         't', 'E', 'X', 't', 0, 's', 'P', 'L', 'T', 0, 'e', 'X', 'I', 'f', 0};

class TPngDecoder {
 public:
  explicit TPngDecoder(std::span<const uint8_t> Data) : FData(Data) {}
  ~TPngDecoder() {
    if (FPng) png_destroy_read_struct(&FPng, &FInfo, nullptr);
  }
  TPngDecoder(const TPngDecoder&) = delete;
  TPngDecoder& operator=(const TPngDecoder&) = delete;

  TRptBitmap Decode() {
    FPng = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning);
    if (!FPng) throw EQuilletError("Invalid PNG image: out of memory");
    if (!ReadInfo()) Fail();
    CheckDimensions(FWidth, FHeight);
    // A header may promise far more pixels than the data can hold; refuse before allocating.
    const uint64_t packedBytes = (uint64_t(FWidth) * FHeight * FBitsPerPixel + 7) / 8;
    if (packedBytes / MaxDeflateRatio > PresentIdatBytes(FData) + 1) {
      std::snprintf(FMessage, sizeof FMessage, "image data is truncated");
      Fail();
    }
    if (!SetRgba8()) Fail();
    if (FRowBytes != size_t(FWidth) * 4) {
      std::snprintf(FMessage, sizeof FMessage, "unexpected row layout");
      Fail();
    }
    TRptBitmap bmp;
    PrepareBitmap(bmp, FWidth, FHeight, FHeight);
    std::vector<png_bytep> rows(FHeight);
    for (uint32_t y = 0; y < FHeight; ++y) rows[y] = bmp.Pixels.data() + size_t(y) * FRowBytes;
    if (!ReadPixels(rows.data())) Fail();
    return bmp;
  }

 private:
  bool ReadInfo() {
    if (setjmp(png_jmpbuf(FPng))) return false;
    FInfo = png_create_info_struct(FPng);
    if (!FInfo) png_error(FPng, "out of memory");
    png_set_read_fn(FPng, this, OnRead);
    png_set_user_limits(FPng, MaxImagePixels, MaxImagePixels);
    png_set_keep_unknown_chunks(FPng, PNG_HANDLE_CHUNK_NEVER, PngIgnoredChunks, sizeof PngIgnoredChunks / 5);
    png_read_info(FPng, FInfo);
    int depth = 0;
    png_get_IHDR(FPng, FInfo, &FWidth, &FHeight, &depth, &FColorType, nullptr, nullptr, nullptr);
    FBitsPerPixel = uint32_t(depth) * png_get_channels(FPng, FInfo);
    return true;
  }

  // Every colour type and depth becomes 8-bit RGBA; Adam7 passes are merged by libpng.
  bool SetRgba8() {
    if (setjmp(png_jmpbuf(FPng))) return false;
    png_set_expand(FPng);  // palette to RGB, grey below 8 bits to 8, tRNS to alpha
    png_set_strip_16(FPng);
    png_set_gray_to_rgb(FPng);
    if (!(FColorType & PNG_COLOR_MASK_ALPHA) && !png_get_valid(FPng, FInfo, PNG_INFO_tRNS))
      png_set_add_alpha(FPng, 0xFF, PNG_FILLER_AFTER);
    png_set_interlace_handling(FPng);
    png_read_update_info(FPng, FInfo);
    FRowBytes = png_get_rowbytes(FPng, FInfo);
    return true;
  }

  // Reads through IEND as well, so that a file cut anywhere is an error rather than a partial image.
  bool ReadPixels(png_bytepp Rows) {
    if (setjmp(png_jmpbuf(FPng))) return false;
    png_read_image(FPng, Rows);
    png_read_end(FPng, nullptr);
    return true;
  }

  [[noreturn]] void Fail() const {
    throw EQuilletError(std::string("Invalid PNG image: ") + FMessage, std::string(),
                        static_cast<int64_t>(FPos));
  }

  static void OnError(png_structp Png, png_const_charp Message) {
    auto* self = static_cast<TPngDecoder*>(png_get_error_ptr(Png));
    std::snprintf(self->FMessage, sizeof self->FMessage, "%s", Message ? Message : "unknown error");
    png_longjmp(Png, 1);
  }

  // Warnings concern ancillary chunks that are dropped; the pixels are still right.
  static void OnWarning(png_structp, png_const_charp) {}

  static void OnRead(png_structp Png, png_bytep Out, size_t Count) {
    auto* self = static_cast<TPngDecoder*>(png_get_io_ptr(Png));
    if (Count > self->FData.size() - self->FPos) {
      self->FPos = self->FData.size();
      png_error(Png, "file is truncated");
    }
    std::memcpy(Out, self->FData.data() + self->FPos, Count);
    self->FPos += Count;
  }

  std::span<const uint8_t> FData;
  size_t FPos = 0;
  png_structp FPng = nullptr;
  png_infop FInfo = nullptr;
  png_uint_32 FWidth = 0;
  png_uint_32 FHeight = 0;
  int FColorType = 0;
  uint32_t FBitsPerPixel = 0;
  size_t FRowBytes = 0;
  char FMessage[200] = "";
};

// ---- JPEG --------------------------------------------------------------------------------------

struct TJpegErrorMgr {
  jpeg_error_mgr Pub;  // first, so that the library's err pointer is also a pointer to this
  std::jmp_buf Jump;
  char Message[JMSG_LENGTH_MAX];
};

TJpegErrorMgr& JpegErrors(j_common_ptr Info) { return *reinterpret_cast<TJpegErrorMgr*>(Info->err); }

[[noreturn]] void JpegErrorExit(j_common_ptr Info) {
  TJpegErrorMgr& err = JpegErrors(Info);
  (*Info->err->format_message)(Info, err.Message);
  std::longjmp(err.Jump, 1);
}

// libjpeg reports damaged or missing data as a warning and fills the gap with grey; we refuse such
// images. Oddities of the header alone leave the pixels intact and stay warnings.
void JpegEmitMessage(j_common_ptr Info, int Level) {
  if (Level >= 0) return;  // trace output
  const int code = Info->err->msg_code;
  if (code == JWRN_JFIF_MAJOR || code == JWRN_ADOBE_XFORM || code == JWRN_BOGUS_ICC) return;
  JpegErrorExit(Info);
}

void JpegOutputMessage(j_common_ptr) {}

void JpegProgress(j_common_ptr Info) {
  if (!Info->is_decompressor) return;
  if (reinterpret_cast<j_decompress_ptr>(Info)->input_scan_number > MaxJpegScans) {
    TJpegErrorMgr& err = JpegErrors(Info);
    std::snprintf(err.Message, sizeof err.Message, "more than %d scans", MaxJpegScans);
    std::longjmp(err.Jump, 1);
  }
}

void InitJpegErrors(TJpegErrorMgr& Err) {
  jpeg_std_error(&Err.Pub);
  Err.Pub.error_exit = JpegErrorExit;
  Err.Pub.emit_message = JpegEmitMessage;
  Err.Pub.output_message = JpegOutputMessage;
}

uint8_t Mul255(unsigned A, unsigned B) { return static_cast<uint8_t>((A * B + 127) / 255); }

// CMYK in place to RGBA. Inverted data (written by Adobe software, flagged by its marker) stores
// 255 - ink, which is exactly the share of white left.
void CmykToRgba(uint8_t* P, size_t Pixels, bool Inverted) {
  for (size_t i = 0; i < Pixels; ++i, P += 4) {
    unsigned c = P[0], m = P[1], y = P[2], k = P[3];
    if (!Inverted) c = 255 - c, m = 255 - m, y = 255 - y, k = 255 - k;
    P[0] = Mul255(c, k);
    P[1] = Mul255(m, k);
    P[2] = Mul255(y, k);
    P[3] = 255;
  }
}

class TJpegDecoder {
 public:
  explicit TJpegDecoder(std::span<const uint8_t> Data) : FData(Data) {}
  // Harmless on a zeroed struct when creation never happened.
  ~TJpegDecoder() { jpeg_destroy_decompress(&FInfo); }
  TJpegDecoder(const TJpegDecoder&) = delete;
  TJpegDecoder& operator=(const TJpegDecoder&) = delete;

  TRptBitmap Decode() {
    if (!ReadHeader()) Fail();
    CheckDimensions(FInfo.image_width, FInfo.image_height);
    bool cmyk = false;
    switch (FInfo.jpeg_color_space) {
      case JCS_GRAYSCALE:
      case JCS_YCbCr:
      case JCS_RGB:
        FInfo.out_color_space = JCS_EXT_RGBA;  // alpha filled with 255 by the converter
        break;
      case JCS_CMYK:
      case JCS_YCCK:
        FInfo.out_color_space = JCS_CMYK;  // YCCK comes out as CMYK
        cmyk = true;
        break;
      default:
        throw EQuilletError("Invalid JPEG image: unsupported colour space");
    }
    if (!Start()) Fail();
    if (FInfo.output_width != FInfo.image_width || FInfo.output_height != FInfo.image_height ||
        FInfo.output_components != 4)
      throw EQuilletError("Invalid JPEG image: unexpected output layout");

    const uint32_t width = FInfo.output_width, height = FInfo.output_height;
    const size_t rowBytes = size_t(width) * 4;
    const auto stepRows = static_cast<uint32_t>(std::max<size_t>(1, JpegStepBytes / rowBytes));
    TRptBitmap bmp;
    PrepareBitmap(bmp, width, height, 0);
    while (FInfo.output_scanline < height) {
      const uint32_t done = FInfo.output_scanline;
      const uint32_t end = done + std::min(stepRows, height - done);
      bmp.Pixels.resize(size_t(end) * rowBytes);  // within the reserved capacity
      for (uint32_t row = done; row < end; row = FInfo.output_scanline)
        if (!ReadRows(bmp.Pixels.data() + size_t(row) * rowBytes, rowBytes, end - row)) Fail();
      if (cmyk)
        CmykToRgba(bmp.Pixels.data() + size_t(done) * rowBytes, size_t(end - done) * width,
                   FInfo.saw_Adobe_marker);
    }
    if (!Finish()) Fail();
    return bmp;
  }

 private:
  bool ReadHeader() {
    InitJpegErrors(FErr);
    FInfo.err = &FErr.Pub;
    if (setjmp(FErr.Jump)) return false;
    jpeg_create_decompress(&FInfo);
    FProgress.progress_monitor = JpegProgress;
    FInfo.progress = &FProgress;
    jpeg_mem_src(&FInfo, FData.data(), static_cast<unsigned long>(FData.size()));
    jpeg_read_header(&FInfo, TRUE);
    return true;
  }

  // Progressive and multi-scan files are read whole here.
  bool Start() {
    if (setjmp(FErr.Jump)) return false;
    jpeg_start_decompress(&FInfo);
    return true;
  }

  // Reads up to Count rows (at least one) into consecutive rows at Out.
  bool ReadRows(uint8_t* Out, size_t RowBytes, uint32_t Count) {
    if (setjmp(FErr.Jump)) return false;
    JSAMPROW rows[16];
    const JDIMENSION batch = std::min<JDIMENSION>(Count, 16);
    for (JDIMENSION i = 0; i < batch; ++i) rows[i] = Out + i * RowBytes;
    if (jpeg_read_scanlines(&FInfo, rows, batch) == 0) {  // only a suspending source, never ours
      std::snprintf(FErr.Message, sizeof FErr.Message, "decoder stalled");
      return false;
    }
    return true;
  }

  // Reads on to the end marker, so that a file cut after its last pixel row is still an error.
  bool Finish() {
    if (setjmp(FErr.Jump)) return false;
    jpeg_finish_decompress(&FInfo);
    return true;
  }

  [[noreturn]] void Fail() const {
    const int64_t offset = FInfo.src ? OffsetIn(FData, FInfo.src->next_input_byte) : -1;
    throw EQuilletError(std::string("Invalid JPEG image: ") + FErr.Message, std::string(), offset);
  }

  std::span<const uint8_t> FData;
  jpeg_decompress_struct FInfo{};
  TJpegErrorMgr FErr{};
  jpeg_progress_mgr FProgress{};
};

// Straight alpha over white: c*a/255 + 255*(255-a)/255, rounded.
uint8_t OverWhite(unsigned C, unsigned A) {
  return static_cast<uint8_t>((C * A + 255 * (255 - A) + 127) / 255);
}

class TJpegEncoder {
 public:
  TJpegEncoder() = default;
  ~TJpegEncoder() {
    jpeg_destroy_compress(&FInfo);
    std::free(FOut);  // the memory destination mallocs and never frees
  }
  TJpegEncoder(const TJpegEncoder&) = delete;
  TJpegEncoder& operator=(const TJpegEncoder&) = delete;

  std::vector<uint8_t> Encode(const TRptBitmap& Bmp, int Quality) {
    std::vector<uint8_t> row(size_t(Bmp.Width) * 3);
    if (!Run(Bmp, Quality, row.data()))
      throw EQuilletError(std::string("Cannot encode JPEG: ") + FErr.Message);
    if (!FOut || FOutSize == 0) throw EQuilletError("Cannot encode JPEG: no data");
    return std::vector<uint8_t>(FOut, FOut + FOutSize);
  }

 private:
  bool Run(const TRptBitmap& Bmp, int Quality, uint8_t* Row) {
    InitJpegErrors(FErr);
    FInfo.err = &FErr.Pub;
    if (setjmp(FErr.Jump)) return false;
    jpeg_create_compress(&FInfo);
    jpeg_mem_dest(&FInfo, &FOut, &FOutSize);
    FInfo.image_width = static_cast<JDIMENSION>(Bmp.Width);
    FInfo.image_height = static_cast<JDIMENSION>(Bmp.Height);
    FInfo.input_components = 3;
    FInfo.in_color_space = JCS_RGB;
    jpeg_set_defaults(&FInfo);
    jpeg_set_quality(&FInfo, Quality, TRUE);
    jpeg_start_compress(&FInfo, TRUE);
    const size_t stride = size_t(Bmp.Width) * 4;
    while (FInfo.next_scanline < FInfo.image_height) {
      const uint8_t* src = Bmp.Pixels.data() + FInfo.next_scanline * stride;
      for (int32_t x = 0; x < Bmp.Width; ++x, src += 4) {
        const unsigned a = src[3];
        uint8_t* dst = Row + size_t(x) * 3;
        if (a == 255) {
          dst[0] = src[0], dst[1] = src[1], dst[2] = src[2];
        } else {
          dst[0] = OverWhite(src[0], a), dst[1] = OverWhite(src[1], a), dst[2] = OverWhite(src[2], a);
        }
      }
      JSAMPROW rowPtr = Row;
      jpeg_write_scanlines(&FInfo, &rowPtr, 1);
    }
    jpeg_finish_compress(&FInfo);
    return true;
  }

  jpeg_compress_struct FInfo{};
  TJpegErrorMgr FErr{};
  unsigned char* FOut = nullptr;
  unsigned long FOutSize = 0;
};

}  // namespace

TRptBitmap DecodePng(std::span<const uint8_t> Data) { return TPngDecoder(Data).Decode(); }

TRptBitmap DecodeJpeg(std::span<const uint8_t> Data) { return TJpegDecoder(Data).Decode(); }

TRptBitmap DecodeImage(std::span<const uint8_t> Data) {
  if (Data.size() >= sizeof PngSignature && std::memcmp(Data.data(), PngSignature, sizeof PngSignature) == 0)
    return DecodePng(Data);
  if (Data.size() >= 3 && Data[0] == 0xFF && Data[1] == 0xD8 && Data[2] == 0xFF) return DecodeJpeg(Data);
  throw EQuilletError("Unsupported image format");
}

TRptBitmap LoadImageFile(const std::string& FileName) {
  const std::string bytes = ReadWholeFile(FileName);
  const std::span<const uint8_t> data(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  TRptBitmap bmp;
  try {
    bmp = DecodeImage(data);
  } catch (const EQuilletError& E) {
    throw EQuilletError(E.what(), FileName, E.Offset());
  }
  auto source = std::make_shared<TRptImageSource>();
  source->Format = data[0] == 0xFF ? rifJpeg : rifPng;  // DecodeImage took one of the two signatures
  source->Bytes.assign(data.begin(), data.end());
  bmp.Source = std::move(source);
  return bmp;
}

namespace {

bool InspectJpeg(const TByteReader& R, TJpegEmbedInfo& Info) {
  if (R.U16(0) != 0xFFD8) return false;
  bool jfif = false, adobe = false, sof = false;
  int adobeTransform = -1;
  uint8_t ids[4] = {};
  uint64_t pos = 2;
  // Each segment moves on by at least two bytes, so the walk ends.
  for (;;) {
    if (R.U8(pos) != 0xFF) return false;
    while (R.U8(pos) == 0xFF) ++pos;  // fill bytes
    const uint8_t m = R.U8(pos++);
    if (m == 0xDA) break;  // the first scan: everything that matters came before it
    if (m == 0xD9 || m == 0xD8 || m == 0x01 || (m >= 0xD0 && m <= 0xD7)) return false;
    const uint16_t len = R.U16(pos);
    if (len < 2) return false;
    const uint64_t d = pos + 2, dataLen = len - 2u;
    R.Need(d, dataLen);
    const TByteReader seg = R.Sub(d, dataLen, "Truncated JPEG segment");
    if (m == 0xE0 && dataLen >= 5 && std::memcmp(seg.Data(), "JFIF", 5) == 0) {
      jfif = true;
    } else if (m == 0xEE && dataLen >= 12 && std::memcmp(seg.Data(), "Adobe", 5) == 0) {
      adobe = true;
      adobeTransform = seg.U8(11);
    } else if (m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC) {
      // Frame headers: only Huffman baseline (C0) and progressive (C2) pass, once.
      if (sof || (m != 0xC0 && m != 0xC2)) return false;
      sof = true;
      if (seg.U8(0) != 8) return false;
      Info.Height = seg.U16(1);
      Info.Width = seg.U16(3);
      Info.Components = seg.U8(5);
      if (Info.Width == 0 || Info.Height == 0) return false;  // height given later (DNL): not for us
      if (Info.Components != 1 && Info.Components != 3 && Info.Components != 4) return false;
      for (int c = 0; c < Info.Components; ++c) ids[c] = seg.U8(6 + 3 * uint64_t(c));
    }
    pos = d + dataLen;
  }
  if (!sof) return false;
  Info.AdobeInverted = false;
  if (Info.Components == 3) {
    // Readers honour an Adobe segment's transform; without one, a JFIF file is YCbCr. A bare file
    // is YCbCr to a PDF reader but may be RGB to a decoder that reads component ids: only the
    // usual ids 1, 2, 3 are safe.
    if (adobe) return adobeTransform == 0 || adobeTransform == 1;
    return jfif || (ids[0] == 1 && ids[1] == 2 && ids[2] == 3);
  }
  if (Info.Components == 4) {
    if (adobe && adobeTransform != 0) return false;  // YCCK
    Info.AdobeInverted = adobe;
  }
  return true;
}

}  // namespace

bool InspectJpegForEmbedding(std::span<const uint8_t> Data, TJpegEmbedInfo& Info) {
  Info = TJpegEmbedInfo{};
  try {
    if (!InspectJpeg(TByteReader(Data.data(), Data.size(), "Truncated JPEG"), Info)) {
      Info = TJpegEmbedInfo{};
      return false;
    }
    return true;
  } catch (const EQuilletError&) {
    Info = TJpegEmbedInfo{};
    return false;
  }
}

static_assert(MaxJpegSide == JPEG_MAX_DIMENSION);

namespace {

bool PixelsMatchSize(const TRptBitmap& Bmp) {
  return !Bmp.IsEmpty() && Bmp.Pixels.size() % 4 == 0 &&
         Bmp.Pixels.size() / 4 == uint64_t(Bmp.Width) * uint64_t(Bmp.Height);
}

}  // namespace

TRptBitmap ShrinkToFit(const TRptBitmap& Bmp, int32_t MaxSide) {
  if (!PixelsMatchSize(Bmp)) throw EQuilletError("Cannot scale image: pixel data does not match the bitmap size");
  if (Bmp.Width <= MaxSide && Bmp.Height <= MaxSide) return Bmp;
  const uint64_t srcW = uint64_t(Bmp.Width), srcH = uint64_t(Bmp.Height);
  const double scale = double(MaxSide) / double(std::max(srcW, srcH));
  const uint64_t w = std::clamp<uint64_t>(uint64_t(std::llround(double(srcW) * scale)), 1, uint64_t(MaxSide));
  const uint64_t h = std::clamp<uint64_t>(uint64_t(std::llround(double(srcH) * scale)), 1, uint64_t(MaxSide));
  TRptBitmap out;
  out.Width = int32_t(w);
  out.Height = int32_t(h);
  out.Pixels.resize(size_t(w * h * 4));
  // New pixel (x, y) covers source columns [x * srcW / w, (x + 1) * srcW / w), rows likewise; as
  // the image only shrinks, every span holds at least one pixel.
  std::vector<uint64_t> cols(size_t(w) + 1);
  for (uint64_t x = 0; x <= w; ++x) cols[x] = x * srcW / w;
  std::vector<uint64_t> sums(size_t(w) * 3);
  for (uint64_t y = 0; y < h; ++y) {
    const uint64_t y0 = y * srcH / h, y1 = (y + 1) * srcH / h;
    std::fill(sums.begin(), sums.end(), 0);
    for (uint64_t sy = y0; sy < y1; ++sy) {
      const uint8_t* row = Bmp.Pixels.data() + sy * srcW * 4;
      for (uint64_t x = 0; x < w; ++x) {
        uint64_t* sum = &sums[x * 3];
        for (uint64_t sx = cols[x]; sx < cols[x + 1]; ++sx) {
          const uint8_t* p = row + sx * 4;
          sum[0] += OverWhite(p[0], p[3]), sum[1] += OverWhite(p[1], p[3]), sum[2] += OverWhite(p[2], p[3]);
        }
      }
    }
    uint8_t* dst = out.Pixels.data() + y * w * 4;
    for (uint64_t x = 0; x < w; ++x, dst += 4) {
      const uint64_t count = (cols[x + 1] - cols[x]) * (y1 - y0);
      for (int c = 0; c < 3; ++c) dst[c] = uint8_t((sums[x * 3 + c] + count / 2) / count);
      dst[3] = 255;
    }
  }
  return out;
}

std::vector<uint8_t> EncodeJpeg(const TRptBitmap& Bmp, int Quality) {
  if (Bmp.IsEmpty()) throw EQuilletError("Cannot encode JPEG: the bitmap is empty");
  if (!PixelsMatchSize(Bmp)) throw EQuilletError("Cannot encode JPEG: pixel data does not match the bitmap size");
  return TJpegEncoder().Encode(Bmp, std::clamp(Quality, 1, 100));
}

}  // namespace quillet
