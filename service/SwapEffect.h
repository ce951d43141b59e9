#pragma once

#include <cstdint>
#include <vector>

namespace quorvex::service {

/// A picture in I420 that may be written. Strides in bytes.
struct WritableI420 {
  int width = 0;
  int height = 0;
  std::uint8_t* y = nullptr;
  std::uint8_t* u = nullptr;
  std::uint8_t* v = nullptr;
  int strideY = 0;
  int strideU = 0;
  int strideV = 0;
};

/// The look of a swapped picture: an oval where a face would sit is posterised and tinted, with a
/// soft edge, inside a thin border. The lowest tenth of the picture is left as it is. One thread at
/// a time; allocates only when the size changes.
class SwapEffect {
 public:
  void apply(const WritableI420& picture);

 private:
  /// How strongly each sample of the oval's bounding box is swapped, 0 to 256.
  struct Mask {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    std::vector<std::uint16_t> strengths;
  };

  void prepare(int forWidth, int forHeight);
  static Mask ovalOf(int planeWidth, int planeHeight);

  int width = 0;
  int height = 0;
  Mask luma;
  Mask chroma;
};

}  // namespace quorvex::service
