// libpng reports errors by longjmp. So the functions that call it hold nothing with a destructor: what must be released
// lives in their callers.
#include "common/png_file.h"

#include <png.h>

#include <bit>
#include <csetjmp>
#include <cstring>

namespace img {
namespace {

struct Context {
  ByteSpan unread;
  size_t fileSize = 0;
  Bytes* written = nullptr;
  Image* image = nullptr;
  int64_t maxPixels = 0;
  bool alphaDropped = false;
  char message[256] = "";
};

void onError(png_structp png, png_const_charp text) {
  auto* context = static_cast<Context*>(png_get_error_ptr(png));
  std::snprintf(context->message, sizeof context->message, "%s", text);
  png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

void readBytes(png_structp png, png_bytep target, size_t count) {
  auto* context = static_cast<Context*>(png_get_io_ptr(png));
  if (context->unread.size() < count) png_error(png, "the file ends too early");
  std::memcpy(target, context->unread.data(), count);
  context->unread = context->unread.subspan(count);
}

void writeBytes(png_structp png, png_bytep source, size_t count) {
  auto* context = static_cast<Context*>(png_get_io_ptr(png));
  context->written->insert(context->written->end(), source, source + count);
}

void readRows(png_structp png, png_infop info, Context& context) {
  png_set_user_limits(png, 0x7fffffff, 0x7fffffff);
  png_set_read_fn(png, &context, readBytes);
  png_read_info(png, info);
  const int64_t width = png_get_image_width(png, info), height = png_get_image_height(png, info);
  if (width > context.maxPixels / height) png_error(png, "more pixels than the limit (see --max-pixels)");
  const int colour = png_get_color_type(png, info);
  if (width * height / 8192 > static_cast<int64_t>(context.fileSize)) {
    png_error(png, "the file is too small for its number of pixels"); // deflate packs 1032 to 1 at best
  }
  context.alphaDropped = (colour & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  png_set_expand(png); // palettes, depths below 8, transparent colours
  png_set_strip_alpha(png);
  if (std::endian::native == std::endian::little) png_set_swap(png);
  const int passes = png_set_interlace_handling(png);
  png_read_update_info(png, info);
  shape(*context.image, static_cast<int>(width), static_cast<int>(height), (colour & PNG_COLOR_MASK_COLOR) ? 3 : 1,
        png_get_bit_depth(png, info));
  for (int pass = 0; pass < passes; ++pass) {
    for (int y = 0; y < context.image->height; ++y) png_read_row(png, context.image->row<uint8_t>(y), nullptr);
  }
  png_read_end(png, nullptr);
}

void writeRows(png_structp png, png_infop info, Context& context) {
  const Image& image = *context.image;
  png_set_write_fn(png, &context, writeBytes, nullptr);
  png_set_IHDR(png, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height), image.bits,
               image.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  if (std::endian::native == std::endian::little) png_set_swap(png);
  for (int y = 0; y < image.height; ++y) png_write_row(png, image.row<uint8_t>(y));
  png_write_end(png, info);
}

} // namespace

Error readPng(ByteSpan file, int64_t maxPixels, Image& image, bool& alphaDropped) {
  Context context;
  context.unread = file;
  context.fileSize = file.size();
  context.image = &image;
  context.maxPixels = maxPixels;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &context, onError, onWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) return fail("out of memory");
  if (setjmp(png_jmpbuf(png)) == 0) readRows(png, info, context);
  png_destroy_read_struct(&png, &info, nullptr);
  alphaDropped = context.alphaDropped;
  return {context.message};
}

Error writePng(const Image& original, Bytes& file) {
  Image image = original.bits == 12 ? withBits(original, 16) : original;
  file.clear();
  Context context;
  context.written = &file;
  context.image = &image;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &context, onError, onWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) return fail("out of memory");
  if (setjmp(png_jmpbuf(png)) == 0) writeRows(png, info, context);
  png_destroy_write_struct(&png, &info);
  return {context.message};
}

} // namespace img
