#pragma once

#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "platform/Defaults.h"

namespace quorvex {

/// Defaults in one JSON file, readable and writable by its owner only (0600).
///
/// Every write replaces the file as a whole, so that a kill at any moment leaves the old file or
/// the new one, and never a lock. Two programs on one file see each other's writes. When a write
/// fails (disk full, no right), the value holds until the program ends and the log says why.
///
/// A file that cannot be read as settings is renamed to PATH.damaged and the settings start empty.
class QtDefaults : public Defaults {
 public:
  /// Called with one line, on the thread that called the store; no value of a setting is in it.
  using Log = std::function<void(const std::string& line)>;

  /// The folder of `path` is made at the first write, when it is missing.
  QtDefaults(std::string path, Log log);

  [[nodiscard]] std::optional<std::string> string(std::string_view key) const override;
  void setString(std::string_view key, std::string_view value) override;
  [[nodiscard]] bool boolean(std::string_view key) const override;
  void setBoolean(std::string_view key, bool value) override;
  void remove(std::string_view key) override;

 private:
  /// Tells one version of the file from another: each write makes a new file.
  struct FileVersion {
    unsigned long inode = 0;
    long long size = -1;
    long long modified = 0;
    bool operator==(const FileVersion&) const = default;
  };

  /// The file's settings, read again if it has changed. The caller holds the mutex.
  nlohmann::json& current() const;
  [[nodiscard]] FileVersion fileVersion() const;
  [[nodiscard]] nlohmann::json read() const;
  void setAside(const std::string& why) const;
  void save();

  const std::string path;
  const Log log;
  mutable std::mutex mutex;
  // The state below is protected by the mutex.
  mutable FileVersion loaded;
  mutable nlohmann::json values = nlohmann::json::object();
};

}  // namespace quorvex
