#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "service/SwapSettings.h"

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

/// The look of a swapped picture. An oval with a soft edge, where a face would sit, holds the
/// target face, or without one the picture itself, posterised and tinted; the mouth mask leaves the
/// mouth in it open. Around the picture runs a border, of another colour when enhanced, with a
/// block in each corner while the swap is locked. The lowest tenth of the picture is left as it is.
/// One thread at a time; allocates only when the size, the face or the mouth mask changes.
class SwapEffect {
 public:
  void apply(const WritableI420& picture, const SwapSettings& settings);

 private:
  /// The oval in one plane: how strongly each sample of its bounding box is swapped, 0 to 256.
  struct Mask {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    std::vector<std::uint16_t> strengths;
  };

  void prepare(int forWidth, int forHeight, const SwapSettings& settings);
  void scaleFace();
  void blendFace(const WritableI420& picture) const;
  void tint(const WritableI420& picture) const;
  void drawBorder(const WritableI420& picture, const SwapSettings& settings) const;
  static Mask ovalOf(int planeWidth, int planeHeight, bool openMouth);

  int width = 0;
  int height = 0;
  bool mouthOpen = false;
  std::shared_ptr<const FacePicture> face;
  Mask luma;
  Mask chroma;
  std::vector<std::uint8_t> faceY, faceU, faceV;  ///< the face, as large as the masks
};

}  // namespace quorvex::service
