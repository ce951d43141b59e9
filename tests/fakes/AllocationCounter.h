#pragma once

namespace quorvex {

/// How often this program has called operator new so far. A program that links
/// AllocationCounter.cpp counts, so that a test can prove a path free of allocations.
int allocationCount();

}  // namespace quorvex
