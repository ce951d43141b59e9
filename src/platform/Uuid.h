#pragma once

#include <string>

namespace quorvex {

/// A random (version 4) UUID from the system's secure source: 36 characters, lower case.
[[nodiscard]] std::string randomUuid();

}  // namespace quorvex
