#!/bin/bash
# Runs inside the virtual machine, see run.sh.
set -eu
export GTEST_COLOR=no
cd /tmp/guest
while read -r module; do
  [ "$module" = vivid.ko ] || insmod "modules/$module"
done <modules.list
insmod modules/vivid.ko node_types=0x1 num_inputs=1 input_types=0x0 no_error_inj=0
export LOAD_V4L2LOOPBACK="insmod /tmp/guest/v4l2loopback.ko devices=1 video_nr=42 exclusive_caps=1 max_buffers=4 'card_label=\"Quorvex Camera\"'"
sh -c "$LOAD_V4L2LOOPBACK"
v4l2-ctl --list-devices
bin/vcam_vm_tests
