#include "faces/FaceImage.h"

#include <cmath>
#include <cstring>

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

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j)
      group = group << 8 | (j < count ? static_cast<std::uint8_t>(bytes[i + j]) : 0u);
    for (std::size_t digit = 0; digit < 4; ++digit)
      text += digit <= count ? kDigits[group >> (18 - 6 * digit) & 63] : '=';
  }
  return text;
}

}  // namespace quorvex
