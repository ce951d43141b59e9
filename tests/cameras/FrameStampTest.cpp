#include <gtest/gtest.h>
#include <libyuv.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <random>

#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/PatternPainter.h"
#include "linux/cameras/Y4mFile.h"
#include "support/TemporaryFolder.h"

namespace quorvex {
namespace {

std::optional<std::uint32_t> read(const I420Picture& picture) {
  return readFrameStamp(picture.view().dataY, picture.strideY(),
                        {0, 0, picture.width, picture.height});
}

I420Picture stamped(std::uint32_t number) {
  static PatternPainter painter(1280, 720);
  return painter.paint(number, 0.5);
}

TEST(FrameStamp, isReadAtEveryScaleAndMirrored) {
  for (const std::uint32_t number : {0u, 1u, 0x55555555u, 0xdeadbeefu, 0xffffffffu}) {
    const I420Picture original = stamped(number);
    for (const auto& [width, height] :
         {std::pair{320, 180}, {333, 251}, {641, 481}, {854, 480}, {1279, 719}, {1920, 1080}}) {
      I420Picture scaled(width, height), mirrored(width, height);
      libyuv::ScalePlane(original.view().dataY, 1280, 1280, 720, scaled.y(), width, width, height,
                         libyuv::kFilterBox);
      EXPECT_EQ(read(scaled), number) << width << "x" << height;
      libyuv::MirrorPlane(scaled.view().dataY, width, mirrored.y(), width, width, height);
      EXPECT_EQ(read(mirrored), number) << width << "x" << height;
    }
  }
}

TEST(FrameStamp, isRefusedWhenOneOfItsCellsIsWrong) {
  for (int cell = 0; cell < 52; ++cell) {
    if (cell % 26 == 0 || cell % 26 == 25) continue;  // the marks carry no number
    I420Picture damaged = stamped(0x12345678);
    const int top = cell < 26 ? 648 : 684;
    for (int y = top; y < top + 36; ++y)
      for (int x = 1280 * (cell % 26) / 26, end = x + 49; x < end; ++x)
        damaged.y()[y * 1280 + x] ^= 0xff;
    EXPECT_EQ(read(damaged), std::nullopt) << cell;
  }
}

TEST(FrameStamp, isNotFoundWhereThereIsNone) {
  I420Picture picture(1280, 720);
  EXPECT_EQ(read(picture), std::nullopt);
  std::generate_n(picture.y(), 1280 * 720, [random = std::mt19937(7)]() mutable {
    return static_cast<std::uint8_t>(random());
  });
  for (const PixelRect& content :
       {PixelRect{0, 0, 1280, 720}, {0, 0, 319, 720}, {0, 0, 1280, 20}, {}})
    EXPECT_EQ(readFrameStamp(picture.y(), 1280, content), std::nullopt);
}

// Twice through the codec, the second time after a change of shape, as on the way to a service that
// answers at another size.
TEST(FrameStamp, survivesTheVideoCodecTwiceAtALowBitRate) {
  const test::TemporaryFolder folder;
  constexpr std::uint32_t kFirst = 0xabcd0000;
  constexpr int kFrames = 30;
  PatternPainter painter(1280, 720);
  std::ofstream file(folder / "in.y4m", std::ios::binary);
  file << "YUV4MPEG2 W1280 H720 F30:1 C420jpeg\n";
  for (int i = 0; i < kFrames; ++i) {
    I420Picture picture = painter.paint(kFirst + i * 7, i / 30.0);
    file << "FRAME\n" << std::string_view(reinterpret_cast<char*>(picture.y()), picture.size());
  }
  file.close();
  const std::string command =
      "cd " + (folder / "") +
      " && codec='-c:v libvpx -b:v 500k -deadline realtime -cpu-used 8' && "
      "ffmpeg -v error -i in.y4m $codec one.webm && "
      "ffmpeg -v error -i one.webm -vf scale=641:481,setsar=1 $codec two.webm && "
      "ffmpeg -v error -i two.webm out.y4m";
  ASSERT_EQ(std::system(command.c_str()), 0) << "is ffmpeg installed?";
  Y4mFile clip(folder / "out.y4m");
  for (int i = 0; i < kFrames; ++i) EXPECT_EQ(read(clip.nextFrame()), kFirst + i * 7) << i;
}

}  // namespace
}  // namespace quorvex
