#pragma once

#include <string>
#include <string_view>

namespace quorvex {

/// Where the service lives; deployment values. The bases are absolute URLs without a path of their
/// own.
struct ServiceEndpoints {
  std::string webBase;         ///< https
  std::string apiBase;         ///< https
  std::string socketBase;      ///< wss, the API base's host
  std::string stunHost;        ///< a public STUN server, asked on port 19302
  std::string supportAddress;  ///< whom bug reports are mailed to
};

/// `base` with `path` appended, exactly one "/" between them.
[[nodiscard]] inline std::string appendingPathComponent(std::string_view base,
                                                        std::string_view path) {
  while (base.ends_with('/')) base.remove_suffix(1);
  return std::string(base) + "/" + std::string(path);
}

}  // namespace quorvex
