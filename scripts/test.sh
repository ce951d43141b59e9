#!/usr/bin/env bash
# Everything that has to hold: format, layers, lint, all tests, the unit tests again under
# AddressSanitizer and UndefinedBehaviorSanitizer, and those of the host's core under
# ThreadSanitizer. With --vm also the host against the real kernel drivers, in a virtual
# machine, and the package in a Debian that holds nothing else.
# Installs what is missing first.
set -euo pipefail
cd "$(dirname "$0")/.."
case "${1:-}" in
  '' | --vm) ;;
  *) echo "Usage: scripts/test.sh [--vm]" >&2; exit 2 ;;
esac

step() { printf '\n== %s (%d s)\n' "$1" "$SECONDS"; }
jobs=$(nproc)

scripts/install-packages.sh run test ${1:+vm}

step "Format"
find src ui service tests bench \( -name '*.h' -o -name '*.cpp' \) -print0 |
  xargs -0 clang-format --dry-run --Werror

step "Layers"
scripts/check-layers.sh

step "Build"
cmake --preset release -DQUORVEX_TESTS=ON -DQUORVEX_BENCH=ON >/dev/null
cmake --build --preset release

step "Lint"
scripts/lint.sh build/release

step "Tests"
ctest --test-dir build/release --output-on-failure -j "$jobs"

step "Unit tests under AddressSanitizer and UndefinedBehaviorSanitizer"
cmake --preset asan -DQUORVEX_TESTS=ON -DQUORVEX_BENCH=OFF >/dev/null
cmake --build --preset asan --target unit_tests
ctest --test-dir build/asan --output-on-failure -j "$jobs" -L unit

step "Pipeline, signaling, sink and queue tests under ThreadSanitizer"
cmake --preset tsan -DQUORVEX_TESTS=ON -DQUORVEX_BENCH=OFF >/dev/null
cmake --build --preset tsan --target core_tests threads_tests
for tests in core_tests threads_tests; do build/tsan/bin/$tests --gtest_brief=1; done

if [ "${1:-}" = --vm ]; then
  step "Virtual machine with vivid and v4l2loopback"
  tests/vm/run.sh

  step "The package in a new Debian"
  cmake --build --preset release --target deb >/dev/null
  lintian --allow-root --fail-on error build/release/package/*.deb
  $([ "$(id -u)" -eq 0 ] || echo sudo) tests/packaging/clean-root.sh build/release/package/*.deb
fi

step "All is well"
