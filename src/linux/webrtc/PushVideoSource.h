#pragma once

#include "api/scoped_refptr.h"
#include "api/video/video_frame_buffer.h"
#include "media/base/adapted_video_track_source.h"

namespace quorvex {

/// A native video source that is handed its frames. It scales and drops as the encoder behind it
/// asks. Frames come from one thread at a time.
class PushVideoSource : public rtc::AdaptedVideoTrackSource {
 public:
  static rtc::scoped_refptr<PushVideoSource> create();

  /// `captureTime` on the monotonic clock, in nanoseconds.
  void push(const rtc::scoped_refptr<webrtc::VideoFrameBuffer>& picture, std::int64_t captureTime);

  SourceState state() const override { return kLive; }
  bool remote() const override { return false; }
  bool is_screencast() const override { return false; }
  absl::optional<bool> needs_denoising() const override { return false; }
};

}  // namespace quorvex
