#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvex {

/// The user's settings, kept across runs under dotted keys. A write is on disk when it returns and
/// survives a kill at any moment: the old value or the new one. Thread-safe.
class Defaults {
 public:
  virtual ~Defaults() = default;

  /// The text or bytes under `key`; none when the key is absent.
  [[nodiscard]] virtual std::optional<std::string> string(std::string_view key) const = 0;
  virtual void setString(std::string_view key, std::string_view value) = 0;

  /// The flag under `key`; false when it is absent or no flag.
  [[nodiscard]] virtual bool boolean(std::string_view key) const = 0;
  virtual void setBoolean(std::string_view key, bool value) = 0;

  virtual void remove(std::string_view key) = 0;
};

}  // namespace quorvex
