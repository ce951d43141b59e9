// The frame path, step by step, beside copying its output (memcpy) and beside libswscale doing the
// same work: from the engine's I420 into a pooled 420v buffer, and from a frame of another size
// into the virtual camera's 1280x720. Ours is measured with everything around it: the pool, the
// renderer, the bars. "allocs" counts calls of operator new a frame.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>

extern "C" {
#include <libavutil/pixfmt.h>
}

#include "bench/RatioTable.h"
#include "bench/SwscalePeer.h"
#include "fakes/AllocationCounter.h"
#include "media/RemoteFrameRenderer.h"
#include "sink/FrameFitter.h"

namespace quorvex {
namespace {

constexpr int kOutWidth = 1280;
constexpr int kOutHeight = 720;

PixelBufferPoolRef makePool(int width, int height) {
  PixelBufferPoolRef pool;
  if (CVPixelBufferPoolCreate({.width = width, .height = height}, &pool) != kNoError) std::abort();
  return pool;
}

PixelBufferRef take(const PixelBufferPoolRef& pool) {
  PixelBufferRef buffer;
  if (CVPixelBufferPoolCreatePixelBuffer(pool, &buffer) != kNoError) std::abort();
  return buffer;
}

/// A picture with detail everywhere, so that no step has it easy.
void paint(std::uint8_t* bytes, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<std::uint8_t>(i * 7 + (i >> 9) * 13);
}

struct I420Source {
  I420Source(int width, int height) : bytes(static_cast<std::size_t>(width) * height * 3 / 2) {
    paint(bytes.data(), bytes.size());
    const auto* u = bytes.data() + static_cast<std::size_t>(width) * height;
    view = {width, height,    bytes.data(), u, u + width / 2 * (height / 2),
            width, width / 2, width / 2};
  }
  std::vector<std::uint8_t> bytes;
  I420View view;
};

PixelBufferRef nv12Source(int width, int height) {
  auto buffer = take(makePool(width, height));
  paint(buffer->baseAddressOfPlane(0),
        static_cast<std::size_t>(buffer->bytesPerRowOfPlane(0)) * height);
  paint(buffer->baseAddressOfPlane(1),
        static_cast<std::size_t>(buffer->bytesPerRowOfPlane(1)) * ((height + 1) / 2));
  return buffer;
}

void memcpyOfTheOutput(benchmark::State& state) {
  const auto from = nv12Source(kOutWidth, kOutHeight);
  const auto to = take(makePool(kOutWidth, kOutHeight));
  for (auto _ : state) {
    std::memcpy(to->baseAddressOfPlane(0), from->baseAddressOfPlane(0),
                kOutWidth * kOutHeight * 3 / 2);
    benchmark::ClobberMemory();
  }
}

void convertOurs(benchmark::State& state) {
  const I420Source source(kOutWidth, kOutHeight);
  RemoteFrameRenderer renderer(
      [](const PixelBufferRef& buffer) { benchmark::DoNotOptimize(buffer); });
  const RtcVideoFrame frame{.pixelBuffer = {}, .i420 = source.view};
  renderer.renderFrame(&frame);
  const int before = allocationCount();
  for (auto _ : state) renderer.renderFrame(&frame);
  state.counters["allocs"] =
      benchmark::Counter(allocationCount() - before, benchmark::Counter::kAvgIterations);
}

void convertSwscale(benchmark::State& state) {
  const I420Source source(kOutWidth, kOutHeight);
  const SwscalePeer peer(kOutWidth, kOutHeight, AV_PIX_FMT_YUV420P, {0, 0, kOutWidth, kOutHeight});
  const auto pool = makePool(kOutWidth, kOutHeight);
  for (auto _ : state) peer.convert(source.view, *take(pool));
}

void fitOurs(benchmark::State& state, int width, int height, bool flipped) {
  const auto source = nv12Source(width, height);
  const auto pool = makePool(kOutWidth, kOutHeight);
  FrameFitter fitter;
  fitter.fit(*source, flipped, *take(pool));
  const int before = allocationCount();
  for (auto _ : state) fitter.fit(*source, flipped, *take(pool));
  state.counters["allocs"] =
      benchmark::Counter(allocationCount() - before, benchmark::Counter::kAvgIterations);
}

void fitSwscale(benchmark::State& state, int width, int height, bool flipped) {
  const auto source = nv12Source(width, height);
  SwscalePeer peer(width, height, AV_PIX_FMT_NV12, aspectFit(width, height, kOutWidth, kOutHeight));
  const auto pool = makePool(kOutWidth, kOutHeight);
  for (auto _ : state) peer.fit(*source, flipped, *take(pool));
}

template <class Body>
void add(const std::string& name, Body body) {
  benchmark::RegisterBenchmark(name.c_str(), body)
      ->Unit(benchmark::kMicrosecond)
      ->MinTime(0.1)
      ->Repetitions(7);
}

void addCase(const std::string& name, auto ours, auto swscale) {
  add(name + "/ours", ours);
  add(name + "/swscale", swscale);
  add(name + "/memcpy", memcpyOfTheOutput);
}

}  // namespace
}  // namespace quorvex

int main(int argc, char** argv) {
  using namespace quorvex;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  addCase("I420 to 420v 1280x720", convertOurs, convertSwscale);
  for (const auto& [width, height] :
       {std::pair{640, 480}, {641, 481}, {1280, 1024}, {1920, 1080}}) {
    for (const bool flipped : {false, true}) {
      const auto body = [width = width, height = height, flipped](auto fit) {
        return [=](benchmark::State& state) { fit(state, width, height, flipped); };
      };
      addCase("fit " + std::to_string(width) + "x" + std::to_string(height) +
                  (flipped ? " flipped" : ""),
              body(fitOurs), body(fitSwscale));
    }
  }
  RatioTable table;
  benchmark::RunSpecifiedBenchmarks(&table);
}
