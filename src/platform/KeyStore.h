#pragma once

#include <string>

#include "platform/PixelBuffer.h"

namespace quorvex {

constexpr OSStatus errSecAuthFailed = -25293;
constexpr OSStatus errSecItemNotFound = -25300;
constexpr OSStatus errSecInteractionNotAllowed = -25308;  ///< it is locked
constexpr OSStatus errSecNotAvailable = -25291;           ///< there is no key store

/// The desktop's key store: secrets by account name, readable by this user only and only while it
/// is unlocked. Never asks the user for anything. Thread-safe; a call may take some tenths of a
/// second.
class KeyStore {
 public:
  virtual ~KeyStore() = default;

  /// Reads the secret of `account` into `data`.
  [[nodiscard]] virtual OSStatus SecItemCopyMatching(const std::string& account,
                                                     std::string* data) = 0;
  [[nodiscard]] virtual OSStatus SecItemAdd(const std::string& account,
                                            const std::string& data) = 0;
  /// Removes every secret of `account`, perhaps only after it has returned; whatever is called
  /// later finds it done.
  virtual OSStatus SecItemDelete(const std::string& account) = 0;
};

}  // namespace quorvex
