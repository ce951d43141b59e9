#!/usr/bin/env bash
# Installs what scripts/packages.txt lists for the given purposes ("run", "test", "vm") and is not there
# yet. Says what it does; does nothing when nothing is missing.
set -euo pipefail
list="$(dirname "$0")/packages.txt"

missing=()
for purpose in "$@"; do
  while read -r package for; do
    [ "$for" = "$purpose" ] || continue
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done < <(grep -v '^#' "$list")
done
[ ${#missing[@]} -gt 0 ] || exit 0

sudo=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "These packages are missing: ${missing[*]}" >&2
    echo "Install them as root: apt-get install ${missing[*]}" >&2
    exit 1
  }
  sudo=(sudo)
fi
echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -q >&2
"${sudo[@]}" apt-get install -yq --no-install-recommends "${missing[@]}" >&2
