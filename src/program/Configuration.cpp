#include "program/Configuration.h"

#include <QFileInfo>
#include <QHostAddress>
#include <QRegularExpression>
#include <QSettings>
#include <QString>
#include <QUrl>

namespace quorvex {
namespace {

/// Values by key, from one source after the other.
using Values = std::map<std::string, std::string>;

const Setting* settingNamed(const std::string& key) {
  for (const Setting& setting : settings())
    if (key == setting.key) return &setting;
  return nullptr;
}

std::string knownKeys() {
  std::string keys;
  for (const Setting& setting : settings())
    keys += std::string(keys.empty() ? "" : ", ") + setting.key;
  return keys;
}

/// None when the value will do; else what is wrong with it.
std::optional<std::string> problemWith(const Setting& setting, const std::string& value) {
  const auto quoted = "\"" + value + "\"";
  if (setting.field == &ServiceEndpoints::supportAddress) {
    static const QRegularExpression kAddress("^[A-Za-z0-9._+-]+@[A-Za-z0-9-]+(\\.[A-Za-z0-9-]+)+$");
    if (kAddress.match(QString::fromStdString(value)).hasMatch()) return std::nullopt;
    return quoted + " is no mail address: give one like " + setting.builtIn;
  }
  if (!setting.secureScheme) {
    const QUrl url("stun://" + QString::fromStdString(value));
    if (url.isValid() && url.host() == QString::fromStdString(value).toLower()) return std::nullopt;
    return quoted + " is no host name: give one without scheme and port";
  }
  const QUrl url(QString::fromStdString(value), QUrl::StrictMode);
  if (!url.isValid() || url.host().isEmpty() || url.hasQuery() || url.hasFragment() ||
      !url.userInfo().isEmpty())
    return quoted + " is no base address: give one like " + setting.builtIn;
  if (url.path() != "" && url.path() != "/") return quoted + " has a path: give the host only";
  if (url.scheme() == setting.secureScheme) return std::nullopt;
  if (url.scheme() == setting.localScheme && isLoopback(value)) return std::nullopt;
  return quoted + " must begin with " + setting.secureScheme + ":// (" + setting.localScheme +
         ":// is allowed toward this machine only)";
}

std::optional<ConfigurationProblem> add(const std::string& source, const std::string& key,
                                        const std::string& value, Values& values) {
  const Setting* setting = settingNamed(key);
  if (!setting)
    return ConfigurationProblem{source + ": there is no setting \"" + key + "\"; there are " +
                                knownKeys()};
  if (const auto problem = problemWith(*setting, value))
    return ConfigurationProblem{source + ": " + key + ": " + *problem};
  values[key] = value;
  return std::nullopt;
}

std::optional<ConfigurationProblem> addFile(const std::string& path, bool mustExist,
                                            Values& values) {
  const QFileInfo file(QString::fromStdString(path));
  if (!file.exists() && !mustExist) return std::nullopt;
  if (!file.isFile() || !file.isReadable())
    return ConfigurationProblem{path + ": cannot be read as a settings file; check its name and " +
                                "its permissions"};
  QSettings ini(file.filePath(), QSettings::IniFormat);
  const QStringList keys = ini.allKeys();
  if (ini.status() != QSettings::NoError)
    return ConfigurationProblem{path + ": is no settings file; each line must read KEY = VALUE"};
  for (const QString& key : keys) {
    const QVariant value = ini.value(key);
    if (auto problem =
            add(path, key.toStdString(),
                value.canConvert<QString>() ? value.toString().toStdString() : ",", values))
      return problem;
  }
  return std::nullopt;
}

}  // namespace

const std::vector<Setting>& settings() {
  static const std::vector<Setting> kSettings{
      {"web_base", "QUORVEX_WEB_BASE", "web-base", "URL", "Base address of the service's web side.",
       "https://quorvex.example", "https", "http", &ServiceEndpoints::webBase, true},
      {"api_base", "QUORVEX_API_BASE", "api-base", "URL", "Base address of the service's API.",
       "https://api.quorvex.example", "https", "http", &ServiceEndpoints::apiBase, true},
      {"socket_base", "QUORVEX_SOCKET_BASE", "socket-base", "URL",
       "Base address of the service's status socket.", "wss://api.quorvex.example", "wss", "ws",
       &ServiceEndpoints::socketBase, true},
      {"stun_host", "QUORVEX_STUN_HOST", "stun", "HOST", "Public STUN server, asked on port 19302.",
       "stun.quorvex.example", nullptr, nullptr, &ServiceEndpoints::stunHost, false},
      {"support_address", "QUORVEX_SUPPORT_ADDRESS", "support-address", "ADDRESS",
       "Whom bug reports are mailed to.", "support@quorvex.example", nullptr, nullptr,
       &ServiceEndpoints::supportAddress, false}};
  return kSettings;
}

bool isLoopback(const std::string& url) {
  const QString host = QUrl(QString::fromStdString(url)).host();
  return host == "localhost" || QHostAddress(host).isLoopback();
}

std::variant<ServiceEndpoints, ConfigurationProblem> readConfiguration(
    const ConfigurationSources& sources) {
  Values values;
  for (const Setting& setting : settings()) values[setting.key] = setting.builtIn;
  if (auto problem = addFile(sources.systemFile, false, values)) return *problem;
  if (auto problem = addFile(sources.userFile, sources.userFileMustExist, values)) return *problem;
  for (const Setting& setting : settings()) {
    const auto value = sources.environment(setting.variable);
    if (!value) continue;
    if (auto problem = add(setting.variable, setting.key, *value, values)) return *problem;
  }
  for (const auto& [key, value] : sources.commandLine)
    if (auto problem = add("command line", key, value, values)) return *problem;
  ServiceEndpoints endpoints;
  for (const Setting& setting : settings()) endpoints.*setting.field = values[setting.key];
  return endpoints;
}

}  // namespace quorvex
