#include <gtest/gtest.h>
#include <sys/stat.h>
#include <vips/vips.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <thread>

#include "linux/images/VipsImageCodec.h"
#include "support/TemporaryFolder.h"

namespace quorvex {
namespace {

using test::contentOf;
using Quadrants = std::array<std::vector<double>, 4>;  // top left, top right, bottom left, ...

// Colours that every format and profile can hold.
const Quadrants kColours{{{180, 80, 80}, {90, 150, 100}, {100, 110, 140}, {200, 190, 130}}};

// A picture of four colours of one to four bands, changed and saved by libvips.
class QuadrantPicture {
 public:
  explicit QuadrantPicture(int width = 640, int height = 480, const Quadrants& colours = kColours,
                           unsigned noise = 1) {
    std::vector<std::uint8_t> pixels;
    std::minstd_rand random;
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        for (const double value : colours[(y >= height / 2) * 2 + (x >= width / 2)])
          pixels.push_back(static_cast<std::uint8_t>(value + random() % noise));
    const int bands = static_cast<int>(colours[0].size());
    image.reset(vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height, bands,
                                                VIPS_FORMAT_UCHAR));
    become(vips_copy, "interpretation",
           bands < 3 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB);
  }

  [[nodiscard]] VipsImage* get() const { return image.get(); }

  // Becomes the result of one of the library's operations on it.
  template <class Operation, class... Arguments>
  QuadrantPicture& become(Operation operation, Arguments... arguments) {
    VipsImage* out = nullptr;
    EXPECT_EQ(operation(get(), &out, arguments..., nullptr), 0) << vips_error_buffer();
    image.reset(out);
    return *this;
  }

 private:
  struct Unref {
    void operator()(VipsImage* owned) const { g_object_unref(owned); }
  };
  std::unique_ptr<VipsImage, Unref> image;
};

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
  // The options at the end of a name are the saver's.
  void save(const QuadrantPicture& picture, const std::string& name) {
    EXPECT_EQ(vips_image_write_to_file(picture.get(), (folder / name).c_str(), nullptr), 0)
        << vips_error_buffer();
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
    EXPECT_LT(growthDuring([this] { EXPECT_FALSE(codec.thumbnail(path, 512)); }), 20'000) << path;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  }
  void expectRefusal(const std::string& bytes) {
    SCOPED_TRACE(bytes.substr(0, 6));
    std::ofstream(path, std::ios::binary) << bytes;
    expectRefusal();
  }

  const test::TemporaryFolder folder;
  std::string path = folder / "a.jpg";
  const VipsImageCodec codec;
};

TEST_F(VipsImageCodecTest, readsEveryFormatAndColourSpaceInItsTrueColours) {
  QuadrantPicture picture;
  expectPictures(picture, kColours,
                 {"a.jpg", "a.jpg[interlace]", "a.png[palette]", "a.webp", "a.tif[tile,pyramid]",
                  "a.gif", "a.heic", "a.avif"});
  vips_image_set_blob_copy(picture.get(), VIPS_META_ICC_NAME, "broken", 6);
  expectPictures(picture, kColours, {"a.jpg"});
  expectPictures(QuadrantPicture().become(vips_icc_transform, "p3", "input_profile", "srgb"),
                 kColours, {"a.jpg", "a.heic"});
  expectPictures(QuadrantPicture().become(vips_icc_transform, "cmyk", "input_profile", "srgb"),
                 kColours, {"a.jpg", "a.tif[strip]"});
  expectPictures(QuadrantPicture().become(vips_colourspace, VIPS_INTERPRETATION_RGB16), kColours,
                 {"a.png", "a.heic[bitdepth=10]"});
  QuadrantPicture grey(640, 480, {{{200}, {40}, {90}, {255}}});
  expectPictures(grey.become(vips_colourspace, VIPS_INTERPRETATION_GREY16),
                 {{{200, 200, 200}, {40, 40, 40}, {90, 90, 90}, {255, 255, 255}}}, {"a.png"});
  QuadrantPicture veil(640, 480,
                       {{{90, 90, 90, 255}, {9, 9, 9, 0}, {9, 9, 99, 51}, {0, 0, 0, 51}}});
  const Quadrants onWhite{{{90, 90, 90}, {255, 255, 255}, {206, 206, 224}, {204, 204, 204}}};
  expectPictures(veil, onWhite, {"a.webp", "a.heic"});
  expectPictures(veil.become(vips_colourspace, VIPS_INTERPRETATION_RGB16), onWhite, {"a.png"});
}

TEST_F(VipsImageCodecTest, standsEveryPictureUpright) {
  const auto upright = [](const std::string& order) {
    Quadrants colours;
    for (int i = 0; i < 4; ++i) colours[i] = kColours[order[i] - '0'];
    return colours;
  };
  QuadrantPicture picture;
  vips_image_set_int(picture.get(), VIPS_META_ORIENTATION, 6);
  save(picture, "a.jpg");
  expectPicture(48, 64, upright("2031"));
  // HEIC has a rotation of its own, and phones put a preview beside the picture.
  path = TEST_DATA "/rotated-with-preview.heic";
  expectPicture(384, 512, upright("1302"), 512);
}

TEST_F(VipsImageCodecTest, reducesToTheLongerSideAndNeverEnlargesWhateverTheName) {
  for (const char* name : {"a.jpg", "a.tif[tile,pyramid]", "a.heic"}) {
    SCOPED_TRACE(name);
    save(QuadrantPicture(), name);
    std::filesystem::rename(path, folder / "ä 人\n\xff.csv[page=1]");
    path = folder / "ä 人\n\xff.csv[page=1]";
    expectPicture(640, 480, kColours, 4000);
    expectPicture(333, 250, kColours, 333);
    EXPECT_FALSE(codec.thumbnail(path, 0));
  }
}

TEST_F(VipsImageCodecTest, refusesWhatIsCutShort) {
  const QuadrantPicture picture(640, 480, kColours, 30);
  for (const char* name :
       {"a.jpg", "a.jpg[interlace]", "a.png", "a.webp", "a.tif", "a.gif", "a.heic"}) {
    SCOPED_TRACE(name);
    save(picture, name);
    const std::string whole = contentOf(path);
    for (const std::size_t percent : {10, 95})
      expectRefusal(whole.substr(0, whole.size() * percent / 100));
  }
}

TEST_F(VipsImageCodecTest, refusesWhatIsNoPhoto) {
  // Of 17,000 pixels a side, hence 1.2 GB if it were unpacked.
  const std::string side = "\x68\x42";
  expectRefusal("GIF89a" + side + side + std::string("\x80\0\0......,\0\0\0\0", 14) + side + side +
                std::string("\0\2\2\x44\1\0;", 7));
  expectRefusal("");
  expectRefusal("<svg xmlns='http://www.w3.org/2000/svg' width='99' height='99'/>");
  for (const auto& [width, height] : {std::pair{15, 640}, {640, 15}, {18'000, 17'000}}) {
    QuadrantPicture pixel(1, 1, {{{0}, {0}, {0}, {0}}});
    save(pixel.become(vips_embed, 0, 0, width, height), "a.png[bitdepth=1]");
    expectRefusal();
  }
  ASSERT_EQ(mkfifo((folder / "fifo.jpg").c_str(), 0600), 0);
  for (const auto& other : {folder / "fifo.jpg", folder / "missing"}) {
    path = other;
    expectRefusal();
  }
}

TEST_F(VipsImageCodecTest, readsLargePhotosInLittleMemoryOnAnyThread) {
  save(QuadrantPicture().become(vips_zoom, 8, 8), "a.jpg");
  EXPECT_LT(growthDuring([this] { expectPicture(1024, 768, kColours, 1024); }), 48 * 1024);
  std::vector<std::jthread> threads(4);
  for (auto& thread : threads) thread = std::jthread([this] { expectPicture(64, 48, kColours); });
}

TEST_F(VipsImageCodecTest, writesJpegOfTheQualityAskedForAndNothingElse) {
  save(QuadrantPicture(640, 480, kColours, 30), "a.png");
  const RgbImage image = codec.thumbnail(path, 512).value();
  const std::string good = codec.jpeg(image, 0.9).value();
  EXPECT_LT(codec.jpeg(image, 0.5).value().size(), good.size() * 0.6);
  EXPECT_GT(codec.jpeg(image, 7).value().size(), good.size() * 1.5);
  for (const char* note : {"Exif", "ICC_PROFILE", "http"})
    EXPECT_EQ(good.find(note), std::string::npos) << note;
  EXPECT_FALSE(codec.jpeg({10, 10, std::vector<std::uint8_t>(299)}, 0.9));
  EXPECT_FALSE(codec.jpeg({70'000, 1, std::vector<std::uint8_t>(210'000)}, 0.9));
}

}  // namespace
}  // namespace quorvex
