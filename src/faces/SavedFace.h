#pragma once

#include <string>

namespace quorvex {

/// A face of the user's library that the service can swap in.
struct SavedFace {
  std::string id;    ///< a UUID
  std::string name;  ///< what the user sees
  std::string b64;   ///< standard base64 of a JPEG picture
  bool operator==(const SavedFace&) const = default;
};

}  // namespace quorvex
