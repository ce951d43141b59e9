#pragma once

#include <functional>

#include "platform/PixelBuffer.h"
#include "platform/RtcEngine.h"

namespace quorvex {

/// Turns each frame of the swapped track into one 420v pixel buffer and hands it on. A frame that
/// the engine already holds as a pixel buffer passes as it is; an I420 frame is interleaved, in one
/// pass over its bytes, into a buffer of a pool that follows the frame size. A frame that finds no
/// buffer is dropped. Called on the engine's rendering thread only, and calls `onFrame` there.
class RemoteFrameRenderer : public RtcVideoRenderer {
 public:
  using FrameCallback = std::function<void(const PixelBufferRef&)>;

  explicit RemoteFrameRenderer(FrameCallback onFrame);

  void setSize(int, int) override {}  // each frame says its own size
  void renderFrame(const RtcVideoFrame* frame) override;

 private:
  [[nodiscard]] PixelBufferRef makePixelBuffer(int width, int height);

  const FrameCallback onFrame;
  PixelBufferPoolRef pool;
  int poolW = 0;
  int poolH = 0;
};

}  // namespace quorvex
