#!/usr/bin/env bash
# Builds the testbed VM's base initramfs (an uncompressed cpio archive) from the host's installed
# Debian binaries and an unpacked kernel and regulatory database. Everything that changes from one
# run to the next (the project's binaries, the testbed scripts and configs) goes into a separate
# overlay archive, so this one is built once per kernel and daemon version and then cached.
# Usage: mkbase.sh KERNEL_ROOT KVER REGDB_ROOT OUTPUT.cpio
set -euo pipefail

kroot=$1 kver=$2 regdb=$3 out=$4
stage=$(mktemp -d "${out}.stage.XXXXXX")
trap 'rm -rf "$stage"' EXIT

mkdir -p "$stage"/{bin,sbin,usr/bin,usr/sbin,etc,proc,sys,dev,tmp,run,mnt/share,lib/firmware,data}
mkdir -p "$stage/var" && ln -s ../run "$stage/var/run"

# Copies a file to the same path in the image, plus the shared libraries it needs.
add_with_libs() {
  local f=$1
  cp -L --parents "$f" "$stage"
  ldd "$f" 2>/dev/null | awk '{for (i = 1; i <= NF; i++) if ($i ~ /^\//) print $i}' |
    while read -r lib; do
      [ -e "$stage$lib" ] || cp -L --parents "$lib" "$stage"
    done
}

cp /usr/bin/busybox "$stage/bin/busybox"
for applet in $(/usr/bin/busybox --list); do
  [ -e "$stage/bin/$applet" ] || ln -s busybox "$stage/bin/$applet"
done
for f in /usr/sbin/wpa_supplicant /usr/sbin/wpa_cli /usr/sbin/hostapd /usr/sbin/hostapd_cli \
  /usr/sbin/iw /usr/bin/socat /usr/bin/kmod; do
  add_with_libs "$f"
done
# kmod's modprobe, not busybox's: the kernel asks for crypto modules by alias at run time.
rm -f "$stage/bin/modprobe" "$stage/bin/lsmod" "$stage/bin/insmod" "$stage/bin/rmmod"
for tool in modprobe lsmod insmod rmmod; do ln -s ../usr/bin/kmod "$stage/sbin/$tool"; done

# Kernel modules: the radios and their stack, the 9p share, and every crypto module, since
# mac80211 loads its ciphers (CCMP, GCMP, BIP) by algorithm name rather than through module
# dependencies.
mdir=lib/modules/$kver
mkdir -p "$stage/$mdir"
cp "$kroot/$mdir"/modules.{order,builtin,builtin.modinfo} "$stage/$mdir/"
want=(mac80211_hwsim 9pnet_virtio 9p virtio_pci virtio_rng)
{
  for m in "${want[@]}"; do
    grep -E "/${m//_/[-_]}\.ko:" "$kroot/$mdir/modules.dep"
  done
  grep -E '^kernel/(crypto|arch/x86/crypto|lib/crypto)/' "$kroot/$mdir/modules.dep"
} | sed 's/[: ]\+/\n/g' | sed '/^$/d' | sort -u | while read -r ko; do
  mkdir -p "$stage/$mdir/$(dirname "$ko")"
  cp "$kroot/$mdir/$ko" "$stage/$mdir/$ko"
done
depmod -b "$stage" "$kver"

# The Debian-signed database, as the package's own alternatives pick it: the Debian kernel
# trusts that signature.
cp "$regdb/lib/firmware/regulatory.db-debian" "$stage/lib/firmware/regulatory.db"
cp "$regdb/lib/firmware/regulatory.db.p7s-debian" "$stage/lib/firmware/regulatory.db.p7s"

printf '/lib/x86_64-linux-gnu\n/usr/lib/x86_64-linux-gnu\n' >"$stage/etc/ld.so.conf"
ldconfig -r "$stage"
printf 'root:x:0:0:root:/:/bin/sh\n' >"$stage/etc/passwd"
printf 'root:x:0:\n' >"$stage/etc/group"

(cd "$stage" && find . -mindepth 1 | LC_ALL=C sort | cpio --quiet -o -H newc -R 0:0) >"$out.tmp"
mv "$out.tmp" "$out"
