#pragma once

#include <gtest/gtest.h>
#include <vips/vips.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace quorvex::test {

using Quadrants = std::array<std::vector<double>, 4>;  ///< top left, top right, bottom left, ...

/// Colours that every format and profile can hold.
inline const Quadrants kColours{{{180, 80, 80}, {90, 150, 100}, {100, 110, 140}, {200, 190, 130}}};

/// A picture of four colours of one to four bands, changed and saved by libvips.
class QuadrantPicture {
 public:
  explicit QuadrantPicture(int width = 640, int height = 480, const Quadrants& colours = kColours) {
    std::vector<std::uint8_t> pixels;
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        for (const double value : colours[(y >= height / 2) * 2 + (x >= width / 2)])
          pixels.push_back(static_cast<std::uint8_t>(value));
    const int bands = static_cast<int>(colours[0].size());
    image.reset(vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height, bands,
                                                VIPS_FORMAT_UCHAR));
    become(vips_copy, "interpretation",
           bands < 3 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB);
  }

  /// Its metadata is for anybody to set.
  [[nodiscard]] VipsImage* get() const { return image.get(); }

  /// Becomes the result of one of the library's operations on it.
  template <class Operation, class... Arguments>
  QuadrantPicture& become(Operation operation, Arguments... arguments) {
    VipsImage* out = nullptr;
    EXPECT_EQ(operation(get(), &out, arguments..., nullptr), 0) << vips_error_buffer();
    image.reset(out);
    return *this;
  }

  QuadrantPicture& addNoise() {
    VipsImage* noise = nullptr;
    EXPECT_EQ(vips_gaussnoise(&noise, get()->Xsize, get()->Ysize, "sigma", 9.0, "mean", 0.0, NULL),
              0);
    const std::unique_ptr<VipsImage, Unref> owned(noise);
    become([=](auto* in, auto** out, void*) { return vips_add(in, noise, out, nullptr); });
    return become(vips_cast, VIPS_FORMAT_UCHAR);
  }

  /// `name` may end in options of the format's saver: "a.jpg[interlace]".
  void save(const std::string& name) const {
    EXPECT_EQ(vips_image_write_to_file(get(), name.c_str(), nullptr), 0) << vips_error_buffer();
  }

 private:
  struct Unref {
    void operator()(VipsImage* owned) const { g_object_unref(owned); }
  };
  std::unique_ptr<VipsImage, Unref> image;
};

}  // namespace quorvex::test
