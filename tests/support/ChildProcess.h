#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quorvex::test {

/// A program that ends with the test at the latest.
class ChildProcess {
 public:
  /// `words[0]` is a path or looked for in PATH; `environment` holds NAME=VALUE lines in
  /// place of those of the test; what it prints goes to the file `output`. When the program is not
  /// installed the test fails, naming the Debian `package` that it comes with.
  ChildProcess(std::vector<std::string> words, const std::string& package,
               const std::string& output, std::vector<std::string> environment = {});
  ~ChildProcess() { kill(); }
  ChildProcess(ChildProcess&&) = delete;

  /// Its exit code; none when it does not end within half a minute.
  [[nodiscard]] std::optional<int> exitCode();
  void signal(int number);
  /// Its process id, while it has not been waited for.
  [[nodiscard]] int id() const { return process; }
  /// Ends it as a crash would.
  void kill();

 private:
  int process = -1;
};

}  // namespace quorvex::test
