#pragma once

#include <string>

namespace quorvex {

/// The other programs that have the file at `path` open, as "name, process 42; ..."; empty when
/// there are none or this user may not see them. Reads /proc. Thread-safe.
[[nodiscard]] std::string programsUsing(const std::string& path);

}  // namespace quorvex
