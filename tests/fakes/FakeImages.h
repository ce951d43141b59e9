#pragma once

#include "platform/ImageCodec.h"
#include "platform/OpenPanel.h"

namespace quorvex {

/// One grey photo under every name, of the size that a test gives it.
class FakeImages : public ImageCodec {
 public:
  std::optional<RgbImage> thumbnail(const std::string&, int maxPixelSize) const override {
    askedFor = maxPixelSize;
    if (width == 0) return std::nullopt;
    return RgbImage{width, height, std::vector<std::uint8_t>(std::size_t(3) * width * height, 90)};
  }
  std::optional<std::string> jpeg(const RgbImage& image, double quality) const override {
    encoded = image;
    askedQuality = quality;
    return "jpeg";
  }

  int width = 640, height = 480;
  mutable int askedFor = 0;
  mutable double askedQuality = 0;
  mutable RgbImage encoded;
};

class FakeOpenPanel : public OpenPanel {
 public:
  std::optional<std::string> chooseImage(const std::string& prompt, const std::string&) override {
    shownPrompt = prompt;
    return chosen;
  }
  std::optional<std::string> chosen;
  std::string shownPrompt;
};

}  // namespace quorvex
