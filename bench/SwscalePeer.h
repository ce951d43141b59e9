#pragma once

#include <cstdint>
#include <vector>

#include "platform/PixelBuffer.h"

struct SwsContext;

namespace quorvex {

/// The same work done by FFmpeg's libswscale, the library a program without a frame path of its own
/// would take. It cannot mirror; a mirrored frame is turned by a pass over its rows, as FFmpeg's
/// hflip filter does.
class SwscalePeer {
 public:
  SwscalePeer(int width, int height, int pixelFormat, PixelRect target);
  ~SwscalePeer();
  SwscalePeer(const SwscalePeer&) = delete;
  SwscalePeer& operator=(const SwscalePeer&) = delete;

  void convert(const I420View& in, PixelBuffer& out) const;
  void fit(const PixelBuffer& in, bool flipped, PixelBuffer& out);

 private:
  SwsContext* context;
  const int width;
  const int height;
  const PixelRect target;
  std::vector<std::uint8_t> mirroredLuma, mirroredChroma;
};

}  // namespace quorvex
