#!/bin/sh
# Runs the camera tests against the kernel's own test webcam (vivid), in a virtual machine that needs
# neither KVM nor root: tests/vm/cameras.sh build/release/bin/camera_vm_tests [folder to work in]
# Needs qemu-system-x86, busybox-static, cpio and kmod; fetches Debian's kernel image once.
set -eu
program=$(realpath "$1")
PATH=$PATH:/usr/sbin:/sbin
for tool in qemu-system-x86_64 busybox cpio modprobe; do
  command -v $tool >/dev/null || { echo "$tool is missing: apt-get install the packages above" >&2; exit 2; }
done
work=${2:-build/vm}
mkdir -p "$work"
cd "$work"
root=$PWD/initramfs

if ! ls kernel/boot/vmlinuz-* >/dev/null 2>&1; then
  package=$(apt-cache depends linux-image-amd64 | awk '/Depends/ { print $2; exit }')
  apt-get download "$package"
  dpkg-deb -x "$package"_*.deb kernel
  depmod -b kernel "$(ls kernel/lib/modules)"
fi
version=$(ls kernel/lib/modules)

rm -rf "$root"
mkdir -p "$root/bin" "$root/modules" "$root/proc" "$root/sys" "$root/dev" "$root/tmp"
cp /bin/busybox "$program" "$root/bin/"
ldd "$program" | grep -o '/[^ ]*' | while read -r library; do
  mkdir -p "$root$(dirname "$library")"
  cp -L "$library" "$root$library"
done
modprobe -S "$version" -d kernel --show-depends vivid | awk '{ print $2 }' | while read -r module; do
  cp "$module" "$root/modules/"
  echo "insmod /modules/$(basename "$module")"
done >"$root/modules/list"
cat >"$root/init" <<END
#!/bin/busybox sh
/bin/busybox --install -s /bin
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
sed -i '/vivid/s/\$/ node_types=0x1 num_inputs=1 input_types=0x0 no_error_inj=0/' /modules/list
sh /modules/list
/bin/$(basename "$program") && echo VM-TESTS-PASSED
poweroff -f
END
chmod +x "$root/init"
(cd "$root" && find . | cpio -o -H newc --quiet) | gzip -1 >initramfs.gz

timeout 300 qemu-system-x86_64 -accel tcg -cpu max -m 1024 -smp 2 -nographic -no-reboot -nic none \
  -kernel kernel/boot/vmlinuz-"$version" -initrd initramfs.gz \
  -append "console=ttyS0 quiet panic=-1" | tee console.log
grep -q VM-TESTS-PASSED console.log
