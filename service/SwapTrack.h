#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>

#include "api/video/video_frame.h"
#include "api/video/video_sink_interface.h"
#include "common_video/include/video_frame_buffer_pool.h"
#include "linux/webrtc/PushVideoSource.h"
#include "service/Options.h"
#include "service/SwapEffect.h"

namespace quorvex::service {

/// Takes each decoded frame of one track, on the WebRTC library's decoding thread, and pushes its
/// swapped picture into a source at once, there.
class SwapTrack : public rtc::VideoSinkInterface<webrtc::VideoFrame> {
 public:
  /// `size` of the pictures pushed; none: as received. None are pushed while `isOpen` is false.
  SwapTrack(rtc::scoped_refptr<PushVideoSource> into, std::optional<PictureSize> size,
            const std::atomic<bool>& isOpen);

  void OnFrame(const webrtc::VideoFrame& frame) override;

  /// How the pictures look from here on; while paused it is the last one again and again. Any
  /// thread.
  void show(const SwapSettings& settings);

 private:
  [[nodiscard]] SwapSettings shown() const;
  [[nodiscard]] rtc::scoped_refptr<webrtc::VideoFrameBuffer> swapped(
      const webrtc::I420BufferInterface& received, const SwapSettings& look);

  rtc::scoped_refptr<PushVideoSource> source;
  std::optional<PictureSize> outputSize;
  const std::atomic<bool>& flows;
  webrtc::VideoFrameBufferPool pool;
  SwapEffect effect;
  rtc::scoped_refptr<webrtc::VideoFrameBuffer> last;
  mutable std::mutex mutex;
  SwapSettings settings;  // by mutex
};

}  // namespace quorvex::service
