#!/bin/sh
# Guest side of the installed package: the .deb's files (unpacked on the host) with a real
# system bus and polkit daemon. alice, an ordinary user outside group disk, reads the NVMe,
# SATA and bridge drives through the service the bus starts on demand, and gets what root
# reads directly; she is refused a self-test; a USB check of the bridge through the service
# gives the drive back with its volume mounted. Prints, between markers compare.py parses,
# what each said.
. /hwlab/lib.sh

block() { echo "LAB-BEGIN $1"; shift; "$@"; echo "LAB-END rc=$?"; }
with_stderr() { echo "LAB-BEGIN $1"; shift; "$@" 2>&1; echo "LAB-END rc=$?"; }
as_alice() { su -s /bin/sh alice -c "cd /tmp && $*"; }
# The installed program, not the copy the lab puts first on PATH.
V=/usr/bin/vantrel

# An administrator's rule: alice may read health, check USB drives and scan; nothing else
# of Vantrel's is granted, so a self-test needs a password she has no agent to give.
mkdir -p /etc/polkit-1/rules.d
cat > /etc/polkit-1/rules.d/50-vantrel-lab.rules <<'RULES'
polkit.addRule(function(action, subject) {
    if (subject.user == "alice" &&
        (action.id == "com.orlend.vantrel.read-health" || action.id == "com.orlend.vantrel.usb-check" ||
         action.id == "com.orlend.vantrel.surface-scan")) {
        return polkit.Result.YES;
    }
});
RULES
block bus hwlab_system_bus
# The bus starts root's services through its setuid helper, which only its group may run.
chgrp messagebus /usr/lib/dbus-1.0/dbus-daemon-launch-helper && chmod 4754 /usr/lib/dbus-1.0/dbus-daemon-launch-helper

echo "LAB-BEGIN installed"
for f in /usr/bin/vantrel /usr/libexec/vantrel/vantrel-service /usr/lib/systemd/system/vantrel-service.service \
         /usr/share/dbus-1/system-services/com.orlend.vantrel.Service.service \
         /usr/share/dbus-1/system.d/com.orlend.vantrel.Service.conf /usr/share/polkit-1/actions/com.orlend.vantrel.policy \
         /usr/share/applications/com.orlend.vantrel.desktop /etc/xdg/autostart/com.orlend.vantrel.desktop \
         /usr/share/icons/hicolor/scalable/apps/com.orlend.vantrel.svg /usr/share/man/man1/vantrel.1.gz; do
  [ -e "$f" ] && echo "present $f" || echo "missing $f"
done
id alice
echo "LAB-END rc=0"
block activatable dbus-send --system --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.ListActivatableNames
echo "LAB-BEGIN pkcheck"
for action in read-health self-test usb-check surface-scan write-accounting; do
  as_alice "pkcheck --action-id com.orlend.vantrel.$action --process \$\$ >/dev/null 2>&1"
  echo "$action $?"
done
echo "LAB-END rc=0"

nvme=$(hwlab_disk_of nvme); sata=$(hwlab_disk_of sata); bridge=$(hwlab_disk_of usbredir0)
echo "disks: nvme=$nvme sata=$sata bridge=$bridge"

# The service's own methods, asked by alice with dbus-send: the first call starts it.
call() { as_alice "dbus-send --system --print-reply --reply-timeout=120000 --dest=com.orlend.vantrel.Service /com/orlend/vantrel/Service com.orlend.vantrel.Service1.$*"; }
ctrl=${nvme%n*}
with_stderr bus-nvme-log call NVMeHealthLog string:$nvme
echo "LAB-BEGIN root-nvme-log"; nvme smart-log "/dev/$ctrl" -o binary | od -An -tx1 -v; echo "LAB-END rc=$?"
with_stderr bus-ata-identify call ATAIdentify string:$sata byte:16
with_stderr bus-selftest call StartSelfTest string:$sata string:short byte:16
with_stderr bus-bad-name call ATAIdentify string:../sda byte:16
echo "LAB-BEGIN service-process"; ps -o user,args 2>/dev/null | grep '[v]antrel-service' || ps | grep '[v]antrel-service'
echo "LAB-END rc=0"

# Root reads directly; alice asks the service through vantrel.
block root-list $V list --json
block alice-list as_alice "$V list --json"
for d in $nvme $sata $bridge; do
  block "root-check-$d" $V check "$d" --json
  block "alice-check-$d" as_alice "$V check $d --json"
done
with_stderr alice-check-text as_alice "$V check $sata"

# A self-test: authentication is required and nobody can give it.
with_stderr alice-selftest as_alice "$V selftest $sata short"
block root-selftest-after $V selftest "$sata" --json

# A quick scan of the SATA disk: root's reads it directly, alice's runs in the service and
# is saved in her own folder. The kernel's notes on the failed read stay off the console.
dmesg -n 1
block root-scan sh -c "XDG_DATA_HOME=/tmp/root-data $V scan $sata --quick --json 2>/dev/null"
block alice-scan as_alice "XDG_DATA_HOME=/tmp/alice-data $V scan $sata --quick --json 2>/dev/null"
# The file ends without a newline; the marker after it needs a line of its own.
block alice-scans-file sh -c 'cat /tmp/alice-data/vantrel/scans.json && echo'

# The bridge with a mounted FAT volume, checked by alice through the service: unmounted,
# taken from its driver, read, given back and mounted again where it was.
if [ -n "$bridge" ]; then
  mkdosfs -n SVCLAB "/dev/$bridge" >/dev/null && mkdir -p /media/lab/SVCLAB && mount "/dev/$bridge" /media/lab/SVCLAB
  echo "kept" > /media/lab/SVCLAB/kept.txt; sync
  echo "LAB-BEGIN usb-before"; grep ' /media/lab/SVCLAB ' /proc/mounts; echo "LAB-END rc=0"
  back() {
    i=0
    while ! grep -q ' /media/lab/SVCLAB ' /proc/mounts && [ $i -lt 80 ]; do sleep 0.25; i=$((i + 1)); done
    echo "LAB-BEGIN $1"; grep ' /media/lab/SVCLAB ' /proc/mounts; cat /media/lab/SVCLAB/kept.txt
    echo "LAB-END rc=0"
  }
  # Through the service's method, then through vantrel as alice runs it.
  with_stderr bus-usb-check call USBCheck string:$bridge boolean:false
  back bus-usb-after
  block alice-usb-check as_alice "$V check $bridge --capture --json 2>/tmp/usb-check.err"
  block usb-check-progress cat /tmp/usb-check.err
  back usb-after
  # alice scans the bridge's disk by capture through the service: unmounted, taken from its
  # driver, read whole through the enclosure, given back and mounted again.
  block alice-capture-scan as_alice "XDG_DATA_HOME=/tmp/alice-data $V scan $bridge --capture --json 2>/tmp/capture-scan.err"
  block capture-scan-progress cat /tmp/capture-scan.err
  back capture-scan-after
fi
exit 0
