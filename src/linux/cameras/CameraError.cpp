#include "linux/cameras/CameraError.h"

#include <algorithm>

namespace quorvex {

std::string oneLine(std::string_view text) {
  std::string line(text);
  std::replace_if(
      line.begin(), line.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
  return line;
}

}  // namespace quorvex
