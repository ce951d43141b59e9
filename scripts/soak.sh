#!/usr/bin/env bash
# Runs the real host and the real service under one random fault after another:
#   scripts/soak.sh MINUTES [SEED]
# Prints every 30 s the share of time in which pictures flowed, the restarts, and what the host
# holds. Fails on a crash, a wedge, a sanitizer's report or growth after warm-up. The same seed gives
# the same faults. PRESET=asan scripts/soak.sh … does it with sanitized programs.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${PRESET:-release}
case "${1:-}" in
  '' | *[!0-9]*) echo "Usage: scripts/soak.sh MINUTES [SEED]" >&2; exit 2 ;;
esac

scripts/install-packages.sh run test
cmake --preset "$preset" -DQUORVEX_TESTS=ON >/dev/null
cmake --build --preset "$preset" --target soak_tests
# What is freed waits a while in AddressSanitizer's hands, and would look like growth.
ASAN_OPTIONS=quarantine_size_mb=8:${ASAN_OPTIONS:-} \
  SOAK_MINUTES=$1 SOAK_SEED=${2:-$RANDOM} "build/$preset/bin/soak_tests"
