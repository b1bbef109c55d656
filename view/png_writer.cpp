#include <png.h>

#include <csetjmp>
#include <new>
#include <string>
#include <vector>

#include "trqprep/layer_picture.h"
#include "trqprep/render.h"

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

// How a file is written; rows are `row_size` bytes apart.
struct Form {
  std::size_t width, height;
  const std::uint8_t* pixels;
  std::size_t row_size;
  int type, filter, level;
  std::uint32_t pixels_per_metre;
};

// Holds nothing with a destructor: libpng leaves it by a jump. False when there was no memory.
bool WriteRows(png_structp png, png_infop info, const Form& form) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_IHDR(png, info, png_uint_32(form.width), png_uint_32(form.height), 8, form.type, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (form.pixels_per_metre > 0)
    png_set_pHYs(png, info, form.pixels_per_metre, form.pixels_per_metre, PNG_RESOLUTION_METER);
  // Stated, so that the bytes do not follow a library's changing defaults.
  png_set_filter(png, 0, form.filter);
  png_set_compression_level(png, form.level);
  png_write_info(png, info);
  for (std::size_t y = 0; y < form.height; ++y) png_write_row(png, form.pixels + y * form.row_size);
  png_write_end(png, nullptr);
  return true;
}

std::string Written(const Form& form) {
  std::string bytes;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Fail, Ignore);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  bool written = false;
  if (info) {
    png_set_write_fn(png, &bytes, Append, Flush);
    written = WriteRows(png, info, form);
  }
  png_destroy_write_struct(&png, &info);
  if (!written) throw std::bad_alloc();
  return bytes;
}

}  // namespace

std::string PngOf(const GreyImage& image, std::uint32_t pixels_per_metre) {
  return Written({image.width, image.height, image.pixels.data(), image.width, PNG_COLOR_TYPE_GRAY,
                  PNG_FILTER_UP, 6, pixels_per_metre});
}

std::string PngOf(const ColourImage& image) {
  bool opaque = true;
  for (std::size_t i = 3; i < image.pixels.size(); i += 4) opaque = opaque && image.pixels[i] == 255;
  if (!opaque) {
    return Written({image.width, image.height, image.pixels.data(), 4 * image.width, PNG_COLOR_TYPE_RGB_ALPHA,
                    PNG_FILTER_UP, 4, 0});
  }
  std::vector<std::uint8_t> pixels;
  pixels.reserve(image.pixels.size() / 4 * 3);
  for (std::size_t i = 0; i < image.pixels.size(); i += 4) {
    pixels.insert(pixels.end(), image.pixels.begin() + std::ptrdiff_t(i),
                  image.pixels.begin() + std::ptrdiff_t(i + 3));
  }
  return Written(
      {image.width, image.height, pixels.data(), 3 * image.width, PNG_COLOR_TYPE_RGB, PNG_FILTER_UP, 4, 0});
}

}  // namespace trqprep
