#!/usr/bin/env bash
# Installs the package given into a new Debian 12 folder that holds nothing else, and runs there what
# it brings, as a plain user: the demo, its window, the start through D-Bus, and what asks for root.
# Needs root and a mirror.
set -euo pipefail
package=$(realpath "${1:?give the .deb}")
# Mounts and processes of the folder end with this script.
[ -n "${IN_OWN_NAMESPACES:-}" ] ||
  exec env IN_OWN_NAMESPACES=1 unshare --mount --pid --fork --kill-child "$0" "$package"

root=$(mktemp -d "${TMPDIR:-/var/tmp}/clean-root.XXXXXX")
chmod 755 "$root"
trap 'umount "$root/proc"; rm -rf --one-file-system "$root"' EXIT
step() { printf '\n== %s (%d s)\n' "$1" "$SECONDS"; }
in_root() { chroot "$root" env -i HOME=/root PATH=/usr/sbin:/usr/bin DEBIAN_FRONTEND=noninteractive \
  LC_ALL=C.UTF-8 ${http_proxy:+http_proxy="$http_proxy"} "$@"; }
as_user() { chroot --userspec=user:user "$root" env -i HOME=/home/user PATH=/usr/bin LC_ALL=C.UTF-8 \
  QT_QPA_PLATFORM=offscreen sh -c 'cd && exec "$@"' sh "$@"; }

step "A new Debian 12"
mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Codename: bookworm' | head -1)
debootstrap --variant=minbase bookworm "$root" "$mirror" >"$root.log" 2>&1 || { cat "$root.log"; exit 1; }
rm "$root.log"
mount -t proc proc "$root/proc"
in_root useradd --create-home user

step "Install $(basename "$package")"
cp "$package" "$root/tmp/"
in_root apt-get install -yq --no-install-recommends "/tmp/$(basename "$package")" dbus-daemon \
  kmod libglib2.0-bin pkexec | tail -3
in_root dpkg --verify quorvex-camera

run="quorvex-camera --demo --camera pattern --virtual-camera embedded --seconds 10 --report r.json"
step "$run --headless"
as_user $run --headless
cat "$root/home/user/r.json"

step "$run"
as_user $run 2>&1 | tee "$root/window.log"
if grep -E 'qrc:|is not installed' "$root/window.log"; then exit 1; fi

step "Start through D-Bus"
as_user dbus-run-session -- gdbus call --session --dest com.tessaly.quorvexcamera \
  --object-path /com/tessaly/quorvexcamera --method org.freedesktop.Application.Activate '{}'

step "What asks for root"
mkdir -p "$root/run/dbus"
in_root dbus-daemon --system --fork
in_root /usr/lib/polkit-1/polkitd --no-debug >/dev/null 2>&1 &
# setup CODE TEXT: how pkexec ends for the user, and what is said. It serves no child of process 1.
setup() {
  local code=0
  as_user sh -c 'pkexec /usr/libexec/quorvex-camera/setup-driver install; exit $?' >"$root/said" 2>&1 || code=$?
  cat "$root/said"
  [ $code = "$1" ] && grep -qF "$2" "$root/said"
}
for try in $(seq 50); do in_root gdbus introspect --system --dest org.freedesktop.PolicyKit1 \
  --object-path /org/freedesktop/PolicyKit1/Authority >/dev/null 2>&1 && break; sleep 0.2; done
setup 127 "Error" # nobody can be asked for a password here
cat >"$root/etc/polkit-1/rules.d/10-user.rules" <<'END_OF_RULE'
polkit.addRule(function(action, subject) {
  if (action.id == "com.tessaly.quorvexcamera.setup-driver" && subject.user == "user") return "yes";
});
END_OF_RULE
sleep 1 # until polkitd has seen the rule
setup 1 "v4l2loopback, the driver behind the camera, is not installed; run: sudo apt install v4l2loopback-dkms"
# Settings of its own: the one that was started through D-Bus may have been refused meanwhile.
as_user env XDG_CONFIG_HOME=/home/user/new quorvex-camera --headless --camera pattern --seconds 8 2>&1 | tee "$root/said" || true
grep -F "Approve in System Settings ›" "$root/said"
grep -F "Failed: v4l2loopback, the driver behind the camera, is not installed" "$root/said"

step "Remove"
touch "$root/etc/modprobe.d/quorvex-camera.conf" # as if the driver had been set up
in_root apt-get purge -yq quorvex-camera | tail -2
if find "$root/usr" "$root/etc" -name '*quorvex*' | grep .; then exit 1; fi
step "All is well"
