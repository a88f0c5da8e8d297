#!/bin/sh
# Guest side of the live ATA checks: prints what smartctl and vantrel read from the same
# SATA disk (libata) or emulated USB-to-SATA bridge (usb-storage or uas), and how vantrel
# answers a USB disk that refuses ATA pass-through, between markers compare.py parses.
# Runs the parts whose devices the lab attached: sata, usb-storage, usbredir0 (the bridge).
. /hwlab/lib.sh

# block NAME CMD...: stdout only, so JSON stays parseable; with_stderr NAME CMD...: both.
block() { echo "LAB-BEGIN $1"; shift; "$@"; echo "LAB-END rc=$?"; }
with_stderr() { echo "LAB-BEGIN $1"; shift; "$@" 2>&1; echo "LAB-END rc=$?"; }

# Everything both tools read from one disk; $1 prefixes the block names, $2 is the disk,
# the rest are smartctl's device options.
read_both() {
  p=$1 d=$2; shift 2
  block "$p-smartctl" smartctl "$@" -a -j "/dev/$d"
  block "$p-check-json" vantrel check "$d" --json=report
}

sata=$(hwlab_disk_of sata 2>/dev/null)
if [ -n "$sata" ]; then
  read_both sata "$sata"
  with_stderr sata-check-text vantrel check "/dev/$sata"
  # A self-test started by vantrel shows in both logs (QEMU logs it at once as passed).
  with_stderr sata-selftest-start vantrel selftest "$sata" short
  sleep 1
  block sata-smartctl-selftest smartctl -l selftest -j "/dev/$sata"
  block sata-selftest-json vantrel selftest "$sata" --json
  block sata-check-after vantrel check "$sata" --json=report
  grep -q '^nobody:' /etc/passwd 2>/dev/null || echo 'nobody:x:65534:65534:nobody:/:/bin/sh' >>/etc/passwd
  with_stderr sata-unprivileged su -s /bin/sh nobody -c "vantrel check $sata"
fi

usb=$(hwlab_disk_of usb-storage 2>/dev/null)
if [ -n "$usb" ]; then
  with_stderr usb-refused vantrel check "$usb"
  with_stderr usb-selftest-refused vantrel selftest "$usb" short
fi

bridge=$(hwlab_disk_of usbredir0 2>/dev/null)
if [ -n "$bridge" ]; then
  echo "bridge driver: $(basename "$(readlink -f /sys/class/block/$bridge/device/../../../driver 2>/dev/null)")"
  read_both bridge "$bridge" -d sat
  with_stderr bridge-selftest-start vantrel selftest "$bridge" short
  block bridge-smartctl-selftest smartctl -d sat -l selftest -j "/dev/$bridge"
  block bridge-selftest-json vantrel selftest "$bridge" --json
  # Followed to its end: the outcome vantrel ends with is the entry smartctl then reads.
  with_stderr bridge-selftest-wait vantrel selftest "$bridge" short --wait
  block bridge-smartctl-after-wait smartctl -d sat -l selftest -j "/dev/$bridge"
  # The monitor's alerts and metrics, with its state in a folder of its own: the healthy
  # drive's tier is what the failing one is compared with below.
  export XDG_DATA_HOME=/tmp/xdg/data XDG_CONFIG_HOME=/tmp/xdg/config XDG_RUNTIME_DIR=/tmp/xdg/run
  mkdir -p "$XDG_RUNTIME_DIR" /tmp/prom
  # A session bus with a stand-in notification service, when the lab brought them: the
  # monitor's notes then go there instead of into its log.
  if command -v dbus-daemon >/dev/null && command -v note_recorder >/dev/null; then
    printf '%s' '<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd"><busconfig><type>session</type>
 <listen>unix:dir=/tmp</listen><policy context="default">
 <allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/>
 </policy></busconfig>' >/tmp/session.conf
    dbus-daemon --config-file=/tmp/session.conf --fork --print-address=1 >/tmp/bus.address
    export DBUS_SESSION_BUS_ADDRESS="$(head -n 1 /tmp/bus.address)"
    note_recorder >/tmp/notes.out 2>&1 &
    i=0; while [ $i -lt 100 ] && ! grep -q '^ready' /tmp/notes.out; do sleep 0.1; i=$((i + 1)); done
  fi
  with_stderr monitor-healthy vantrel monitor --once --textfile /tmp/prom
  block textfile-healthy cat /tmp/prom/vantrel.prom
  block list-healthy vantrel list --json
  # Asleep, the drive is asked whether it sleeps and nothing else: the emulator counts
  # every command that would have spun it up. --wake reads it (one more wake-up).
  hwlab_host satbridge-standby on >/dev/null
  echo "LAB-WOKEN before $(hwlab_host satbridge-woken)"
  with_stderr asleep-list vantrel list
  with_stderr asleep-check vantrel check "$bridge"
  with_stderr asleep-monitor vantrel monitor --once
  echo "LAB-WOKEN after-list-and-check $(hwlab_host satbridge-woken)"
  block asleep-wake vantrel check "$bridge" --wake --json=report
  echo "LAB-WOKEN after-wake $(hwlab_host satbridge-woken)"
  hwlab_host satbridge-config failing
  read_both failing "$bridge" -d sat
  with_stderr failing-check-text vantrel check "$bridge"
  # One "worse" note, then none from a second pass: the silence holds across a restart.
  with_stderr monitor-failing vantrel monitor --once --textfile /tmp/prom
  block textfile-failing cat /tmp/prom/vantrel.prom
  block list-failing vantrel list --json
  with_stderr monitor-failing-again vantrel monitor --once
  block alerts-state sh -c "cat '$XDG_DATA_HOME/vantrel/alerts.json'; echo"
  [ -n "${DBUS_SESSION_BUS_ADDRESS:-}" ] && block notes-recorded cat /tmp/notes.out
fi
