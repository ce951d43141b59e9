#include "linux/desktop/DesktopWorkspace.h"

#include <gio/gio.h>

#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "log/HostLog.h"

namespace quorvex {
namespace {

/// Belongs to the instance that was started with it.
constexpr const char* kForceActivate = "RC_FORCE_ACTIVATE";

/// This program's file; the one that has taken its place where it was updated meanwhile.
std::string ownProgram() {
  constexpr std::string_view kReplaced = " (deleted)";
  gchar* target = g_file_read_link("/proc/self/exe", nullptr);
  std::string path = target ? target : "";
  g_free(target);
  if (path.ends_with(kReplaced)) path.resize(path.size() - kReplaced.size());
  return path;
}

std::vector<std::string> ownArguments() {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  std::vector<std::string> arguments;
  for (std::string word; std::getline(file, word, '\0');) arguments.push_back(word);
  return arguments;
}

bool startOwnProgram(const std::map<std::string, std::string>& environment) {
  const std::string program = ownProgram();
  std::vector<std::string> words = ownArguments();
  std::vector<gchar*> arguments{const_cast<gchar*>(program.c_str())};
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  gchar** variables = g_environ_unsetenv(g_get_environ(), kForceActivate);
  for (const auto& [name, value] : environment)
    variables = g_environ_setenv(variables, name.c_str(), value.c_str(), TRUE);
  GError* error = nullptr;
  // The first word names the file; what follows are its arguments, its own name first.
  constexpr auto kFlags = GSpawnFlags(G_SPAWN_FILE_AND_ARGV_ZERO | G_SPAWN_CHILD_INHERITS_STDIN);
  const bool started = g_spawn_async(nullptr, arguments.data(), variables, kFlags, nullptr, nullptr,
                                     nullptr, &error) != FALSE;
  g_strfreev(variables);
  if (error)
    hostLog("lifecycle: another instance cannot be started: " + std::string(error->message));
  g_clear_error(&error);
  return started;
}

}  // namespace

void DesktopWorkspace::inBackground(std::function<bool()> work,
                                    std::function<void(bool)> completion) {
  backgroundQueue.async(
      [&queue = mainQueue, work = std::move(work), completion = std::move(completion)] {
        const bool done = work();
        if (completion) queue.async([completion, done] { completion(done); });
      });
}

void DesktopWorkspace::open(const std::string& url, std::function<void(bool)> completion) {
  inBackground(
      [url] { return g_app_info_launch_default_for_uri(url.c_str(), nullptr, nullptr) != FALSE; },
      std::move(completion));
}

void DesktopWorkspace::openApplication(std::map<std::string, std::string> environment,
                                       std::function<void(bool)> completion) {
  inBackground([environment = std::move(environment)] { return startOwnProgram(environment); },
               std::move(completion));
}

}  // namespace quorvex
