#!/usr/bin/env bash
# Runs every hardware-lab scenario: boots a real Linux kernel under QEMU with emulated
# drives, runs vantrel beside the field's own tools (nvme-cli, smartctl) inside the guest,
# and compares what each read on the host. Prints TAP lines and a closing
# "N passed, N failed" line; exits non-zero when a comparison fails.
# A lab that cannot boot (exit 2 to 4 of run-lab.sh) is reported as skipped, not failed:
# it says nothing about vantrel.
# Usage: scripts/lab/run-all.sh PATH/TO/vantrel [SCENARIO...]   (all scenarios without names)
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
vantrel=$(readlink -f "${1:?usage: run-all.sh PATH/TO/vantrel [SCENARIO...]}")
shift
only=" $* "
lab=${HWLAB_DIR:-$(cd "$here/../../../shared/tools/hwlab" 2>/dev/null && pwd)}
if [[ -z "$lab" || ! -x "$lab/run-lab.sh" ]]; then
  echo "lab: skipped: no hardware lab found (set HWLAB_DIR)"; exit 0
fi
work=${HWLAB_WORK_ROOT:-/tmp/vantrel-lab}
mkdir -p "$work"

passed=0; failed=0; skipped=0
# scenario NAME GUEST-SCRIPT [run-lab options...]
scenario() {
  local name=$1 guest=$2; shift 2
  [[ "$only" == "  " || "$only" == *" $name "* ]] || return 0
  local started=$SECONDS
  local log="$work/$name.log"
  # The binary of this scenario (capture-kill runs the one with the lab's hooks), and the
  # vantrel-bus beside it, to which vantrel hands what needs Qt or the system bus.
  local parts=(-f "$vantrel")
  [[ -x "$(dirname "$vantrel")/vantrel-bus" ]] && parts+=(-f "$(dirname "$vantrel")/vantrel-bus")
  "$lab/run-lab.sh" -b 60 -t 300 -s 1 -w "$work/$name" "${parts[@]}" "$@" "$here/$guest" >"$log" 2>&1
  local rc=$?
  if [[ $rc -ge 2 ]]; then
    echo "# lab scenario $name did not run (run-lab exit $rc); see $log"
    skipped=$((skipped + 1)); return
  fi
  local out
  out=$(python3 "$here/compare.py" "$name" "$log")
  local crc=$?
  echo "$out" | grep -E '^(ok|not ok|#)'
  echo "# lab scenario $name: $((SECONDS - started)) s"
  passed=$((passed + $(echo "$out" | grep -c '^ok')))
  failed=$((failed + $(echo "$out" | grep -c '^not ok')))
  [[ $crc -ne 0 && $(echo "$out" | grep -c '^not ok') -eq 0 ]] && failed=$((failed + 1))
}

scenario nvme-healthy nvme-check.guest.sh -d nvme,sata
scenario nvme-read-only nvme-check.guest.sh -d nvme --nvme-critical-warning 8

# The lab's emulated USB-to-SATA bridge, starting healthy; the guest switches it to its
# failing configuration through the host hook. $1 is its transport: bot or uas.
satbridge() {
  printf '%s' "cp '$lab/emu/configs/healthy.json' \"\$HWLAB_WORK/satbridge.json\"; " \
    "exec python3 '$lab/emu/usbredir_satbridge.py' --transport $1" \
    " --image \"\$HWLAB_IMG_DIR/usbredir0.img\" --config \"\$HWLAB_WORK/satbridge.json\""
}
scenario ata-sata ata-check.guest.sh -d sata,usb-storage
# The bridge scenarios also watch `vantrel monitor`'s notes on a session bus of the guest's
# own (dbus-daemon from the host), recorded by a stand-in notification service built here
# against the host's Qt; without a compiler or Qt, the notes are read from its log lines.
notes=()
recorder="$work/note_recorder"
if [[ ! -x "$recorder" || "$here/tools/note_recorder.cpp" -nt "$recorder" ]]; then
  g++ -std=c++20 -fPIC -O1 -o "$recorder" "$here/tools/note_recorder.cpp" \
    $(pkg-config --cflags --libs Qt6DBus Qt6Core 2>/dev/null) 2>"$work/note_recorder.log" || rm -f "$recorder"
fi
[[ -x "$recorder" && -x /usr/bin/dbus-daemon ]] && notes=(-f "$recorder" -f /usr/bin/dbus-daemon)
scenario ata-bridge-bot ata-check.guest.sh -d none -H "$lab/guest/hooks" -U "$(satbridge bot)" "${notes[@]}"
scenario ata-bridge-uas ata-check.guest.sh -d none -H "$lab/guest/hooks" -U "$(satbridge uas)" "${notes[@]}"

# Real-looking drives from the unit tests' gallery, served one after another by the bridge
# (our own hook switches its config): vantrel's tier, score and reasons against expectations.
gallery_bridge() {
  printf '%s' "cp '$here/gallery/sandisk-sdssda240g.json' \"\$HWLAB_WORK/satbridge.json\"; " \
    "exec python3 '$lab/emu/usbredir_satbridge.py' --transport bot" \
    " --image \"\$HWLAB_IMG_DIR/usbredir0.img\" --config \"\$HWLAB_WORK/satbridge.json\""
}
scenario gallery gallery.guest.sh -d none -H "$here/hooks" -U "$(gallery_bridge)"

# Every kind of drive at once: what `vantrel list` shows of each, against the guest's sysfs
# and lsblk. The modules mount the volumes the guest lays out.
scenario list list.guest.sh -d nvme,sata,usb-bot,usb-uas,sd -M ext4 -M vfat -M nls_cp437 \
  -M nls_ascii -f "$(command -v lsblk)"

# The careful USB check: QEMU's Bulk-Only and UAS disks taken from their drivers and given
# back, a SIGKILL mid-capture; then the bridge with the kernel refusing pass-through, read
# by capture and, with the quirk lifted, live.
scenario capture-qemu capture.guest.sh -d usb-bot,usb-uas
scenario capture-bridge capture.guest.sh -d none -H "$lab/guest/hooks" -U "$(satbridge bot)" \
  -A usb-storage.quirks=1209:0001:t

# The careful check interrupted at each of its steps by SIGTERM, SIGINT and SIGKILL: the
# disk's driver, block device and volume come back every time. It holds vantrel at a step
# through a test hook that only the `lab` preset builds in: VANTREL_LAB_BINARY, else
# build/lab/cli/vantrel, built here.
if [[ "$only" == "  " || "$only" == *" capture-kill "* ]]; then
  hooked=${VANTREL_LAB_BINARY:-$here/../../build/lab/cli/vantrel}
  if [[ -z "${VANTREL_LAB_BINARY:-}" ]]; then
    # Built every time (a no-op when nothing changed): a stale hooked binary would test old code.
    (cd "$here/../.." && cmake --preset lab >/dev/null && cmake --build --preset lab --target vantrel >/dev/null)
  fi
  release=$vantrel
  vantrel=$(readlink -f "$hooked")
  scenario capture-kill capture-kill.guest.sh -d usb-bot,usb-uas -M vfat -M nls_cp437 -M nls_ascii
  vantrel=$release
fi

# A Bulk-Only reader with a second LUN (16 MB): the other LUN mounted, swap, a closed pipe,
# SIGHUP, a link swapped in for the mount folder, vfat options on mount-back.
truncate -s 16M "$work/lun1.img"
scenario capture-safety capture-safety.guest.sh -d usb-bot -M vfat -M nls_cp437 -M nls_ascii \
  -M dm_crypt -M xts -f "$(command -v dmsetup)" \
  -q -drive -q "file=$work/lun1.img,if=none,id=lun1,format=raw" \
  -q -device -q "scsi-hd,bus=ubot.0,lun=1,drive=lun1,vendor=HWLAB,product=BOT LUN1"

# `vantrel watch` while a USB disk is plugged in and pulled out through QEMU's monitor.
scenario watch watch.guest.sh -d usb-bot
# `vantrel monitor` while a USB disk is plugged in and pulled out: a pass and a settling
# pass per burst, the new drive's reading kept, a second monitor deferring to the first.
scenario monitor monitor.guest.sh -d usb-bot

# Ejecting: first by the kernel's own calls (no system bus yet), then through udisksd, which
# the guest starts on its own system bus from the host's packages (udisks-tree.sh): a USB
# disk mounted again, refused while held, ejected; an md RAID 1 over two USB disks ejected
# whole.
if [[ "$only" == "  " || "$only" == *" eject "* ]]; then
  if "$here/udisks-tree.sh" "$work/udisks-tree" >"$work/udisks-tree.log" 2>&1; then
    scenario eject eject.guest.sh -d sata,usb-bot,usb-uas,usb-storage -M raid1 -M ext4 \
      -f "$(command -v mkfs.ext4)" -T "$work/udisks-tree:/"
  else
    echo "# lab scenario eject did not run: $(tail -n 1 "$work/udisks-tree.log") (scripts/install-deps.sh --lab)"
    skipped=$((skipped + 1))
  fi
fi

# Surface scans with bad sectors injected (compare.py holds the same LBAs): SATA live
# through SG_IO, NVMe through O_DIRECT, USB Bulk-Only by capture, in one boot.
scenario scan scan.guest.sh -d sata,nvme,usb-bot -e sata:12800 -e sata:40005 -e sata:70016 \
  -e nvme:25600 -e nvme:130944 -e usb-bot:1280 -e usb-bot:50000
# `vantrel bench` on ext4 on a 2.5 GB SATA disk beside the lab's 64 MB ones, and its
# refusals (read-only, too little space, tmpfs, a failed NVMe drive), in one boot. The large
# image is sparse.
rm -f "$work/bench-big.img"; truncate -s 2500M "$work/bench-big.img"
scenario bench bench.guest.sh -d nvme,sata -M ext4 -f "$(command -v mkfs.ext4)" \
  -q -drive -q "file=$work/bench-big.img,if=none,id=benchbig,format=raw" \
  -q -device -q "ide-hd,bus=ahci.1,drive=benchbig,serial=HWLABBENCH01,model=HWLAB BENCH DISK"
rm -f "$work/bench-big.img"
# How long `vantrel list --json` takes against `smartctl -x` over the same drives: NVMe,
# SATA, two USB disks and the bridge, in one boot.
# Two processors, like any computer vantrel runs on: with one, the concurrent reads of a
# list could only take turns, which says nothing of a real machine.
scenario timing timing.guest.sh -s 2 -d nvme,sata,usb-bot,usb-uas -H "$lab/guest/hooks" -U "$(satbridge uas)"

# Write accounting: dd writes known amounts with O_DIRECT to the NVMe drive, one from a
# flatpak-like cgroup scope, while `vantrel writes` counts one live interval.
scenario writes writes.guest.sh -d nvme -f "$(command -v dd)"

# The installed package: the .deb (built by scripts/package.sh) unpacked into a stage with
# this machine's system bus and polkit daemon, copied into the guest as the root tree. An
# ordinary user reads the NVMe, SATA and bridge drives through the service and scans the
# SATA disk (one sector unreadable, as compare.py knows), in one boot.
if [[ "$only" == "  " || "$only" == *" service "* ]]; then
  stage="$work/service-stage"
  if deb=$("$here/../package.sh" 2>"$work/service-package.log" | tail -n 1) && [[ -f "$here/../../$deb" ]]; then
    rm -rf "$stage"; mkdir -p "$stage"
    for p in /usr/bin/dbus-daemon /usr/bin/dbus-send /usr/lib/dbus-1.0/dbus-daemon-launch-helper \
             /usr/share/dbus-1 /etc/dbus-1 /usr/lib/polkit-1/polkitd /usr/share/polkit-1 /etc/polkit-1 \
             /usr/bin/pkcheck; do
      mkdir -p "$stage$(dirname "$p")" && cp -a "$p" "$stage$(dirname "$p")/"
    done
    dpkg-deb -x "$here/../../$deb" "$stage"
    scenario service service.guest.sh -d nvme,sata -e sata:40005 -H "$lab/guest/hooks" -U "$(satbridge bot)" \
      -M vfat -M nls_cp437 -M nls_ascii -T "$stage:/"
  else
    echo "# lab scenario service did not run (scripts/package.sh failed); see $work/service-package.log"
    skipped=$((skipped + 1))
  fi
fi

echo "lab: $passed passed, $failed failed, $skipped skipped"
[[ $failed -eq 0 ]]
