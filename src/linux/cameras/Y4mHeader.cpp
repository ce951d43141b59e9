#include "linux/cameras/Y4mHeader.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <utility>

#include "linux/cameras/CameraError.h"

namespace quorvex {
namespace {

constexpr std::string_view kMagic = "YUV4MPEG2";
constexpr int kLargestY4mSide = 8192;
constexpr double kSlowest = 1;
constexpr double kFastest = 240;

using Sampling = Y4mHeader::Sampling;
constexpr std::array<std::pair<std::string_view, Sampling>, 7> kSamplings{
    {{"420jpeg", Sampling::k420},
     {"420mpeg2", Sampling::k420},
     {"420paldv", Sampling::k420},
     {"420", Sampling::k420},
     {"422", Sampling::k422},
     {"444", Sampling::k444},
     {"mono", Sampling::kMono}}};

// None unless the whole text is a number.
std::int64_t numberIn(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.begin(), text.end(), number);
  return error == std::errc() && end == text.end() ? number : -1;
}

int sideIn(std::string_view text) {
  const std::int64_t side = numberIn(text);
  if (side > kLargestY4mSide || side < 1) {
    throw CameraError("has pictures " + std::string(text) +
                      " pixels wide or high, and only 1 to 8192 can be played: "
                      "scale it with ffmpeg -i FILE -vf scale=1280:-2 NEW.y4m");
  }
  return static_cast<int>(side);
}

double rateIn(std::string_view text) {
  const auto colon = text.find(':');
  const std::int64_t frames = numberIn(text.substr(0, colon));
  const std::int64_t seconds =
      colon == std::string_view::npos ? -1 : numberIn(text.substr(colon + 1));
  const double rate = seconds > 0 ? static_cast<double>(frames) / static_cast<double>(seconds) : 0;
  if (rate < kSlowest || rate > kFastest) {
    throw CameraError("has the frame rate F" + std::string(text) +
                      ", and only 1 to 240 frames a second can be played: "
                      "set it with ffmpeg -r 30 -i FILE NEW.y4m");
  }
  return rate;
}

Sampling samplingIn(std::string_view text) {
  for (const auto& [name, sampling] : kSamplings) {
    if (text == name) return sampling;
  }
  throw CameraError("has the colour format C" + std::string(text) +
                    ", and only 8-bit 420, 422, 444 and mono can be played: "
                    "convert it with ffmpeg -i FILE -pix_fmt yuv420p NEW.y4m");
}

}  // namespace

int Y4mHeader::chromaWidth() const {
  if (sampling == Sampling::kMono) return 0;
  return sampling == Sampling::k444 ? width : (width + 1) / 2;
}

int Y4mHeader::chromaHeight() const {
  if (sampling == Sampling::kMono) return 0;
  return sampling == Sampling::k420 ? (height + 1) / 2 : height;
}

std::size_t Y4mHeader::frameBytes() const {
  return static_cast<std::size_t>(width) * height + std::size_t{2} * chromaWidth() * chromaHeight();
}

Y4mHeader parseY4mHeader(std::string_view line) {
  if (!line.starts_with(kMagic) || (line.size() > kMagic.size() && line[kMagic.size()] != ' ')) {
    throw CameraError(
        "is no YUV4MPEG2 file: make one with ffmpeg -i VIDEO -pix_fmt yuv420p NEW.y4m");
  }
  Y4mHeader header;
  line.remove_prefix(kMagic.size());
  while (!line.empty()) {
    const auto space = line.find(' ', 1);
    const std::string_view word = line.substr(1, space == line.npos ? space : space - 1);
    line.remove_prefix(space == line.npos ? line.size() : space);
    if (word.empty()) continue;
    const std::string_view value = word.substr(1);
    if (word[0] == 'W') header.width = sideIn(value);
    if (word[0] == 'H') header.height = sideIn(value);
    if (word[0] == 'F') header.framesPerSecond = rateIn(value);
    if (word[0] == 'C') header.sampling = samplingIn(value);
  }
  if (header.width == 0 || header.height == 0) {
    throw CameraError(
        "does not say how large its pictures are (W and H): "
        "make it again with ffmpeg -i VIDEO -pix_fmt yuv420p NEW.y4m");
  }
  if (header.framesPerSecond == 0) header.framesPerSecond = rateIn("0:0");
  return header;
}

}  // namespace quorvex
