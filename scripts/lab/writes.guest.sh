#!/bin/sh
# Guest side of the write-accounting checks: while `vantrel writes` counts one live
# interval (20 seconds, long enough for slow emulation), a dd writes a known amount with O_DIRECT to the NVMe drive, and a second dd,
# moved into a flatpak-like cgroup scope first, writes another known amount. Each dd stays
# alive until the interval has ended (its input pipe stays open), since a process that
# ends between two samples takes its count with it. compare.py knows the amounts.
. /hwlab/lib.sh
nvme=$(hwlab_disk_of nvme) || { echo "LAB-ERROR no nvme disk"; exit 1; }
block() { echo "LAB-BEGIN $1"; shift; "$@"; echo "LAB-END rc=$?"; }

grep -q ' /sys/fs/cgroup cgroup2 ' /proc/mounts || mount -t cgroup2 none /sys/fs/cgroup
scope=/sys/fs/cgroup/user.slice/user-1000.slice/app.slice/app-flatpak-org.example.Writer-4242.scope
mkdir -p "$scope"

vantrel writes --seconds 20 --json >/tmp/writes.json 2>/tmp/writes.err &
counting=$!
# The progress line comes once the first snapshot is taken: writers started after it
# count whole.
i=0
while ! grep -q Counting /tmp/writes.err 2>/dev/null && [ $i -lt 300 ]; do sleep 0.1; i=$((i + 1)); done

# 16 MiB from the executable /usr/local/bin/dd (the host's coreutils dd).
( head -c 16777216 /dev/zero; sleep 50 ) | /usr/local/bin/dd of="/dev/$nvme" bs=1M iflag=fullblock oflag=direct \
  2>/tmp/dd-tool.err &
# 8 MiB from inside the scope: the subshell moves itself, and its children follow.
sh -c "echo \$\$ > $scope/cgroup.procs; \
  ( head -c 8388608 /dev/zero; sleep 50 ) | /usr/local/bin/dd of=/dev/$nvme bs=1M seek=32 iflag=fullblock oflag=direct" \
  2>/tmp/dd-app.err &
wait $counting
echo "LAB-BEGIN writes-json"; cat /tmp/writes.json; echo "LAB-END rc=$?"
block writes-progress cat /tmp/writes.err
inscope() { for p in $(cat "$scope/cgroup.procs"); do echo "$p $(readlink /proc/$p/exe)"; done; cat /tmp/dd-app.err; }
block dd-in-scope inscope
block text vantrel writes --seconds 1 2>/dev/null
