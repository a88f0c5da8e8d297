#!/usr/bin/env bash
# Stages the host's disk service (udisksd), a system bus, polkit and mdadm into DIR, laid
# out as in a Debian root, for run-lab.sh -T DIR:/ (which adds the libraries of every ELF
# file). The guest has no package manager and no systemd: it starts them itself
# (hwlab_system_bus, then udisksd). Needs: udisks2 libblockdev-mdraid2 mdadm polkitd.
# Usage: scripts/lab/udisks-tree.sh DIR
set -euo pipefail
dir=${1:?usage: udisks-tree.sh DIR}
rm -rf "$dir"; mkdir -p "$dir"
arch=$(dpkg-architecture -qDEB_HOST_MULTIARCH 2>/dev/null || echo x86_64-linux-gnu)

put() {  # put PATH...: copies each host path (file or folder) to the same place
  for p in "$@"; do
    [[ -e "$p" ]] || { echo "udisks-tree: missing $p" >&2; exit 1; }
    mkdir -p "$dir$(dirname "$p")"
    cp -aL "$p" "$dir$p"
  done
}

put /usr/bin/dbus-daemon /usr/bin/dbus-send /usr/share/dbus-1 /etc/dbus-1
put /usr/lib/polkit-1/polkitd /usr/share/polkit-1 /etc/polkit-1 /usr/bin/pkcheck
put /usr/libexec/udisks2/udisksd /etc/udisks2 /usr/bin/udisksctl
# libblockdev loads its plugins by name at run time, so ldd doesn't see them; udisksd
# stops arrays through the mdraid plugin, which runs mdadm.
for lib in /usr/lib/"$arch"/libbd_*.so.2; do put "$lib"; done
put /usr/sbin/mdadm
# The rules that give md arrays their MD_* properties and the disk service its own.
mkdir -p "$dir/usr/lib/udev/rules.d"
for r in 63-md-raid-arrays 64-md-raid-assembly 80-udisks2; do
  cp "/lib/udev/rules.d/$r.rules" "$dir/usr/lib/udev/rules.d/"
done
