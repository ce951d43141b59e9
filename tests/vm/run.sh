#!/usr/bin/env bash
# Runs the host against the real kernel drivers, in a virtual machine that needs neither KVM nor root:
#   tests/vm/run.sh [BUILD]        (build/release; work is done in build/vm)
# Debian's kernel, its test webcam (vivid) and v4l2loopback built from Debian's source; everything
# else is this machine's own, below a layer that takes what is written. What is tried is in guest.sh. Prints all of it and fails when
# anything does. Kernel and driver are fetched once, with apt-get.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=$(realpath "${1:-build/release}")
PATH=$PATH:/usr/sbin:/sbin
mkdir -p build/vm
cd build/vm

die() { echo "tests/vm/run.sh: $*" >&2; exit 1; }
for tool in qemu-system-x86_64 busybox cpio modprobe make gcc v4l2-ctl ffmpeg socat; do
  command -v $tool >/dev/null || die "$tool is missing: scripts/install-packages.sh run test vm"
done
programs="quorvex-camera quorvex-service setup-driver camera_vm_tests vcam_vm_tests"
for program in $programs; do
  [ -x "$build/bin/$program" ] || die "$build/bin/$program is missing: build it first"
done

# Downloads the kernel, what modules are built with, and the driver's source. The image is not
# installed: this machine would make it bootable.
download() {
  rm -rf fetched
  mkdir fetched
  release=$(apt-cache depends linux-image-amd64 | sed -n 's/.*Depends: linux-image-//p' | head -1)
  [ -n "$release" ] || return 1
  local headers="linux-headers-$release"
  (cd fetched && apt-get -qq -o APT::Sandbox::User=root download "linux-image-$release" "$headers" v4l2loopback-dkms \
    $(apt-cache depends "$headers" | sed -n 's/.*Depends: \(linux-headers-.*\|linux-kbuild-.*\)/\1/p'))
}
fetch() {
  if ! download; then
    echo "Fetching the package lists anew" >&2
    $([ "$(id -u)" -eq 0 ] || echo sudo) apt-get -qq update
    download || die "Debian's kernel and v4l2loopback-dkms cannot be fetched with apt-get; see that" \
      "the machine reaches a Debian 12 mirror"
  fi
  rm -rf kernel
  local package
  for package in fetched/*.deb; do dpkg-deb -x "$package" kernel; done
  sed -i "s|/usr/src|$PWD/kernel/usr/src|" "kernel/usr/src/linux-headers-$release/Makefile"
  depmod -b kernel "$release"
  make -s -C "kernel/usr/src/linux-headers-$release" \
    M="$(echo "$PWD"/kernel/usr/src/v4l2loopback-*)" modules
  rm -rf fetched
  echo "$PWD" >kernel/complete
}
# The kernel's makefiles hold their own place.
[ "$(cat kernel/complete 2>/dev/null)" = "$PWD" ] || fetch
release=$(ls kernel/lib/modules)

# Copies the modules and what they need to a folder and prints them in the order to load them in.
modules() {
  local into=$1 module
  shift
  mkdir -p "$into"
  for module in "$@"; do modprobe -S "$release" -d kernel --show-depends "$module"; done |
    awk '$1 == "insmod" && !seen[$2]++ { print $2 }' |
    while read -r module; do
      cp "$module" "$into"
      basename "$module"
    done
}

rm -rf guest initramfs
mkdir -p guest/bin initramfs/bin
for program in $programs; do strip -g -o "guest/bin/$program" "$build/bin/$program"; done
cp ../../tests/vm/guest.sh kernel/usr/src/v4l2loopback-*/v4l2loopback.ko guest/
modules guest/modules vivid >guest/modules.list

cp "$(command -v busybox)" initramfs/bin/busybox
modules initramfs/modules virtio_pci 9pnet_virtio 9p overlay >initramfs/modules.list
cat >initramfs/init <<'END_OF_INIT'
#!/bin/busybox sh
/bin/busybox --install -s /bin
mkdir -p /proc /sys /dev /root /machine /written
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
while read -r module; do insmod "/modules/$module"; done </modules.list
share() { mount -t 9p -o trans=virtio,version=9p2000.L,ro,cache=loose,msize=262144 "$1" "$2"; }
share machine /machine
mount -t tmpfs written /written
mkdir /written/files /written/work
mount -t overlay root -o lowerdir=/machine,upperdir=/written/files,workdir=/written/work /root
mount -t tmpfs tmp /root/tmp
mount -t tmpfs run /root/run
mkdir /root/tmp/guest
share guest /root/tmp/guest
for folder in proc sys dev; do mount --bind /$folder /root/$folder; done
mkdir -p /dev/shm
mount -t tmpfs shm /dev/shm
ifconfig lo 127.0.0.1 up
chroot /root /bin/bash /tmp/guest/guest.sh && echo "VM-TESTS-PASSED in $(cut -d. -f1 /proc/uptime) s"
poweroff -f
END_OF_INIT
chmod +x initramfs/init
(cd initramfs && find . | cpio -o -H newc --quiet) | gzip -1 >initramfs.gz

# The machine's clock must not drag behind when the host's is slow: timing is part of what is tried.
timeout 1200 qemu-system-x86_64 -accel tcg,thread=multi -cpu max -m 3072 -smp 2 -no-reboot \
  -display none -vga none -nic none -monitor none -serial stdio -kernel "kernel/boot/vmlinuz-$release" -initrd initramfs.gz \
  -virtfs local,path=/,mount_tag=machine,security_model=none,readonly=on,multidevs=remap \
  -virtfs local,path="$PWD/guest",mount_tag=guest,security_model=none,readonly=on \
  -append "console=ttyS0 loglevel=3 panic=-1" </dev/null | stdbuf -oL tr -d '\r' | tee console.log
grep -q '^VM-TESTS-PASSED' console.log || die "the tests in the virtual machine did not pass"
