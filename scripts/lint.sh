#!/usr/bin/env bash
# Runs clang-tidy with the project's checks on every source of a configured build folder, and
# qmllint on the views.
set -euo pipefail
cd "$(dirname "$0")/.."

folder=${1:-build/release}
cmake --build "$folder" --target quorvex_ui_qmllint
find src ui service tests bench -name '*.cpp' -print0 |
  xargs -0 -P "$(nproc)" -n 4 clang-tidy --quiet -p "$folder" 2>&1 |
  { grep -vE '^[0-9]+ warnings? generated\.$|^$' || true; } |
  { ! grep . ; }
