#!/usr/bin/env bash
# Runs clang-tidy with the project's checks on every source of a configured build folder.
set -euo pipefail
cd "$(dirname "$0")/.."

find src service tests bench -name '*.cpp' -print0 |
  xargs -0 -P "$(nproc)" -n 4 clang-tidy --quiet -p "${1:-build/release}" 2>&1 |
  { grep -vE '^[0-9]+ warnings? generated\.$|^$' || true; } |
  { ! grep . ; }
