#!/bin/sh
# clean_root.sh FOLDER: makes FOLDER/base, a minimal Debian 12 with systemd that also knows i386, and
# FOLDER/archives, a cache of downloaded packages. Nothing happens when FOLDER/base is there.
# Exits with 77 when that is not possible here, and says why.
set -eu
folder=$1
mirror=${QEL_DEBIAN_MIRROR:-http://deb.debian.org/debian}
skip() { echo "SKIPPED: $*"; exit 77; }

[ "$(id -u)" -eq 0 ] || skip "only root can make a clean Debian and install packages in it"
[ -e "$folder/base" ] && exit 0
command -v debootstrap >/dev/null || skip "no debootstrap; scripts/install-packages test"
mkdir -p "$folder/archives"
log=$folder/base.log
echo "making a clean Debian in $folder (once)"
rm -rf "$folder/partial"
if ! debootstrap --variant=minbase --include=systemd-sysv --cache-dir="$(realpath "$folder/archives")" bookworm \
    "$folder/partial" "$mirror" >"$log" 2>&1; then
    tail -n 5 "$log"
    skip "debootstrap cannot make a clean Debian from $mirror"
fi
cp /etc/resolv.conf "$folder/partial/etc/resolv.conf"
chroot "$folder/partial" dpkg --add-architecture i386
chroot "$folder/partial" apt-get -q update >>"$log" 2>&1 || { tail -n 5 "$log"; skip "no package lists"; }
rm -f "$folder/partial/etc/machine-id"
mv "$folder/partial" "$folder/base"
