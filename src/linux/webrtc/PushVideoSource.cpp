#include "linux/webrtc/PushVideoSource.h"

#include "api/video/video_frame.h"
#include "rtc_base/ref_counted_object.h"

namespace quorvex {

rtc::scoped_refptr<PushVideoSource> PushVideoSource::create() {
  return rtc::make_ref_counted<PushVideoSource>();
}

void PushVideoSource::push(const rtc::scoped_refptr<webrtc::VideoFrameBuffer>& picture,
                           std::int64_t captureTime) {
  const std::int64_t timeUs = captureTime / 1000;
  int width = 0, height = 0, cropWidth = 0, cropHeight = 0, cropX = 0, cropY = 0;
  if (!AdaptFrame(picture->width(), picture->height(), timeUs, &width, &height, &cropWidth,
                  &cropHeight, &cropX, &cropY))
    return;
  auto adapted = picture;
  if (width != picture->width() || height != picture->height())
    adapted = picture->CropAndScale(cropX, cropY, cropWidth, cropHeight, width, height);
  OnFrame(webrtc::VideoFrame::Builder()
              .set_video_frame_buffer(adapted)
              .set_timestamp_us(timeUs)
              .build());
}

}  // namespace quorvex
