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

parts="src/log src/model src/faces src/auth src/signaling src/media src/sink src/support"
core="$parts src/pipeline src/app"
libraries='(Q[A-Z]|api/|rtc_base/|media/base/|modules/|pipewire|spa/|linux/videodev2|boost|libsecret|systemd/|vips/)'
forbid "src/platform" '(log|model|app|pipeline|signaling|media|sink|faces|auth|support|linux|program)/' \
  "A port includes a layer above it"
forbid "src/platform $core" "$libraries" "The core includes a library that belongs to an adapter"
forbid "$core" '(linux|ui|program)/' "The core includes an adapter, a view or a program"
forbid "$parts src/pipeline" 'app/' "A part includes the controller that wires it"
forbid "$parts" 'pipeline/' "A part includes the pipeline that joins it"
forbid "src/support src/log" '(faces|auth|signaling|media|sink)/' \
  "What stands beneath the parts includes one of them"
forbid "ui" '(linux|program|app|pipeline|signaling|media|sink|auth|support)/[A-Z]' \
  "A view includes more than the model and ports"
forbid "src/linux" '(ui|program|app|model|pipeline|signaling|media|sink|faces|auth|support)/[A-Z]' \
  "An adapter includes more than ports and the log"
forbid "service" '(program|app|model|pipeline|media|sink|faces|auth)/[A-Z]' \
  "The service includes the host"
exit "$failed"
