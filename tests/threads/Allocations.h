#pragma once

#include <cstddef>

namespace quorvex::test {

/// How often anything in this program has called operator new so far.
std::size_t allocations();

}  // namespace quorvex::test
