#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "images/QuadrantPicture.h"
#include "linux/images/VipsImageCodec.h"
#include "support/TemporaryFolder.h"

namespace quorvex {
namespace {

using test::contentOf;
using test::kColours;
using test::QuadrantPicture;
using test::Quadrants;

// By how many kilobytes the memory of this process grows at most while `body` runs. Unknown to
// the sanitizer, which keeps what was freed.
long growthDuring(auto body) {
  const auto peak = [] {
    const std::string status = contentOf("/proc/self/status");
    return std::stol(status.substr(status.find("VmHWM:") + 6));
  };
  std::ofstream("/proc/self/clear_refs") << 5;
  const long before = peak();
  body();
#ifdef __SANITIZE_ADDRESS__
  return 0;
#endif
  return peak() - before;
}

#ifdef __SANITIZE_ADDRESS__
// The encoder with which libvips writes the HEIC pictures below.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libx265";
}
#endif

class VipsImageCodecTest : public testing::Test {
 protected:
  void write(const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

  // The options at the end of a name are the saver's.
  void save(const QuadrantPicture& picture, const std::string& name) {
    picture.save(folder / name);
    path = folder / name.substr(0, name.find('['));
  }

  void expectPicture(int width, int height, const Quadrants& colours, int size = 64,
                     int tolerance = 6) {
    const auto image = codec.thumbnail(path, size);
    ASSERT_TRUE(image);
    ASSERT_EQ(std::pair(image->width, image->height), std::pair(width, height));
    ASSERT_EQ(image->pixels.size(), std::size_t{3} * width * height);
    for (int i = 0; i < 12; ++i) {
      const int quadrant = i / 3, band = i % 3;
      const int x = width / 4 + quadrant % 2 * width / 2,
                y = height / 4 + quadrant / 2 * height / 2;
      EXPECT_NEAR(image->pixels[(y * width + x) * 3 + band], colours[quadrant][band], tolerance)
          << "quadrant " << quadrant << " band " << band;
    }
  }

  void expectPictures(const QuadrantPicture& picture, const Quadrants& colours,
                      const std::vector<std::string>& names) {
    for (const auto& name : names) {
      SCOPED_TRACE(name);
      save(picture, name);
      expectPicture(64, 48, colours);
    }
  }

  // Without a word, within a second, in little memory.
  void expectRefusal() {
    const auto start = std::chrono::steady_clock::now();
    testing::internal::CaptureStderr();
    EXPECT_LT(growthDuring([this] { EXPECT_FALSE(codec.thumbnail(path, 512)); }), 20'000);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  }

  const test::TemporaryFolder folder;
  std::string path = folder / "a.jpg";
  const VipsImageCodec codec;
};

TEST_F(VipsImageCodecTest, readsEveryFormatAndColourSpaceInItsTrueColours) {
  QuadrantPicture picture;
  expectPictures(picture, kColours,
                 {"a.jpg", "a.jpg[interlace]", "a.png", "a.png[interlace]", "a.png[palette]",
                  "a.webp", "a.tif", "a.tif[tile,pyramid]", "a.gif", "a.heic", "a.avif"});
  vips_image_set_blob_copy(picture.get(), VIPS_META_ICC_NAME, "broken", 6);
  expectPictures(picture, kColours, {"a.jpg", "a.tif"});
  expectPictures(QuadrantPicture().become(vips_icc_transform, "p3", "input_profile", "srgb"),
                 kColours, {"a.jpg", "a.tif", "a.png", "a.webp", "a.heic"});
  expectPictures(QuadrantPicture().become(vips_icc_transform, "cmyk", "input_profile", "srgb"),
                 kColours, {"a.jpg", "a.tif", "a.jpg[strip]", "a.tif[strip]"});
  expectPictures(QuadrantPicture().become(vips_colourspace, VIPS_INTERPRETATION_RGB16), kColours,
                 {"a.png", "a.png[interlace]", "a.tif[compression=lzw]", "a.heic[bitdepth=10]"});

  QuadrantPicture grey(640, 480, {{{200}, {40}, {90}, {255}}});
  const Quadrants greys{{{200, 200, 200}, {40, 40, 40}, {90, 90, 90}, {255, 255, 255}}};
  expectPictures(grey, greys, {"a.jpg[Q=95]", "a.png", "a.tif"});
  grey.become(vips_colourspace, VIPS_INTERPRETATION_GREY16);
  expectPictures(grey, greys, {"a.png", "a.tif"});

  QuadrantPicture veil(640, 480,
                       {{{90, 90, 90, 255}, {9, 9, 9, 0}, {9, 9, 99, 51}, {0, 0, 0, 51}}});
  const Quadrants onWhite{{{90, 90, 90}, {255, 255, 255}, {206, 206, 224}, {204, 204, 204}}};
  expectPictures(veil, onWhite, {"a.png", "a.webp", "a.tif", "a.heic"});
  veil.become(vips_colourspace, VIPS_INTERPRETATION_RGB16);
  expectPictures(veil, onWhite, {"a.png", "a.tif"});
}

TEST_F(VipsImageCodecTest, standsEveryPictureUpright) {
  const auto expectUpright = [this](std::string order, int width, int height, int size) {
    Quadrants colours;
    for (int i = 0; i < 4; ++i) colours[i] = kColours[order[i] - '0'];
    expectPicture(width, height, colours, size);
  };
  int number = 0;
  for (const char* order : {"0123", "1032", "3210", "2301", "0213", "2031", "3120", "1302"}) {
    QuadrantPicture picture;
    vips_image_set_int(picture.get(), VIPS_META_ORIENTATION, ++number);
    for (const std::string name : {"a.jpg", "a.webp", "a.tif"}) {
      SCOPED_TRACE(name + " " + order);
      save(picture, name);
      expectUpright(order, number < 5 ? 64 : 48, number < 5 ? 48 : 64, 64);
    }
  }
  // HEIC has a rotation of its own, and phones put a preview beside the picture.
  path = TEST_DATA "/rotated-with-preview.heic";
  expectUpright("1302", 384, 512, 512);
}

TEST_F(VipsImageCodecTest, reducesToTheLongerSideAndNeverEnlargesWhateverTheName) {
  for (const char* name : {"a.jpg", "a.png", "a.tif[tile,pyramid]", "a.heic"}) {
    SCOPED_TRACE(name);
    save(QuadrantPicture(), name);
    expectPicture(640, 480, kColours, 4000);
    expectPicture(333, 250, kColours, 333);
    EXPECT_FALSE(codec.thumbnail(path, 0));
  }
  for (const char* name : {"a[page=1].jpg", "b.pdf", "ä 人\n\xff.svg", "-", "x.csv[skip=3]"}) {
    std::filesystem::rename(path, folder / name);
    path = folder / name;
    expectPicture(64, 48, kColours);
  }
}

TEST_F(VipsImageCodecTest, refusesWhatIsCutShort) {
  QuadrantPicture picture;
  picture.addNoise();
  for (const char* name : {"a.jpg", "a.jpg[interlace]", "a.png", "a.png[interlace]", "a.webp",
                           "a.tif", "a.tif[compression=jpeg]", "a.gif", "a.heic"}) {
    save(picture, name);
    const std::string whole = contentOf(path);
    for (const int percent : {10, 50, 95}) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(percent));
      write(whole.substr(0, whole.size() * percent / 100));
      expectRefusal();
    }
  }
}

TEST_F(VipsImageCodecTest, refusesWhatIsNoPhoto) {
  // Of 17,000 pixels a side, hence 1.2 GB if it were unpacked.
  const std::string side = "\x68\x42", gif = "GIF89a" + side + side +
                                             std::string("\x80\0\0......,\0\0\0\0", 14) + side +
                                             side + std::string("\0\2\2\x44\1\0;", 7);
  for (const auto& bytes :
       {std::string(), std::string("no picture at all\n"), gif,
        "P6 99 99 255\n" + std::string(30'000, 'x'),
        std::string("<svg xmlns='http://www.w3.org/2000/svg' width='99' height='99'/>")}) {
    SCOPED_TRACE(bytes.substr(0, 6));
    write(bytes);
    expectRefusal();
  }
  for (const auto& [width, height] :
       {std::pair{1, 1}, {1, 20'000}, {20'000, 1}, {15, 640}, {640, 15}, {18'000, 17'000}}) {
    SCOPED_TRACE(width);
    QuadrantPicture pixel(1, 1, {{{0}, {0}, {0}, {0}}});
    save(pixel.become(vips_embed, 0, 0, width, height), "a.png[bitdepth=1]");
    expectRefusal();
  }
  ASSERT_EQ(mkfifo((folder / "fifo.jpg").c_str(), 0600), 0);
  for (const auto& other :
       {folder / "fifo.jpg", folder / "", folder / "missing", std::string("/dev/zero")}) {
    SCOPED_TRACE(path = other);
    expectRefusal();
  }
}

TEST_F(VipsImageCodecTest, readsLargePhotosInLittleMemoryOnAnyThread) {
  save(QuadrantPicture(6000, 4000).addNoise(), "a.jpg");
  EXPECT_LT(growthDuring([this] { expectPicture(1024, 683, kColours, 1024, 20); }), 64 * 1024);
  std::vector<std::jthread> threads(4);
  for (auto& thread : threads) thread = std::jthread([this] { expectPicture(64, 43, kColours); });
}

TEST_F(VipsImageCodecTest, writesJpegOfTheQualityAskedForAndNothingElse) {
  save(QuadrantPicture().addNoise(), "a.jpg");
  const RgbImage image = codec.thumbnail(path, 512).value();
  const std::string good = codec.jpeg(image, 0.9).value();
  EXPECT_LT(codec.jpeg(image, 0.5).value().size(), good.size() * 0.6);
  EXPECT_GT(codec.jpeg(image, 7).value().size(), good.size() * 1.5);
  for (const char* note : {"Exif", "ICC_PROFILE", "http"})
    EXPECT_EQ(good.find(note), std::string::npos) << note;
  write(good);
  expectPicture(64, 48, kColours, 64, 9);
  EXPECT_FALSE(codec.jpeg({10, 10, std::vector<std::uint8_t>(299)}, 0.9));
  EXPECT_FALSE(codec.jpeg({70'000, 1, std::vector<std::uint8_t>(210'000)}, 0.9));
}

}  // namespace
}  // namespace quorvex
