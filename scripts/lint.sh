#!/usr/bin/env bash
# Runs clang-tidy with the project's checks on all that a configured build folder compiles, as it
# compiles it: many sources at once where it joins them. And qmllint on the views.
set -euo pipefail
cd "$(dirname "$0")/.."

folder=${1:-build/release}
cmake --build "$folder" --target quorvex_ui_qmllint

# In joined sources one's use of a name hides that another one does not use it.
find src ui service tests bench \( -name '*.h' -o -name '*.cpp' \) |
  while read -r file; do
    sed -nE 's/^ *using (\w+::)+(\w+);.*/\2/p' "$file" | while read -r name; do
      [ "$(grep -cw "$name" "$file")" -gt 1 ] || echo "$file: nothing uses the name $name"
    done
  done | { ! grep . ; }

sed -nE 's/^ *"file": "(.*)",?$/\1/p' "$folder/compile_commands.json" | sort -u |
  grep -vE '_autogen/|/\.rcc/' |
  xargs -d '\n' -P "$(nproc)" -n 1 clang-tidy --quiet -p "$folder" 2>&1 |
  { grep -vE '^[0-9]+ warnings?( and [0-9]+ errors?)? generated\.$|^$' || true; } |
  { ! grep . ; }
