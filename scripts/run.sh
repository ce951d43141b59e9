#!/usr/bin/env bash
# Builds the host and the local service and runs the demo on this machine, with the options given
# here on top (see build/release/bin/quorvex-camera --help). Installs what is missing first.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh run
[ -f build/release/build.ninja ] ||
  cmake --preset release -DQUORVEX_TESTS=OFF -DQUORVEX_BENCH=OFF >&2
cmake --build --preset release --target quorvex-camera quorvex-service >&2

here=$PWD
cd "$OLDPWD"
exec "$here/build/release/bin/quorvex-camera" --demo "$@"
