#include "linux/qt/QtDefaults.h"

#include <sys/stat.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <utility>

namespace quorvex {

using nlohmann::json;

namespace {

constexpr const char* kBytes = "base64";
constexpr int kForgottenAfterSeconds = 60;

/// JSON holds text only; bytes that are no UTF-8 go in as base64.
json toJson(std::string_view value) {
  const auto bytes = QByteArray::fromRawData(value.data(), static_cast<qsizetype>(value.size()));
  if (bytes.isValidUtf8()) return value;
  return {{kBytes, bytes.toBase64().toStdString()}};
}

std::optional<std::string> fromJson(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_object() || !value.contains(kBytes) || !value[kBytes].is_string()) return {};
  const auto text = QByteArray::fromStdString(value[kBytes].get<std::string>());
  const auto decoded =
      QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
  if (!decoded) return {};
  return decoded.decoded.toStdString();
}

/// What a kill in the middle of a write leaves behind, except for what another program may be
/// writing just now.
void removeForgottenFiles(const QFileInfo& file) {
  const auto before = QDateTime::currentDateTime().addSecs(-kForgottenAfterSeconds);
  const auto pattern = file.fileName() + QStringLiteral(".??????");
  for (const auto& found : file.dir().entryInfoList({pattern}, QDir::Files | QDir::Hidden)) {
    if (found.lastModified() < before) QFile::remove(found.filePath());
  }
}

}  // namespace

QtDefaults::QtDefaults(std::string filePath, Log logLine)
    : path(std::move(filePath)), log(std::move(logLine)) {
  removeForgottenFiles(QFileInfo(QString::fromStdString(path)));
}

std::optional<std::string> QtDefaults::string(std::string_view key) const {
  std::lock_guard lock(mutex);
  const json& settings = current();
  const auto found = settings.find(key);
  return found == settings.end() ? std::nullopt : fromJson(*found);
}

bool QtDefaults::boolean(std::string_view key) const {
  std::lock_guard lock(mutex);
  const json& settings = current();
  const auto found = settings.find(key);
  return found != settings.end() && found->is_boolean() && found->get<bool>();
}

void QtDefaults::setString(std::string_view key, std::string_view value) {
  std::lock_guard lock(mutex);
  current()[std::string(key)] = toJson(value);
  save();
}

void QtDefaults::setBoolean(std::string_view key, bool value) {
  std::lock_guard lock(mutex);
  current()[std::string(key)] = value;
  save();
}

void QtDefaults::remove(std::string_view key) {
  std::lock_guard lock(mutex);
  if (current().erase(std::string(key)) > 0) save();
}

json& QtDefaults::current() const {
  const auto version = fileVersion();
  if (version != loaded) {
    loaded = version;
    values = read();
  }
  return values;
}

QtDefaults::FileVersion QtDefaults::fileVersion() const {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return {};
  return {found.st_ino, found.st_size,
          found.st_mtim.tv_sec * 1'000'000'000LL + found.st_mtim.tv_nsec};
}

json QtDefaults::read() const {
  QFile file(QString::fromStdString(path));
  if (!file.exists()) return json::object();
  if (!QFileInfo(file).isFile()) {
    setAside("it is no file");
  } else if (!file.open(QIODevice::ReadOnly)) {
    setAside(file.errorString().toStdString());
  } else {
    auto parsed = json::parse(file.readAll().toStdString(), nullptr, false);
    if (parsed.is_object()) return parsed;
    setAside("its content is damaged");
  }
  return json::object();
}

void QtDefaults::setAside(const std::string& why) const {
  const std::string aside = path + ".damaged";
  const bool moved = std::rename(path.c_str(), aside.c_str()) == 0;
  loaded = fileVersion();
  log("settings: cannot read " + path + " (" + why + "); starting with none; " +
      (moved ? "the old file is kept as " + aside : "move it away to have settings kept again"));
}

void QtDefaults::save() {
  const auto name = QString::fromStdString(path);
  QDir().mkpath(QFileInfo(name).path());
  const std::string text = values.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
  QSaveFile file(name);
  const bool saved = file.open(QIODevice::WriteOnly) &&
                     file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) &&
                     file.write(text.data(), static_cast<qint64>(text.size())) >= 0 &&
                     file.commit();
  if (saved) {
    loaded = fileVersion();
  } else {
    log("settings: cannot write " + path + " (" + file.errorString().toStdString() +
        "); changes hold until the program ends");
  }
}

}  // namespace quorvex
