#!/bin/sh
# Guest side of the timing check: how long `vantrel list --json` takes against
# `smartctl -x` over the same drives, in one boot. After a warm-up, each side runs five
# times in a row, three times over, and its fastest five count, so that a stray guest
# hiccup doesn't decide it. Prints the drives and both times per run in milliseconds
# between markers compare.py parses.
#
# Then both again with the guest's address randomization off. The guest is emulated: the
# emulator translates machine code as it first meets it and keeps the translation for
# that code at that address. Every run of a position-independent program lands at new
# addresses, so each run of either tool pays for translating all the code it runs anew,
# most of its time. With randomization off the translations are reused from run to run
# and what is left is each tool's own work. Randomization is set back afterwards.
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

# fastest CMD: after one warm-up, three times five runs back to back; the fastest five's
# time per run in milliseconds. Five runs to a sample, because the clock above counts in
# hundredths: a single run of 40 ms would be off by a quarter.
fastest() {
  "$@"
  best=""
  for sample in 1 2 3; do
    start=$(now_ms); "$@"; "$@"; "$@"; "$@"; "$@"; took=$(($(now_ms) - start))
    if [ -z "$best" ] || [ "$took" -lt "$best" ]; then best=$took; fi
  done
  echo "$((best / 5))"
}

block timing-disks echo "$disks"
block timing-smartctl fastest smartctl_all
block timing-vantrel fastest list_json
block timing-list vantrel list

randomization=$(cat /proc/sys/kernel/randomize_va_space)
echo 0 >/proc/sys/kernel/randomize_va_space
block timing-smartctl-fixed fastest smartctl_all
block timing-vantrel-fixed fastest list_json
echo "$randomization" >/proc/sys/kernel/randomize_va_space
