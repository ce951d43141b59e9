#include "faces/FaceImage.h"

#include <cmath>
#include <cstring>

#include "platform/Base64.h"

namespace quorvex {
namespace {

constexpr double kJpegQuality = 0.9;
constexpr int kBytesPerPixel = 3;
constexpr std::uint8_t kWhite = 255;

RgbImage onWhite(const RgbImage& picture, int padX, int padY) {
  RgbImage canvas{
      .width = picture.width + 2 * padX, .height = picture.height + 2 * padY, .pixels = {}};
  const std::size_t rowBytes = static_cast<std::size_t>(canvas.width) * kBytesPerPixel;
  canvas.pixels.assign(rowBytes * canvas.height, kWhite);
  const std::size_t pictureBytes = static_cast<std::size_t>(picture.width) * kBytesPerPixel;
  for (int y = 0; y < picture.height; ++y)
    std::memcpy(canvas.pixels.data() + rowBytes * (padY + y) +
                    static_cast<std::size_t>(padX) * kBytesPerPixel,
                picture.pixels.data() + pictureBytes * y, pictureBytes);
  return canvas;
}

}  // namespace

std::optional<std::string> encodeFaceImage(const ImageCodec& images, const std::string& file,
                                           int maxPixelSize, double margin) {
  const auto thumbnail = images.thumbnail(file, maxPixelSize);
  if (!thumbnail || thumbnail->width < 1 || thumbnail->height < 1) return std::nullopt;
  const int padX = static_cast<int>(std::lround(margin * thumbnail->width));
  const int padY = static_cast<int>(std::lround(margin * thumbnail->height));
  const auto jpeg = images.jpeg(onWhite(*thumbnail, padX, padY), kJpegQuality);
  if (!jpeg) return std::nullopt;
  return base64(*jpeg);
}

}  // namespace quorvex
