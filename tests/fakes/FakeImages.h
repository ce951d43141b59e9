#pragma once

#include "platform/ImageCodec.h"
#include "platform/OpenPanel.h"

namespace quorvex {

/// One grey photo under every name.
class FakeImages : public ImageCodec {
 public:
  std::optional<RgbImage> thumbnail(const std::string&, int maxPixelSize) const override {
    askedFor = maxPixelSize;
    return RgbImage{640, 480, std::vector<std::uint8_t>(3 * 640 * 480, 90)};
  }
  std::optional<std::string> jpeg(const RgbImage& image, double quality) const override {
    encoded = image;
    askedQuality = quality;
    return "jpeg";
  }

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
