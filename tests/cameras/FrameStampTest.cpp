#include <gtest/gtest.h>
#include <libyuv.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <utility>

#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/PatternPainter.h"
#include "linux/cameras/Y4mFile.h"

namespace quorvex {
namespace {

constexpr std::uint32_t kNumbers[] = {0, 1, 0x55555555, 0xdeadbeef, 0xffffffff};

std::optional<std::uint32_t> read(const I420Picture& picture) {
  return readFrameStamp(picture.view().dataY, picture.strideY(),
                        {0, 0, picture.width, picture.height});
}

I420Picture stamped(std::uint32_t number) {
  static PatternPainter painter(1280, 720);
  return painter.paint(number, 0.5);
}

// A picture of the size with a scaled copy inside `content`.
I420Picture scaledInto(const I420Picture& from, int width, int height, const PixelRect& content) {
  I420Picture to(width, height);
  libyuv::ScalePlane(from.view().dataY, from.strideY(), from.width, from.height,
                     to.y() + content.y * to.strideY() + content.x, to.strideY(), content.width,
                     content.height, libyuv::kFilterBox);
  return to;
}

TEST(FrameStamp, isReadAtEveryScale) {
  for (const std::uint32_t number : kNumbers) {
    const I420Picture original = stamped(number);
    for (const auto& [width, height] : {std::pair{320, 180},
                                        {320, 240},
                                        {333, 251},
                                        {641, 481},
                                        {854, 480},
                                        {1279, 719},
                                        {1280, 720},
                                        {1920, 1080}}) {
      EXPECT_EQ(read(scaledInto(original, width, height, {0, 0, width, height})), number)
          << width << "x" << height;
    }
  }
}

TEST(FrameStamp, isReadFromTheContentBetweenBars) {
  for (const std::uint32_t number : kNumbers) {
    const I420Picture odd = scaledInto(stamped(number), 641, 481, {0, 0, 641, 481});
    const PixelRect content{160, 0, 960, 720};
    const I420Picture boxed = scaledInto(odd, 1280, 720, content);
    EXPECT_EQ(readFrameStamp(boxed.view().dataY, boxed.strideY(), content), number);
    EXPECT_EQ(read(boxed), std::nullopt) << "the bars were read as content";
  }
}

TEST(FrameStamp, isReadMirrored) {
  for (const std::uint32_t number : kNumbers) {
    const I420Picture original = stamped(number);
    I420Picture mirrored(original.width, original.height);
    libyuv::MirrorPlane(original.view().dataY, original.strideY(), mirrored.y(), mirrored.strideY(),
                        original.width, original.height);
    EXPECT_EQ(read(mirrored), number);
  }
}

TEST(FrameStamp, survivesNoiseQuantisationAndAPaleTint) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> noise(-40, 40);
  for (const std::uint32_t number : kNumbers) {
    I420Picture picture = scaledInto(stamped(number), 640, 360, {0, 0, 640, 360});
    for (int i = 0; i < 640 * 360; ++i) {
      const int pale = 90 + picture.y()[i] / 2 + noise(random);
      picture.y()[i] = static_cast<std::uint8_t>(std::clamp(pale, 0, 255) / 32 * 32);
    }
    EXPECT_EQ(read(picture), number);
  }
}

TEST(FrameStamp, isRefusedWhenOneOfItsCellsIsWrong) {
  const I420Picture original = stamped(0x12345678);
  for (int cell = 0; cell < 52; ++cell) {
    if (cell % 26 == 0 || cell % 26 == 25) continue;  // the marks carry no number
    I420Picture damaged = original;
    const int left = 1280 * (cell % 26) / 26;
    const int top = cell < 26 ? 648 : 684;
    for (int y = top; y < top + 36; ++y) {
      for (int x = left; x < left + 49; ++x) {
        std::uint8_t& luma = damaged.y()[y * 1280 + x];
        luma = 255 - luma;
      }
    }
    EXPECT_EQ(read(damaged), std::nullopt) << cell;
  }
}

TEST(FrameStamp, isNotFoundWhereThereIsNone) {
  I420Picture picture(1280, 720);
  EXPECT_EQ(read(picture), std::nullopt);
  std::mt19937 random(7);
  std::generate_n(picture.y(), 1280 * 720, [&] { return static_cast<std::uint8_t>(random()); });
  EXPECT_EQ(read(picture), std::nullopt);
  EXPECT_EQ(readFrameStamp(picture.y(), 1280, {0, 0, 319, 720}), std::nullopt);
  EXPECT_EQ(readFrameStamp(picture.y(), 1280, {0, 0, 1280, 20}), std::nullopt);
  EXPECT_EQ(readFrameStamp(picture.y(), 1280, {}), std::nullopt);
}

// Twice through the codec, the second time after a change of shape, as on the way to a service that
// answers at another size.
TEST(FrameStamp, survivesTheVideoCodecTwiceAtALowBitRate) {
  std::string base = testing::TempDir() + "frame-stamp-XXXXXX";
  ASSERT_TRUE(mkdtemp(base.data()));
  constexpr std::uint32_t kFirst = 0xabcd0000;
  constexpr int kFrames = 30;
  PatternPainter painter(1280, 720);
  std::FILE* file = std::fopen((base + "/in.y4m").c_str(), "wb");
  ASSERT_TRUE(file);
  std::fputs("YUV4MPEG2 W1280 H720 F30:1 C420jpeg\n", file);
  for (int i = 0; i < kFrames; ++i) {
    const I420Picture& picture = painter.paint(kFirst + i * 7, i / 30.0);
    std::fputs("FRAME\n", file);
    std::fwrite(picture.view().dataY, 1, picture.size(), file);
  }
  std::fclose(file);

  const std::string codec = " -c:v libvpx -b:v 500k -deadline realtime -cpu-used 8 ";
  const std::string command = "cd " + base + " && ffmpeg -v error -i in.y4m" + codec +
                              "one.webm && ffmpeg -v error -i one.webm -vf scale=641:481,setsar=1" +
                              codec + "two.webm && ffmpeg -v error -i two.webm out.y4m";
  ASSERT_EQ(std::system(command.c_str()), 0) << "is ffmpeg installed?";
  Y4mFile clip(base + "/out.y4m");
  for (int i = 0; i < kFrames; ++i) EXPECT_EQ(read(clip.nextFrame()), kFirst + i * 7) << i;
  std::filesystem::remove_all(base);
}

}  // namespace
}  // namespace quorvex
