#!/bin/bash
# What is tried in the virtual machine, see run.sh: the adapters' own tests, then the host and the
# local service as people run them, watched through v4l2-ctl and ffmpeg.
set -euo pipefail
cd /tmp/guest
export HOME=/tmp/home XDG_RUNTIME_DIR=/run/user GTEST_COLOR=no GTEST_BRIEF=1
mkdir -p $HOME $XDG_RUNTIME_DIR
camera=/dev/video42
log=/tmp/quorvexcamera-host.diag
service=http://127.0.0.1:8899
bases="--web-base $service --api-base $service --socket-base ${service/http/ws}"
load() { insmod v4l2loopback.ko devices=1 video_nr=42 exclusive_caps=1 max_buffers=4 'card_label="Quorvex Camera"'; }

setup=/usr/libexec/quorvex-camera/setup-driver
# doctor CODE PATTERN: what the host says of the machine, and whether it comes to this.
doctor() {
  local code=0
  bin/quorvex-camera doctor $bases >/tmp/doctor || code=$?
  cat /tmp/doctor
  [ $code = "$1" ] || fail "doctor ends with $code instead of $1"
  grep -qE "$2" /tmp/doctor || fail "doctor does not say: $2"
}

step() { echo "== $* ($(cut -d. -f1 /proc/uptime) s)"; }
exec 3>&1
fail() {
  exec >&3
  echo "FAILED: $*"
  echo "-- the host's output"; tail -40 /tmp/host.out 2>/dev/null || true
  echo "-- the host's log"; tail -60 $log 2>/dev/null || true
  exit 1
}
# within SECONDS WHAT COMMAND...: the command succeeds before that long.
within() {
  local end=$((SECONDS + $1)) what=$2
  shift 2
  until "$@" >/tmp/tried 2>&1; do
    [ $SECONDS -lt $end ] || { cat /tmp/tried; fail "$what"; }
    sleep 0.2
  done
  cat /tmp/tried
}
logged() { grep -qF "$1" $log; }

# Host and service are nice: their video codecs fill the machine, and those who look must get on.
start_host() {
  : >$log
  nice bin/quorvex-camera --headless --fault-socket /tmp/faults $bases "$@" >/tmp/host.out 2>&1 &
  host=$!
}
stop_host() {
  kill -INT $host
  wait $host || fail "the host ended with exit code $?"
  if grep -E "Sanitizer|terminate called" /tmp/host.out; then fail "the host complains"; fi
}
command_host() { echo "$1" | socat -t 5 - UNIX-CONNECT:/tmp/faults; }

# frames COUNT [FORMAT BYTES]: v4l2-ctl reads whole pictures of the camera.
frames() {
  local count=$1 bytes=${2:-1382400}
  rm -f /tmp/frames
  timeout 60 v4l2-ctl -d $camera --stream-mmap --stream-count="$count" --stream-to=/tmp/frames \
    >/dev/null 2>&1 || fail "v4l2-ctl reads nothing"
  [ "$(stat -c %s /tmp/frames)" = $((count * bytes)) ] ||
    fail "v4l2-ctl read $(stat -c %s /tmp/frames) bytes instead of $count times $bytes"
}
# Of the next ten pictures, how many differ from each other.
different() {
  frames 10
  split -b 1382400 --filter=md5sum /tmp/frames | sort -u | wc -l
}
moves() { [ "$(different)" -gt 2 ]; }
stands() { [ "$(different)" = 1 ]; }
# The means of a region of the next picture, cut into columns, as red green blue of each.
colours() { # WIDTH:HEIGHT:X:Y COLUMNS
  timeout 60 ffmpeg -nostdin -v error -f v4l2 -i $camera -frames:v 1 \
    -vf "format=rgb24,crop=$1,scale=$2:1:flags=area" -f rawvideo -pix_fmt rgb24 - | od -An -v -tu1 -w3
}
# Whether the camera shows vivid's colour bars below what the service draws: white, yellow, cyan,
# green, magenta, red, blue and black, each channel plainly on or off.
shows_bars() {
  local seen
  seen=$(colours 1280:40:0:660 8 | awk '{ s = ""; for (i = 1; i <= 3; i++)
    s = s ($i > 150 ? "1" : $i < 60 ? "0" : "?"); printf "%s ", s }')
  echo "bars seen: $seen"
  [ "$seen" = "111 110 011 010 101 100 001 000 " ]
}
# The border that the service draws at the upper edge: warm from end to end, which no bar is.
shows_border() {
  local seen
  seen=$(colours 1280:4:0:2 4)
  echo "border seen:" $seen
  echo "$seen" | awk '{ bad += $1 < 150 || $2 < 90 || $3 > $1 - 40 } END { exit bad || NR != 4 }'
}
shows_session() { shows_bars && shows_border; }

step "Drivers"
while read -r module; do
  [ "$module" = vivid.ko ] || insmod "modules/$module"
done <modules.list
insmod modules/vivid.ko node_types=0x1 num_inputs=1 input_types=0x0 no_error_inj=0
load
uname -sr
dmesg | grep -o 'v4l2loopback driver version.*'
v4l2-ctl --list-devices

step "Webcam adapter"
bin/camera_vm_tests
step "V4L2 output"
bin/vcam_vm_tests

step "A session: vivid to the service to $camera"
nice bin/quorvex-service --port 8899 --log >/tmp/service.out 2>&1 &
start_host --virtual-camera v4l2
within 60 "the session does not come to life" logged "pipeline: answer applied=true"
within 150 "the pictures are wrong" shows_session
cat /tmp/host.out
logged "webrtc: capturing vivid" || fail "the host does not capture from vivid"
! logged "capturing Quorvex" || fail "the host captures from itself"
echo "open: $(find /proc/$host/fd -lname '/dev/video*' -printf '%l ')"
[ "$(find /proc/$host/fd -lname '/dev/video*' -printf '%l\n' | sort | tr '\n' ' ')" = "/dev/video0 $camera " ] ||
  fail "the host holds other devices than vivid and the virtual camera"
v4l2-ctl -d $camera --all | sed -n '1,40p'
v4l2-ctl -d $camera --list-formats-ext
echo "of 10 pictures that v4l2-ctl reads $(different) differ"
within 60 "the picture stands still" moves

step "The driver is loaded anew under the running host"
command_host release
rmmod v4l2loopback
v4l2-ctl --list-devices
load
within 60 "the device is not fed again" logged "virtual camera: v4l2loopback is available"
within 150 "the pictures are wrong" shows_session
within 60 "no new pictures come" moves

step "No session: the last picture stands"
kill $(jobs -p %1)
within 60 "the loss is not noticed" logged "restart #1"
within 60 "something moves without a session" stands
shows_session || fail "the pictures are wrong without a session"
stop_host
tail -5 /tmp/host.out

step "A device of one stream: another program feeds it"
ffmpeg -nostdin -v error -re -f lavfi -i testsrc=s=640x480:r=5 -pix_fmt yuyv422 -f v4l2 $camera &
other=$!
within 60 "ffmpeg does not feed the device" v4l2-ctl -d $camera --get-fmt-video
start_host --virtual-camera v4l2
within 60 "the miss is not reported" logged "device absent after 8 tries → activation needed"
[ "$(grep -cF 'device has 1 streams; need at least 2' /tmp/host.out)" = 8 ] || fail "other than 8 errors"
kill $other
wait $other || true
within 60 "the device that is free is not taken" logged "sink connected; ready for swapped frames"
frames 3
stop_host
grep -E "streams|Another" /tmp/host.out | sort | uniq -c

step "The camera is set up: the driver is not installed"
rmmod v4l2loopback
nice bin/quorvex-service --port 8899 >/dev/null 2>&1 &
service_process=$!
install -D bin/setup-driver $setup
rm -f $HOME/.config/quorvex-camera/settings.json # which remembers that there was no way to a device
: >$log
bin/quorvex-camera --headless --seconds 15 >/tmp/host.out 2>&1 || true
cat /tmp/host.out
logged "activation didFailWithError domain=com.tessaly.quorvexcamera.driver code=1" || fail "no failure"
grep -q "Failed: v4l2loopback, the driver behind the camera, is not installed; run: sudo apt install" /tmp/host.out ||
  fail "nobody is told"
doctor 1 "✗ V4L2 driver .*is not installed"

step "The camera is set up: installed, loaded, relaunched"
modules=/lib/modules/$(uname -r)
mkdir -p $modules/updates/dkms
cp modules/*.ko $modules
cp v4l2loopback.ko $modules/updates/dkms
depmod 2>/dev/null
start_relaunching() {
  : >$log
  nice timeout 120 env "$@" bin/quorvex-camera --headless --camera pattern $bases >/tmp/host.out 2>&1 &
  wait $! || fail "the first instance ended with exit code $?"
  logged "activation didFinishWithResult=0 (activator is blinded to its own device — relaunch required)" ||
    fail "the driver was not set up"
  # The first one saw the device, too, until it ended.
  within 60 "the second instance does not feed the camera" eval \
    'sed "1,/lifecycle: quitting/d" $log | grep "sink connected; ready for swapped frames"'
  host=$(pgrep -x quorvex-camera)
  tr '\0' '\n' </proc/$host/environ | grep ^RC_
}
end_relaunched() {
  kill -INT "$host"
  within 60 "the second instance does not end" eval '! kill -0 $host 2>/dev/null'
}
start_host
within 60 "what is remembered is not respected" logged "activation didFailWithError domain=com.tessaly.quorvexcamera.driver code=6"
stop_host
tail -1 /tmp/host.out
rm $HOME/.config/quorvex-camera/settings.json
start_relaunching HOME=$HOME
grep . /etc/modprobe.d/quorvex-camera.conf /etc/modules-load.d/quorvex-camera.conf
v4l2-ctl --list-devices
frames 5
v4l2-ctl -d $camera --info | grep -A2 "Device Caps"
grep -E "activation|lifecycle|device missing" $log | cut -d' ' -f2-
doctor 0 "✓ V4L2 listing "

step "The camera is set up: a driver with other options is replaced under the running host"
end_relaunched
rmmod v4l2loopback
insmod v4l2loopback.ko video_nr=42 'card_label="Quorvex Camera"'
: >$log
nice bin/quorvex-camera --headless --camera pattern --virtual-camera v4l2 >/dev/null 2>&1 &
host=$!
within 60 "the device is not fed" logged "virtual camera: v4l2loopback is available"
doctor 0 "✗ V4L2 listing .*exclusive_caps"
frames 5
refusal=$(bin/quorvex-camera --headless --camera $camera 2>&1) && fail "the host takes its own camera"
[ "$refusal" = "quorvex-camera: $camera is the virtual camera itself: name a webcam" ] ||
  fail "the refusal is: $refusal"
refusal=$($setup install 2>&1) && fail "a driver that is in use is replaced"
echo "$refusal"
[[ $refusal == "v4l2loopback is in use with other options (quorvex-camera, process $host); close the "* ]] ||
  fail "the refusal says something else"
kill -INT $host
wait $host || true
start_relaunching RC_FORCE_ACTIVATE=1
frames 5
v4l2-ctl -d $camera --info | grep -A2 "Device Caps"
end_relaunched

step "The camera is set up: undone"
kill $service_process
$setup remove
find /etc -name "quorvex-camera.conf"
rmmod v4l2loopback
modprobe v4l2loopback
v4l2-ctl --list-devices
rmmod v4l2loopback
load

step "PipeWire beside the video device, in the compatibility format"
mkdir -p $HOME/.config/quorvex-camera
echo '{"rc.compatibilityFormat": true}' >$HOME/.config/quorvex-camera/settings.json
mkdir -p $HOME/.config/wireplumber/bluetooth.lua.d
echo 'bluez_monitor.properties["with-logind"] = false' \
  >$HOME/.config/wireplumber/bluetooth.lua.d/80-no-logind.lua
export DBUS_SESSION_BUS_ADDRESS=unix:path=/run/user/bus
dbus-daemon --session --nofork --nopidfile --address=$DBUS_SESSION_BUS_ADDRESS >/dev/null 2>&1 &
within 60 "no bus" test -S /run/user/bus
pipewire >/tmp/pipewire.out 2>&1 &
within 60 "no PipeWire" test -S /run/user/pipewire-0
wireplumber >/tmp/wireplumber.out 2>&1 &
start_host
within 60 "PipeWire is not fed" logged "virtual camera: PipeWire is available"
gst-launch-1.0 -q pipewiresrc target-object=quorvex_camera num-buffers=5 ! \
  video/x-raw,format=NV12,width=1280,height=720 ! filesink location=/tmp/pipewire.nv12 >/dev/null &
reader=$!
frames 5 1843200
wait $reader || fail "PipeWire's reader fails"
[ "$(stat -c %s /tmp/pipewire.nv12)" = $((5 * 1382400)) ] || fail "PipeWire's reader read too little"
echo "5 pictures through each at once"
nice bin/quorvex-service --port 8899 >/dev/null 2>&1 &
within 60 "the service does not answer" curl --silent --output /dev/null $service
doctor 0 "✓ PipeWire camera"
stop_host
