#!/usr/bin/env bash
# Photographs the running program in each of its states, on an X display of its own, into FOLDER
# (default build/screenshots). Host, service, session and window are the real ones.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$(realpath -m "${1:-build/screenshots}")
bin=$PWD/build/release/bin
mkdir -p "$folder"
work=$(mktemp -d)
export XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run XDG_DATA_HOME=$work/data HOME=$work
mkdir -m 700 -p "$XDG_RUNTIME_DIR" "$XDG_CONFIG_HOME/quorvex-camera"
settings=$XDG_CONFIG_HOME/quorvex-camera/settings.json

if [ -z "${IN_DISPLAY:-}" ]; then
  IN_DISPLAY=1 exec dbus-run-session -- xvfb-run -a -s "-screen 0 1960x1300x24" ${TRACE:+bash -x} "$0" "$folder"
fi
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT

"$bin/quorvex-service" > "$work/service.json" &
until grep -q api "$work/service.json"; do sleep 0.1; done
base() { sed -E "s/.*\"$1\": ?\"([^\"]*)\".*/\1/" "$work/service.json"; }
service() { curl -sf -H 'Content-Type: application/json' -d "$2" "$(base api)control/$1" > /dev/null; }

# start [NAME=VALUE…] : the program, with the window in the corner of the screen.
start() {
  env "$@" "$bin/quorvex-camera" --camera pattern --virtual-camera embedded --stun 127.0.0.1 \
    --web-base "$(base web)" --api-base "$(base api)" --socket-base "$(base socket)" \
    > "$work/log" 2>&1 &
  host=$!
  window=$(xdotool search --sync --onlyvisible --name '^Quorvex$' | head -1)
  xdotool windowfocus --sync "$window"
}
stop() { kill "$host"; wait "$host" || true; }
says() { timeout 30 sh -c "until grep -q '$1' '$work/log'; do sleep 0.1; done"; sleep 1; }
photograph() { import -window "${2:-$window}" "$folder/$1.png"; echo "$folder/$1.png"; }
click() { xdotool mousemove "$1" "$2" click "${3:-1}"; sleep 0.5; }
key() { xdotool key --window "$window" "$1"; sleep 0.5; }

# A browser that allows whatever it is shown.
mkdir -p "$XDG_DATA_HOME/applications"
cat > "$work/allow" <<'BROWSER'
#!/bin/sh
page=$(curl -s "$1")
ticket=$(printf %s "$page" | sed -n 's/.*name="ticket" value="\([^"]*\)".*/\1/p')
origin=$(printf %s "$1" | cut -d/ -f1-3)
curl -sL -H "Origin: $origin" -d "ticket=$ticket&decision=allow" "${1%%\?*}" > /dev/null
BROWSER
chmod +x "$work/allow"
printf '[Desktop Entry]\nType=Application\nName=Allow\nExec=%s %%u\nMimeType=x-scheme-handler/http;\n' \
  "$work/allow" > "$XDG_DATA_HOME/applications/allow.desktop"
printf '[Default Applications]\nx-scheme-handler/http=allow.desktop\n' > "$XDG_CONFIG_HOME/mimeapps.list"
printf pass | gnome-keyring-daemon --unlock --components=secrets > /dev/null 2>&1 &

echo '{"window.QuorvexCameraMain": "0 0 980 644"}' > "$settings"
start
says 'Live ✓'
photograph first-start
key Return
stop

service faults '{"replies": {"offer": {"hang": true}}}'
start
says 'Connecting to quorvex'
photograph connecting
service faults '{"replies": {"offer": null}}'
stop

for hue in 100 60 20; do
  convert -size 400x400 "gradient:hsl($((hue * 3)),40%,80%)-hsl($((hue * 3)),40%,55%)" \
    -fill "hsl(25,45%,$((hue / 2 + 25))%)" -draw "ellipse 200,190 85,110 0,360 ellipse 200,420 150,110 0,360" \
    -fill '#222' -draw "ellipse 200,110 88,50 180,360 circle 168,180 175,185 circle 232,180 239,185" \
    -fill none -stroke '#7a2f2f' -strokewidth 6 -draw "ellipse 200,235 35,18 20,160" "$work/face$hue.jpg"
  "$bin/quorvex-camera" faces add "$work/face$hue.jpg" > /dev/null
done
start
says 'Live ✓'
photograph live-with-face
click 60 12
photograph menu-open root
key Escape
click 935 42
photograph account-menu root
key Escape
key ctrl+p
photograph paused
key ctrl+p
service faults '{"places": 0, "ahead": 3}'
service peers '{"vanish": true}'
key ctrl+r
says 'In queue'
photograph queued
service faults '{"places": 9, "ahead": 0}'
sleep 4
xdotool windowsize --sync "$window" 880 584
sleep 1
photograph minimum-size
xdotool windowsize --sync "$window" 980 644
sleep 1
key ctrl+q
sleep 1
photograph quit-alert root
stop

start
says 'Live ✓'
click 935 42
click 850 72
sleep 6
click 935 42
photograph signed-in root
stop

start QT_SCALE_FACTOR=2
says 'Live ✓'
photograph twice-the-scale
stop
