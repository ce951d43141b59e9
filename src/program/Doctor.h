#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace quorvex {

/// One thing that was looked at, told to the person whose camera does not show up.
struct Finding {
  /// A problem closes the way that was looked at; a note is worth knowing.
  enum class State { ok, note, problem };

  std::string check;  ///< its name for programs, "v4l2-camera"
  std::string title;  ///< and for people, "V4L2 camera"
  State state = State::ok;
  std::string text;
  std::string mend;  ///< what to do; empty when nothing has to be done
};

/// Looks at one part of the machine. On its own thread, and never asked again.
struct Check {
  std::string name;   ///< of its finding when it does not come back
  std::string title;  ///< the same for people
  std::function<std::vector<Finding>()> find;
};

struct Examination {
  std::vector<Finding> findings;  ///< in the order of the checks; none of them holds a password
  /// Every check has come back. If not, its thread still runs, and the process has to end without
  /// taking down what it uses.
  bool complete = true;
};

/// Carries out all checks at once. One that takes longer than `limit` becomes a problem.
[[nodiscard]] Examination examine(std::vector<Check> checks, std::chrono::milliseconds limit);

/// Whether swapped pictures can come into being and reach some program.
[[nodiscard]] bool picturesCanPass(const std::vector<Finding>& findings);

/// A line for each finding, its mend beneath it, and the conclusion.
[[nodiscard]] std::string asText(const std::vector<Finding>& findings);

/// An array of objects with the members check, title, state, text and mend.
[[nodiscard]] std::string asJson(const std::vector<Finding>& findings);

}  // namespace quorvex
