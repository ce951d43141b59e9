#include "program/Console.h"

#include <unistd.h>

#include <cstdio>

namespace quorvex {
namespace {

constexpr const char* kLineStart = "\r\033[K";

}  // namespace

Console::Console() : onTerminal(::isatty(STDERR_FILENO) == 1) {}

Console::~Console() {
  if (onTerminal && !shownLine.empty()) std::fputc('\n', stderr);
}

void Console::note(std::string_view line) {
  std::lock_guard hold(mutex);
  if (onTerminal) std::fputs(kLineStart, stderr);
  std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
  if (onTerminal) std::fputs(shownLine.c_str(), stderr);
  std::fflush(stderr);
}

void Console::progress(const std::string& state, const std::string& numbers) {
  std::lock_guard hold(mutex);
  if (onTerminal) {
    shownLine = state + "  " + numbers;
    std::fprintf(stderr, "%s%s", kLineStart, shownLine.c_str());
  } else if (state != shownState) {
    std::fprintf(stderr, "%s  %s\n", state.c_str(), numbers.c_str());
  }
  shownState = state;
  std::fflush(stderr);
}

}  // namespace quorvex
