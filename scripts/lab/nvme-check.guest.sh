#!/bin/sh
# Guest side of the NVMe checks: prints what nvme-cli and vantrel read from the same
# controller, and how vantrel answers bad input, between markers compare.py parses.
. /hwlab/lib.sh
disk=$(hwlab_disk_of nvme) || { echo "LAB-ERROR no nvme disk"; exit 1; }
ctrl=$(basename "$(readlink -f /sys/class/block/$disk/device)")

# block NAME CMD...: stdout only, so JSON stays parseable; with_stderr NAME CMD...: both.
block() { echo "LAB-BEGIN $1"; shift; "$@"; echo "LAB-END rc=$?"; }
with_stderr() { echo "LAB-BEGIN $1"; shift; "$@" 2>&1; echo "LAB-END rc=$?"; }

# Move the write counters, so the data-units rows carry a real figure.
dd if=/dev/zero of=/dev/$disk bs=1M count=24 oflag=direct 2>/dev/null
block smart-log nvme smart-log "/dev/$ctrl" -o json
block id-ctrl nvme id-ctrl "/dev/$ctrl" -o json
block check-json vantrel check "$disk" --json=report
with_stderr check-dev-path vantrel check "/dev/$disk"
with_stderr check-missing vantrel check nosuchdisk0
sata=$(hwlab_disk_of sata 2>/dev/null)
if [ -n "$sata" ]; then with_stderr check-not-nvme vantrel check "$sata"; fi
# An ordinary user: the controller node is root's alone.
grep -q '^nobody:' /etc/passwd 2>/dev/null || echo 'nobody:x:65534:65534:nobody:/:/bin/sh' >>/etc/passwd
with_stderr check-unprivileged su -s /bin/sh nobody -c "vantrel check $disk"
