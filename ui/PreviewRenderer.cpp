#include "PreviewRenderer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "libyuv/convert.h"
#include "libyuv/convert_argb.h"
#include "libyuv/planar_functions.h"
#include "libyuv/scale.h"

namespace quorvex {
namespace {

/// An I420 picture without padding in one piece of memory.
struct Planes {
  Planes(std::vector<std::uint8_t>& memory, int width, int height)
      : strideY(width), strideUV((width + 1) / 2) {
    const std::size_t luma = std::size_t(width) * height;
    const std::size_t chroma = std::size_t(strideUV) * ((height + 1) / 2);
    memory.resize(luma + 2 * chroma);
    y = memory.data();
    u = y + luma;
    v = u + chroma;
  }
  std::uint8_t *y, *u, *v;
  int strideY, strideUV;
};

/// What a corner's circle covers of a pixel, of 256, the corner being at 0, 0.
int coverage(int x, int y, int radius) {
  const double distance = std::hypot(radius - x - 0.5, radius - y - 0.5);
  return static_cast<int>(256 * std::clamp(radius - distance + 0.5, 0.0, 1.0));
}

/// Two neighbours stand for the pixels between them as long as there are hardly more; averaging all
/// of them takes five times as long.
libyuv::FilterMode filterFor(int from, int to) {
  return from > to * 5 / 2 ? libyuv::kFilterBox : libyuv::kFilterBilinear;
}

void roundCorners(QImage& picture, int wanted) {
  const int right = picture.width() - 1;
  const int bottom = picture.height() - 1;
  const int radius = std::min({wanted, right / 2, bottom / 2});
  for (int y = 0; y < radius; ++y) {
    for (int x = 0; x < radius; ++x) {
      const auto share = static_cast<unsigned>(coverage(x, y, radius));
      for (const auto& [column, row] :
           {std::pair{x, y}, {right - x, y}, {x, bottom - y}, {right - x, bottom - y}}) {
        // Premultiplied: all four bytes shrink alike.
        auto& pixel = reinterpret_cast<QRgb*>(picture.scanLine(row))[column];  // NOLINT
        pixel = ((pixel & 0xff00ff) * share >> 8 & 0xff00ff) |
                ((pixel >> 8 & 0xff00ff) * share & 0xff00ff00);
      }
    }
  }
}

}  // namespace

/// What of the frame is shown, and how large.
struct PreviewRenderer::Geometry {
  Geometry(const QSize& frame, const Target& target)
      : cut(QPoint(), frame), shown(frame.scaled(target.size, Qt::KeepAspectRatio)) {
    shown = shown.expandedTo({1, 1});
    if (!target.fills) return;
    shown = target.size;
    cut.setSize(shown.scaled(frame, Qt::KeepAspectRatio).expandedTo({1, 1}));
    // Chroma is shared by two columns and two rows.
    cut.moveTo((frame.width() - cut.width()) / 4 * 2, (frame.height() - cut.height()) / 4 * 2);
  }
  QRect cut;
  QSize shown;
};

PreviewRenderer::PreviewRenderer(std::function<void()> readyCallback)
    : ready(std::move(readyCallback)) {}

void PreviewRenderer::setTarget(const Target& wanted) {
  std::lock_guard hold(mutex);
  target = wanted;
}

QImage PreviewRenderer::take() {
  std::lock_guard hold(mutex);
  return std::exchange(newest, {});
}

void PreviewRenderer::renderFrame(const RtcVideoFrame* frame) {
  if (!frame) return;
  Target wanted;
  {
    std::lock_guard hold(mutex);
    wanted = target;
  }
  if (wanted.size.isEmpty()) return;
  const I420View view = frame->pixelBuffer ? unpacked(*frame->pixelBuffer) : frame->i420;
  if (view.width <= 0 || view.height <= 0) return;
  const Geometry geometry({view.width, view.height}, wanted);
  QImage& picture =
      spare(geometry.shown,
            wanted.cornerRadius > 0 ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
  if (picture.isNull()) return;
  convert(view, geometry, wanted.mirrored, picture);
  if (wanted.cornerRadius > 0) roundCorners(picture, wanted.cornerRadius);
  bool wasTaken = false;
  {
    std::lock_guard hold(mutex);
    wasTaken = newest.isNull();
    newest = picture;
  }
  if (wasTaken) ready();
}

QImage& PreviewRenderer::spare(const QSize& size, QImage::Format format) {
  // At most one waits to be taken and one is on its way to the screen.
  const auto unused = std::find_if(pictures.begin(), pictures.end(), [](const QImage& picture) {
    return picture.isNull() || picture.isDetached();
  });
  QImage& picture = unused == pictures.end() ? pictures.front() : *unused;
  if (unused == pictures.end() || picture.size() != size || picture.format() != format)
    picture = QImage(size, format);
  return picture;
}

I420View PreviewRenderer::unpacked(PixelBuffer& buffer) {
  const int width = buffer.width();
  const int height = buffer.height();
  const Planes whole(planes, width, height);
  libyuv::NV12ToI420(buffer.baseAddressOfPlane(0), buffer.bytesPerRowOfPlane(0),
                     buffer.baseAddressOfPlane(1), buffer.bytesPerRowOfPlane(1), whole.y,
                     whole.strideY, whole.u, whole.strideUV, whole.v, whole.strideUV, width,
                     height);
  return {width, height, whole.y, whole.u, whole.v, whole.strideY, whole.strideUV, whole.strideUV};
}

void PreviewRenderer::convert(const I420View& frame, const Geometry& geometry, bool isMirrored,
                              QImage& picture) {
  const QRect& cut = geometry.cut;
  const int width = geometry.shown.width();
  const int height = geometry.shown.height();
  Planes small(scaled, width, height);
  const std::ptrdiff_t chroma = cut.y() / 2 * std::ptrdiff_t(frame.strideU) + cut.x() / 2;
  const std::ptrdiff_t chromaV = cut.y() / 2 * std::ptrdiff_t(frame.strideV) + cut.x() / 2;
  libyuv::I420Scale(frame.dataY + cut.y() * std::ptrdiff_t(frame.strideY) + cut.x(), frame.strideY,
                    frame.dataU + chroma, frame.strideU, frame.dataV + chromaV, frame.strideV,
                    cut.width(), cut.height(), small.y, small.strideY, small.u, small.strideUV,
                    small.v, small.strideUV, width, height, filterFor(cut.width(), width));
  if (isMirrored) {
    Planes other(mirrored, width, height);
    libyuv::I420Mirror(small.y, small.strideY, small.u, small.strideUV, small.v, small.strideUV,
                       other.y, other.strideY, other.u, other.strideUV, other.v, other.strideUV,
                       width, height);
    small = other;
  }
  libyuv::I420ToARGB(small.y, small.strideY, small.u, small.strideUV, small.v, small.strideUV,
                     picture.bits(), static_cast<int>(picture.bytesPerLine()), width, height);
}

}  // namespace quorvex
