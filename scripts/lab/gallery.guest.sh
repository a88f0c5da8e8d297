#!/bin/sh
# Guest side of the gallery check: real-looking drives from the unit tests' gallery,
# served one after another by the emulated USB-to-SATA bridge; smartctl and vantrel read
# each, and compare.py holds vantrel's tier, score and reasons to what an engineer expects.
. /hwlab/lib.sh

block() { echo "LAB-BEGIN $1"; shift; "$@"; echo "LAB-END rc=$?"; }

bridge=$(hwlab_disk_of usbredir0 2>/dev/null)
[ -n "$bridge" ] || { echo "no bridge disk"; exit 1; }
for drive in sandisk-sdssda240g samsung-hm160ji pny-cs900; do
  hwlab_host gallery-drive "$drive"
  sleep 1
  block "$drive-smartctl" smartctl -d sat -a -j "/dev/$bridge"
  block "$drive-check-json" vantrel check "$bridge" --json=report
done
