#include <png.h>

#include <csetjmp>
#include <new>
#include <string>
#include <vector>

#include "trqprep/layer_picture.h"

namespace trqprep {
namespace {

void Append(png_structp png, png_bytep bytes, std::size_t size) {
  try {
    static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<const char*>(bytes), size);
  } catch (const std::bad_alloc&) {
    png_error(png, "memory");
  }
}

void Flush(png_structp) {}

[[noreturn]] void Fail(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void Ignore(png_structp, png_const_charp) {}

// Holds nothing with a destructor: libpng leaves it by a jump. False when there was no memory.
bool WriteRows(png_structp png, png_infop info, const GreyImage& image, std::uint32_t pixels_per_metre) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_IHDR(png, info, png_uint_32(image.width), png_uint_32(image.height), 8, PNG_COLOR_TYPE_GRAY,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (pixels_per_metre > 0) png_set_pHYs(png, info, pixels_per_metre, pixels_per_metre, PNG_RESOLUTION_METER);
  // Stated, so that the bytes do not follow a library's changing defaults.
  png_set_filter(png, 0, PNG_FILTER_UP);
  png_set_compression_level(png, 6);
  png_write_info(png, info);
  for (std::size_t y = 0; y < image.height; ++y) png_write_row(png, &image.pixels[y * image.width]);
  png_write_end(png, nullptr);
  return true;
}

}  // namespace

std::string PngOf(const GreyImage& image, std::uint32_t pixels_per_metre) {
  std::string bytes;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Fail, Ignore);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  bool written = false;
  if (info) {
    png_set_write_fn(png, &bytes, Append, Flush);
    written = WriteRows(png, info, image, pixels_per_metre);
  }
  png_destroy_write_struct(&png, &info);
  if (!written) throw std::bad_alloc();
  return bytes;
}

}  // namespace trqprep
