#pragma once

#include <QImage>
#include <array>
#include <functional>
#include <mutex>
#include <vector>

#include "platform/RtcEngine.h"

namespace quorvex {

/// Turns the frames of a track into pictures of the size at which they are shown. Only the newest
/// one is kept. While nothing is shown, nothing is converted.
class PreviewRenderer : public RtcVideoRenderer {
 public:
  /// How the picture is shown; in pixels of the screen.
  struct Target {
    QSize size;  ///< empty: nothing is shown
    bool mirrored = false;
    bool fills = false;  ///< cut to the shape of `size`; else the whole frame, within it
    int cornerRadius = 0;
    bool operator==(const Target&) const = default;
  };

  /// `ready` is called on the engine's thread when a picture can be taken and none could before.
  explicit PreviewRenderer(std::function<void()> ready);

  /// Any thread; what was converted for another target may still be taken.
  void setTarget(const Target& target);

  /// The newest picture, once; null when there is none since. Any thread.
  [[nodiscard]] QImage take();

  void setSize(int, int) override {}  // each frame says its own size
  /// One thread at a time.
  void renderFrame(const RtcVideoFrame* frame) override;

 private:
  struct Geometry;
  [[nodiscard]] QImage& spare(const QSize& size, QImage::Format format);
  void convert(const I420View& frame, const Geometry& geometry, bool isMirrored, QImage& picture);
  [[nodiscard]] I420View unpacked(PixelBuffer& buffer);

  const std::function<void()> ready;
  std::mutex mutex;
  Target target;  ///< by mutex
  QImage newest;  ///< by mutex
  // The rendering thread's own.
  std::array<QImage, 3> pictures;
  std::vector<std::uint8_t> scaled;
  std::vector<std::uint8_t> mirrored;
  std::vector<std::uint8_t> planes;
};

}  // namespace quorvex
