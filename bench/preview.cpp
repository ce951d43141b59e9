// One frame of the preview, from the engine's I420 to the pixels shown, beside libswscale doing the
// same: shrunk to the stage of a window of 980x620, or to the self-view's box.
#include <benchmark/benchmark.h>

#include <random>

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include "bench/RatioTable.h"
#include "ui/PreviewRenderer.h"

namespace quorvex {
namespace {

struct Source {
  Source() {
    std::minstd_rand random;
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    frame.i420 = {
        1280, 720, bytes.data(), bytes.data() + 1280 * 720, bytes.data() + 1280 * 720 * 5 / 4,
        1280, 640, 640};
  }
  std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(1280 * 720 * 3 / 2);
  RtcVideoFrame frame;
};

void ours(benchmark::State& state, const PreviewRenderer::Target& target) {
  const Source source;
  PreviewRenderer renderer([] {});
  renderer.setTarget(target);
  for (auto _ : state) {
    renderer.renderFrame(&source.frame);
    benchmark::DoNotOptimize(renderer.take());
  }
}

void swscale(benchmark::State& state, QSize size) {
  const Source source;
  SwsContext* context = sws_getContext(1280, 720, AV_PIX_FMT_YUV420P, size.width(), size.height(),
                                       AV_PIX_FMT_BGRA, SWS_AREA, nullptr, nullptr, nullptr);
  QImage picture(size, QImage::Format_RGB32);
  const I420View& in = source.frame.i420;
  const std::uint8_t* from[] = {in.dataY, in.dataU, in.dataV};
  const int fromStrides[] = {in.strideY, in.strideU, in.strideV};
  std::uint8_t* to[] = {picture.bits()};
  const int toStrides[] = {static_cast<int>(picture.bytesPerLine())};
  for (auto _ : state) sws_scale(context, from, fromStrides, 0, 720, to, toStrides);
  sws_freeContext(context);
}

void add(const std::string& name, auto body) {
  benchmark::RegisterBenchmark(name.c_str(), body)
      ->Unit(benchmark::kMicrosecond)
      ->MinTime(0.1)
      ->Repetitions(7);
}

}  // namespace
}  // namespace quorvex

int main(int argc, char** argv) {
  using namespace quorvex;
  benchmark::Initialize(&argc, argv);
  for (const auto& [name, size] :
       {std::pair{"stage 634x357", QSize(634, 357)}, {"box 146x82", QSize(146, 82)}}) {
    const std::string prefix = name;
    const PreviewRenderer::Target target{.size = size, .cornerRadius = 12};
    add(prefix + "/ours", [=](benchmark::State& state) { ours(state, target); });
    add(prefix + "/swscale", [=, size = size](benchmark::State& state) { swscale(state, size); });
  }
  RatioTable table;
  benchmark::RunSpecifiedBenchmarks(&table);
}
