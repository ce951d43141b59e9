#include "service/SwapTrack.h"

#include <libyuv.h>

#include "api/video/i420_buffer.h"
#include "rtc_base/time_utils.h"

namespace quorvex::service {
namespace {

// More pictures than the encoder ever holds at a time; beyond it a frame is left out.
constexpr std::size_t kMostPictures = 12;

}  // namespace

SwapTrack::SwapTrack(rtc::scoped_refptr<PushVideoSource> into, std::optional<PictureSize> size,
                     const std::atomic<bool>& isOpen)
    : source(std::move(into)), outputSize(size), flows(isOpen), pool(false, kMostPictures) {}

void SwapTrack::show(const SwapSettings& look) {
  std::lock_guard hold(mutex);
  settings = look;
}

SwapSettings SwapTrack::shown() const {
  std::lock_guard hold(mutex);
  return settings;
}

void SwapTrack::OnFrame(const webrtc::VideoFrame& frame) {
  if (!flows) return;
  rtc::scoped_refptr<webrtc::I420BufferInterface> received = frame.video_frame_buffer()->ToI420();
  if (received && frame.rotation() != webrtc::kVideoRotation_0)
    received = webrtc::I420Buffer::Rotate(*received, frame.rotation());
  if (!received) return;
  const SwapSettings look = shown();
  if (!look.paused || !last) last = swapped(*received, look);
  if (last) source->push(last, rtc::TimeNanos());
}

rtc::scoped_refptr<webrtc::VideoFrameBuffer> SwapTrack::swapped(
    const webrtc::I420BufferInterface& received, const SwapSettings& look) {
  const PictureSize size = outputSize.value_or(PictureSize{received.width(), received.height()});
  const auto picture = pool.CreateI420Buffer(size.width, size.height);
  if (!picture) return nullptr;
  libyuv::I420Scale(received.DataY(), received.StrideY(), received.DataU(), received.StrideU(),
                    received.DataV(), received.StrideV(), received.width(), received.height(),
                    picture->MutableDataY(), picture->StrideY(), picture->MutableDataU(),
                    picture->StrideU(), picture->MutableDataV(), picture->StrideV(), size.width,
                    size.height, libyuv::kFilterBox);
  effect.apply({.width = size.width,
                .height = size.height,
                .y = picture->MutableDataY(),
                .u = picture->MutableDataU(),
                .v = picture->MutableDataV(),
                .strideY = picture->StrideY(),
                .strideU = picture->StrideU(),
                .strideV = picture->StrideV()},
               look);
  return picture;
}

}  // namespace quorvex::service
