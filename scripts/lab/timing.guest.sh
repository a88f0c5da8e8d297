#!/bin/sh
# Guest side of the timing check: how long `vantrel list --json` takes against
# `smartctl -x` over the same drives, in one boot. Each side runs three times after a
# warm-up and its fastest run counts, so a stray guest hiccup doesn't decide it. Prints
# the drives and both times in milliseconds between markers compare.py parses.
. /hwlab/lib.sh

block() { echo "LAB-BEGIN $1"; shift; "$@"; echo "LAB-END rc=$?"; }
udevadm settle --timeout=30 2>/dev/null

disks=""
for name in nvme sata usb-bot usb-uas usbredir0; do
  d=$(hwlab_disk_of "$name" 2>/dev/null)
  [ -n "$d" ] && disks="$disks $d"
done

# The guest's date has no sub-second format; /proc/uptime counts in hundredths.
now_ms() {
  read -r up _ </proc/uptime
  echo $(( ${up%.*} * 1000 + $(echo "${up#*.}" | sed 's/^0*//; s/^$/0/') * 10 ))
}

smartctl_all() {
  for d in $disks; do smartctl -x "/dev/$d" >/dev/null 2>&1; done
}
list_json() { vantrel list --json >/dev/null 2>&1; }

# fastest CMD: the fastest of three runs after one warm-up, in milliseconds.
fastest() {
  "$@"
  best=""
  for run in 1 2 3; do
    start=$(now_ms); "$@"; took=$(($(now_ms) - start))
    if [ -z "$best" ] || [ "$took" -lt "$best" ]; then best=$took; fi
  done
  echo "$best"
}

block timing-disks echo "$disks"
block timing-smartctl fastest smartctl_all
block timing-vantrel fastest list_json
block timing-list vantrel list
