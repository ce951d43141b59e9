#pragma once

namespace quorvex::test {

/// The first argument that makes the test program a writer of settings; the path is the second.
constexpr const char* kWriteDefaults = "--write-defaults";

/// Writes pairs of settings that belong together, until it is killed.
[[noreturn]] void writeDefaultsForever(const char* path);

}  // namespace quorvex::test
