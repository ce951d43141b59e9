#!/usr/bin/env bash
# Installs and packages the build folder given. What a desktop reads has to be valid, the man pages
# have to tell of the options there are, and the package has to hold what contents.txt lists.
set -euo pipefail
build=$(realpath "${1:?give the build folder}")
contents=$(realpath "$(dirname "$0")/contents.txt")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C.UTF-8
fail() { echo "$*" >&2; exit 1; }

DESTDIR=$work cmake --install "$build" --prefix /usr >"$work/install.log" || fail "$(cat "$work/install.log")"
cd "$work/usr"
desktop-file-validate share/applications/*.desktop
appstreamcli validate --no-net share/metainfo/*.xml

program=$(sed -n 's|.*exec.path">/usr/\(.*\)</annotate>|\1|p' share/polkit-1/actions/*.policy)
[ "$("$program" 2>&1)" = "Usage: /usr/$program install|remove" ] ||
  fail "polkit lets $program run as root, which is not there or takes itself for another"

for program in bin/*; do
  page=share/man/man1/$(basename "$program").1.gz
  warnings=$(MANROFFSEQ='' man --warnings -l -Tutf8 -Z "$page" 2>&1 >"$work/page")
  [ -z "$warnings" ] || fail "$page: $warnings"
  diff <("$program" --help | grep -oE '^ +--[a-z-]+' | tr -d ' ' | sort) \
    <(zcat "$page" | sed -nE 's/\\-/-/g; s/^\.BI? (--[a-z-]+).*/\1/p' | sort) ||
    fail "$page: its options (right) are not those of --help (left)"
done
version=$("bin/quorvex-camera" --version | cut -d' ' -f2)
[[ $(zcat share/doc/quorvex-camera/changelog.gz | head -1) == *"($version)"* ]] ||
  fail "packaging/debian/changelog does not begin with version $version"

command -v dpkg-deb >/dev/null || { echo "No dpkg-deb, no package."; exit 0; }
cpack --config "$build/CPackConfig.cmake" -B "$work/package" >"$work/cpack.log" || fail "$(cat "$work/cpack.log")"
diff "$contents" <(dpkg-deb -c "$work"/package/*.deb | awk '$1 !~ /^d/ {print $1, $2, $6}' |
  grep -v /doc/quorvex-camera/docs/ | sort) || fail "the package holds (right) what contents.txt does not list (left)"
