#include "service/FacePicture.h"

#include <libyuv.h>
#include <openssl/evp.h>
#include <turbojpeg.h>

#include "service/Encoding.h"

namespace quorvex::service {
namespace {

constexpr int kLongestSide = 4096;

Bytes decoded(const std::string& base64) {
  Bytes bytes(base64.size() / 4 * 3);
  const int size =
      EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(base64.data()),
                      static_cast<int>(base64.size()));
  bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return bytes;
}

/// Rows of four bytes a pixel; empty when `jpeg` is not to be had whole.
std::vector<std::uint8_t> pixelsOf(const Bytes& jpeg, int* width, int* height) {
  const std::unique_ptr<void, int (*)(tjhandle)> reader(tjInitDecompress(), tjDestroy);
  int sampling = 0, colours = 0;
  if (!reader || tjDecompressHeader3(reader.get(), jpeg.data(), jpeg.size(), width, height,
                                     &sampling, &colours) != 0)
    return {};
  if (*width > kLongestSide || *height > kLongestSide) return {};
  std::vector<std::uint8_t> pixels(std::size_t{4} * *width * *height);
  // A warning, of a file cut short for example, is a failure too.
  if (tjDecompress2(reader.get(), jpeg.data(), jpeg.size(), pixels.data(), *width, 4 * *width,
                    *height, TJPF_BGRA, TJFLAG_STOPONWARNING) != 0)
    return {};
  return pixels;
}

}  // namespace

std::shared_ptr<const FacePicture> decodedFace(const std::string& base64) {
  if (!isBase64(base64)) return nullptr;
  const auto face = std::make_shared<FacePicture>();
  const auto pixels = pixelsOf(decoded(base64), &face->width, &face->height);
  if (pixels.empty()) return nullptr;
  const int halfWidth = (face->width + 1) / 2, halfHeight = (face->height + 1) / 2;
  face->y.resize(std::size_t(face->width) * face->height);
  face->u.resize(std::size_t(halfWidth) * halfHeight);
  face->v.resize(face->u.size());
  libyuv::ARGBToI420(pixels.data(), 4 * face->width, face->y.data(), face->width, face->u.data(),
                     halfWidth, face->v.data(), halfWidth, face->width, face->height);
  return face;
}

}  // namespace quorvex::service
