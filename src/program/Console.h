#pragma once

#include <mutex>
#include <string>
#include <string_view>

namespace quorvex {

/// What the program says to the person at its terminal: notes, each a line of its own, and one line
/// of progress that is written over. Goes to standard error. Thread-safe.
class Console {
 public:
  Console();
  /// Leaves the last progress line standing.
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  void note(std::string_view line);

  /// Without a terminal a progress line is written only when it says something new: `state` is the
  /// part of it that counts, `numbers` the part that always changes.
  void progress(const std::string& state, const std::string& numbers);

 private:
  const bool onTerminal;
  std::mutex mutex;
  std::string shownState;  // protected by mutex
  std::string shownLine;   // protected by mutex
};

}  // namespace quorvex
