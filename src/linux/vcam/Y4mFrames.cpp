#include "linux/vcam/Y4mFrames.h"

#include <algorithm>
#include <string_view>

#include "linux/vcam/RawVideo.h"

namespace quorvex {
namespace {

constexpr std::string_view kStreamHeader =
    "YUV4MPEG2 W1280 H720 F30:1 Ip A1:1 C420mpeg2 XYSCSS=420MPEG2 XCOLORRANGE=LIMITED\n";
constexpr std::string_view kFrameHeader = "FRAME\n";

}  // namespace

Y4mBlock Y4mFrames::header() {
  return std::make_shared<const std::vector<std::uint8_t>>(kStreamHeader.begin(),
                                                           kStreamHeader.end());
}

void Y4mFrames::show(PixelBufferRef newPicture) {
  ++frame;
  picture = std::move(newPicture);
  converted.reset();
}

Y4mBlock Y4mFrames::block() {
  if (converted) return converted;
  const auto idle = std::find_if(blocks.begin(), blocks.end(),
                                 [](const auto& block) { return block.use_count() == 1; });
  if (idle != blocks.end()) {
    converted = *idle;
  } else {
    converted =
        std::make_shared<std::vector<std::uint8_t>>(kFrameHeader.begin(), kFrameHeader.end());
    converted->resize(kFrameHeader.size() + rawVideoBytes(RawVideoFormat::i420));
    blocks.push_back(converted);
  }
  writeRawVideo(*picture, RawVideoFormat::i420, converted->data() + kFrameHeader.size());
  picture = {};
  return converted;
}

}  // namespace quorvex
