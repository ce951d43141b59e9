#include "linux/webrtc/NativeVideoTrack.h"

#include "api/video/i420_buffer.h"
#include "api/video/video_frame.h"

namespace quorvex {

class NativeVideoTrack::Sink : public rtc::VideoSinkInterface<webrtc::VideoFrame> {
 public:
  explicit Sink(std::shared_ptr<RtcVideoRenderer> target) : renderer(std::move(target)) {}

  void OnFrame(const webrtc::VideoFrame& frame) override {
    // A software decoder's frame is I420 already, and this only counts it once more.
    const auto picture = frame.video_frame_buffer()->ToI420();
    if (!picture) return renderer->renderFrame(nullptr);
    if (picture->width() != width || picture->height() != height) {
      width = picture->width();
      height = picture->height();
      renderer->setSize(width, height);
    }
    const RtcVideoFrame view{.pixelBuffer = {},
                             .i420 = {.width = picture->width(),
                                      .height = picture->height(),
                                      .dataY = picture->DataY(),
                                      .dataU = picture->DataU(),
                                      .dataV = picture->DataV(),
                                      .strideY = picture->StrideY(),
                                      .strideU = picture->StrideU(),
                                      .strideV = picture->StrideV()}};
    renderer->renderFrame(&view);
  }

 private:
  const std::shared_ptr<RtcVideoRenderer> renderer;
  int width = 0;
  int height = 0;
};

NativeVideoTrack::NativeVideoTrack(std::shared_ptr<NativeFactory> owner,
                                   rtc::scoped_refptr<webrtc::VideoTrackInterface> nativeTrack)
    : library(std::move(owner)), track(std::move(nativeTrack)) {}

NativeVideoTrack::~NativeVideoTrack() {
  for (const auto& [renderer, sink] : sinks) track->RemoveSink(sink.get());
}

std::string NativeVideoTrack::trackID() const {
  return track->id();
}

void NativeVideoTrack::setEnabled(bool enabled) {
  track->set_enabled(enabled);
}

void NativeVideoTrack::addRenderer(std::shared_ptr<RtcVideoRenderer> renderer) {
  Sink* added = nullptr;
  {
    std::lock_guard hold(mutex);
    auto& sink = sinks[renderer];
    if (sink) return;
    sink = std::make_unique<Sink>(renderer);
    added = sink.get();
  }
  track->AddOrUpdateSink(added, rtc::VideoSinkWants());
}

void NativeVideoTrack::removeRenderer(const std::shared_ptr<RtcVideoRenderer>& renderer) {
  std::unique_ptr<Sink> removed;
  {
    std::lock_guard hold(mutex);
    const auto found = sinks.find(renderer);
    if (found == sinks.end()) return;
    removed = std::move(found->second);
    sinks.erase(found);
  }
  track->RemoveSink(removed.get());
}

}  // namespace quorvex
