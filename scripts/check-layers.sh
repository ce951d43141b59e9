#!/usr/bin/env bash
# Proves that includes point downwards: the ports know nothing but the standard library, the core
# knows the ports, libyuv and the JSON reader, and only the programs know the adapters.
set -euo pipefail
cd "$(dirname "$0")/.."
failed=0

# forbid FOLDERS PATTERN WHY: no file of FOLDERS includes what PATTERN matches.
forbid() {
  local found
  found=$(grep -rsnE "^#include [<\"]$2" $1 --include='*.h' --include='*.cpp' || true)
  [ -z "$found" ] || { printf '%s:\n%s\n' "$3" "$found" >&2; failed=1; }
}

core="src/app src/pipeline src/signaling src/media src/sink src/faces src/auth src/support"
libraries='(Q[A-Z]|api/|rtc_base/|media/base/|modules/|pipewire|spa/|linux/videodev2|boost|libsecret)'
forbid "src/platform" '(app|pipeline|signaling|media|sink|faces|auth|support|linux|program)/' \
  "A port includes a layer above it"
forbid "src/platform $core" "$libraries" "The core includes a library that belongs to an adapter"
forbid "$core" '(linux|program)/' "The core includes an adapter or a program"
forbid "src/signaling src/media src/sink src/auth src/faces" 'pipeline/' \
  "A part includes the pipeline that joins it"
forbid "src/linux" '(program|pipeline|signaling|media|sink|faces|auth|support)/[A-Z]' \
  "An adapter includes more than ports and the log"
forbid "service" '(program|app|pipeline|media|sink|faces|auth|support)/[A-Z]' \
  "The service includes the host"
exit "$failed"
