#include "linux/images/VipsImageCodec.h"

#include <vips/vips.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "linux/images/PhotoFile.h"

namespace quorvex {
namespace {

constexpr int kShortestSide = 16;
constexpr std::int64_t kMostPixels = 300'000'000;
constexpr std::int64_t kLargestFile = std::int64_t{512} << 20;

// Where the decoder holds the file and the picture whole: as many pixels as phones make today.
constexpr std::int64_t kMostPixelsHeld = 200'000'000;
constexpr std::int64_t kLargestFileHeld = std::int64_t{64} << 20;

/// For the loader; the argument of this name of vips_thumbnail_source does not reach it.
constexpr const char* kWholeFilesOnly = "[fail_on=truncated]";

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
struct Free {
  void operator()(void* memory) const { g_free(memory); }
};
using ImageRef = std::unique_ptr<VipsImage, Unref>;

/// Removes what a call leaves behind in the library: its errors, which pile up, and the buffers
/// kept for this thread.
struct Leftovers {
  ~Leftovers() {
    vips_error_clear();
    vips_thread_shutdown();
  }
};

/// The library's log may quote a file, so it goes nowhere. Two threads do, for decoding, most of
/// the work, is done by one.
void startVips() {
  g_log_set_handler(
      "VIPS", G_LOG_LEVEL_MASK, [](auto...) {}, nullptr);
  if (VIPS_INIT("quorvex") != 0) {
    std::fputs("libvips cannot be started: install the package libvips42 again\n", stderr);
    std::abort();
  }
  vips_operation_block_set("VipsForeignLoad", TRUE);
  for (const char* format : {"Jpeg", "Png", "Webp", "Tiff", "Nsgif", "Heif"})
    vips_operation_block_set((std::string("VipsForeignLoad") + format).c_str(), FALSE);
  vips_cache_set_max(0);
  vips_concurrency_set(2);
}

bool streams(std::string_view loader) {
  return loader == "VipsForeignLoadJpegSource" || loader == "VipsForeignLoadPngSource" ||
         loader == "VipsForeignLoadTiffSource";
}

/// Of a file that may be a photo, judged by its header alone; else none.
std::optional<int> longerSide(const PhotoFile& file) {
  if (file.size() > kLargestFile) return {};
  const char* loader = vips_foreign_find_load_source(file.source());
  if (!loader) return {};
  bool held = !streams(loader);
  if (held && file.size() > kLargestFileHeld) return {};
  const ImageRef header(vips_image_new_from_source(file.source(), kWholeFilesOnly, "access",
                                                   VIPS_ACCESS_SEQUENTIAL, nullptr));
  if (!header) return {};
  held = held || vips_image_get_typeof(header.get(), "interlaced") != 0;
  const std::int64_t width = vips_image_get_width(header.get());
  const std::int64_t height = vips_image_get_height(header.get());
  if (width * height > (held ? kMostPixelsHeld : kMostPixels)) return {};
  if (std::min(width, height) < kShortestSide) return {};
  return static_cast<int>(std::max(width, height));
}

/// The size is exact and not "at most": told never to enlarge, the library takes the smallest
/// picture that it finds in the file, be it a preview.
ImageRef reduced(const PhotoFile& file, int size) {
  VipsImage* out = nullptr;
  vips_thumbnail_source(file.source(), &out, size, "height", size, "option_string", kWholeFilesOnly,
                        nullptr);
  return ImageRef(out);
}

/// After the reduction and not in it, where a picture without a profile comes out with other
/// colours. Where the profile is broken, or one for other pixels, the library takes its own.
ImageRef inSrgb(const ImageRef& image) {
  VipsImage* out = nullptr;
  if (vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME))
    vips_icc_transform(image.get(), &out, "srgb", "embedded", TRUE, "depth", 8, nullptr);
  else
    vips_colourspace(image.get(), &out, VIPS_INTERPRETATION_sRGB, nullptr);
  return ImageRef(out);
}

ImageRef onWhite(ImageRef image) {
  if (!vips_image_hasalpha(image.get())) return image;
  const std::unique_ptr<VipsArrayDouble, void (*)(VipsArrayDouble*)> white(
      vips_array_double_newv(1, 255.0),
      [](VipsArrayDouble* array) { vips_area_unref(VIPS_AREA(array)); });
  VipsImage* out = nullptr;
  vips_flatten(image.get(), &out, "background", white.get(), nullptr);
  return ImageRef(out);
}

/// This decodes the file; all before was a plan.
std::optional<RgbImage> pixelsOf(VipsImage* image) {
  RgbImage rgb{vips_image_get_width(image), vips_image_get_height(image), {}};
  std::size_t size = 0;
  const std::unique_ptr<void, Free> bytes(vips_image_write_to_memory(image, &size));
  if (!bytes || size != std::size_t{3} * rgb.width * rgb.height) return {};
  const auto* first = static_cast<const std::uint8_t*>(bytes.get());
  rgb.pixels.assign(first, first + size);
  return rgb;
}

}  // namespace

VipsImageCodec::VipsImageCodec() {
  [[maybe_unused]] static const bool started = (startVips(), true);
}

std::optional<RgbImage> VipsImageCodec::thumbnail(const std::string& path, int maxPixelSize) const {
  const Leftovers leftovers;
  const PhotoFile file(path);
  if (!file.source() || maxPixelSize < 1) return {};
  const std::optional<int> longer = longerSide(file);
  if (!longer) return {};
  ImageRef image = reduced(file, std::min(*longer, maxPixelSize));
  if (image) image = inSrgb(image);
  if (image) image = onWhite(std::move(image));
  return image ? pixelsOf(image.get()) : std::nullopt;
}

std::optional<std::string> VipsImageCodec::jpeg(const RgbImage& image, double quality) const {
  const Leftovers leftovers;
  const std::size_t size = image.pixels.size();
  if (image.width < 1 || image.height < 1 || size != std::size_t{3} * image.width * image.height)
    return {};
  const ImageRef rgb(vips_image_new_from_memory(image.pixels.data(), size, image.width,
                                                image.height, 3, VIPS_FORMAT_UCHAR));
  const int percent = static_cast<int>(std::lround(std::clamp(quality, 0.01, 1.0) * 100));
  void* bytes = nullptr;
  std::size_t length = 0;
  if (!rgb ||
      vips_jpegsave_buffer(rgb.get(), &bytes, &length, "Q", percent, "strip", TRUE, nullptr) != 0)
    return {};
  const std::unique_ptr<void, Free> owned(bytes);
  return std::string(static_cast<const char*>(bytes), length);
}

}  // namespace quorvex
