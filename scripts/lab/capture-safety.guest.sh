#!/bin/sh
# Guest side of the capture's safety checks, on a Bulk-Only reader with two LUNs (QEMU's
# usb-bot with two scsi-hd, 32 MB on LUN 0 and 16 MB on LUN 1): checking one LUN while the
# other is mounted, swap or an unlocked encrypted volume on a LUN, a SIGHUP and a closed
# pipe mid-capture, a link put in place of a mount folder while the drive is held, and vfat
# options kept on mount-back.
. /hwlab/lib.sh

intf=$(readlink -f "/sys/block/$(hwlab_disk_of usb-bot)" | sed 's#/host[0-9]*/.*##')
usbintf=${intf##*/}

# lun_disk N: the disk of the reader's LUN N, by its SCSI address. Kernel names are given
# in the order the LUNs are probed, which can differ each time the driver binds again.
lun_disk() {
  for b in /sys/block/sd*; do
    case $(readlink -f "$b") in
      "$intf"/*) case $(basename "$(readlink -f "$b/device")") in *:"$1") echo "${b##*/}"; return 0 ;; esac ;;
    esac
  done
  return 1
}
d0=$(lun_disk 0); d1=$(lun_disk 1)

driver() { [ -e "/sys/bus/usb/devices/$usbintf/driver" ] && basename "$(readlink -f "/sys/bus/usb/devices/$usbintf/driver")" || echo none; }
# Waits up to 20 s for both disks to be back after a capture, and takes up their names.
both_back() {
  i=0
  while [ $i -lt 80 ]; do
    lun_disk 0 >/dev/null && lun_disk 1 >/dev/null && break
    sleep 0.25; i=$((i + 1))
  done
  d0=$(lun_disk 0); d1=$(lun_disk 1)
}
wait_for() {  # FILE TEXT: up to 30 s
  i=0
  while [ $i -lt 120 ]; do grep -q "$2" "$1" 2>/dev/null && return 0; sleep 0.25; i=$((i + 1)); done
  return 1
}

mkdosfs -n CARDA "/dev/$d0" >/dev/null; mkdosfs -n CARDB "/dev/$d1" >/dev/null
mkdir -p /media/lab/CARDA /media/lab/CARDB
mount -o uid=1000,gid=1000,fmask=0133,dmask=0022 "/dev/$d0" /media/lab/CARDA
mount "/dev/$d1" /media/lab/CARDB
head -c 65536 /dev/urandom > /media/lab/CARDA/kept.bin
sync
before=$(sha256sum /media/lab/CARDA/kept.bin | cut -d' ' -f1)

echo "LAB-BEGIN safety-luns"
echo "intf=$usbintf lun0=$d0 lun1=$d1 lun1-blocks=$(cat /sys/block/$d1/size)"
vantrel check --capture "$d1" > /tmp/luns.out 2> /tmp/luns.err; echo "rc=$?"
cat /tmp/luns.err
both_back
echo "driver=$(driver)"
ls -la /media/lab/CARDA
echo "after=$(sha256sum /media/lab/CARDA/kept.bin 2>&1 | cut -d' ' -f1) before=$before"
grep " /media/lab/CARDA " /proc/mounts | sed 's/^/mount-a: /'
grep " /media/lab/CARDB " /proc/mounts | sed 's/^/mount-b: /'
echo "LAB-END rc=0"

echo "LAB-BEGIN safety-swap"
umount /media/lab/CARDB
mkswap "/dev/$d1" >/dev/null && swapon "/dev/$d1"
vantrel check --capture "$d0" 2>&1; echo "rc=$?"
echo "driver=$(driver)"
swapoff "/dev/$d1"
mkdosfs -n CARDB "/dev/$d1" >/dev/null
mount "/dev/$d1" /media/lab/CARDB
echo "LAB-END rc=0"

# An unlocked encrypted volume with nothing mounted on it: the mapping is made the way
# cryptsetup makes a LUKS2 one (a dm-crypt table under a CRYPT-LUKS2 uuid), since the
# guest has dmsetup but no cryptsetup.
echo "LAB-BEGIN safety-luks"
umount /media/lab/CARDB
key=$(head -c 32 /dev/urandom | od -An -tx1 | tr -d ' \n')
dmsetup create --noudevsync -u "CRYPT-LUKS2-5c1e0000000000000000000000000000-luks-lab" luks-lab \
  --table "0 $(cat /sys/block/$d1/size) crypt aes-xts-plain64 $key 0 /dev/$d1 0" && echo "mapped=yes"
vantrel check --capture "$d0" 2>&1; echo "rc=$?"
echo "driver=$(driver)"
dmsetup remove --noudevsync luks-lab
mount "/dev/$d1" /media/lab/CARDB
echo "LAB-END rc=0"

echo "LAB-BEGIN safety-pipe"
vantrel check --capture "$d1" 2>&1 | head -n 2
sleep 3; both_back
echo "driver=$(driver)"
echo "LAB-END rc=0"

echo "LAB-BEGIN safety-hup"
for p in /media/lab/CARDA /media/lab/CARDB; do grep -q " $p " /proc/mounts || mount "/dev/$([ $p = /media/lab/CARDA ] && echo $d0 || echo $d1)" $p; done
vantrel check --capture "$d1" > /dev/null 2> /tmp/hup.err &
pid=$!
wait_for /tmp/hup.err "Taking over" && kill -HUP $pid
wait $pid; echo "rc=$?"
cat /tmp/hup.err
both_back
echo "driver=$(driver)"
echo "LAB-END rc=0"

echo "LAB-BEGIN safety-link"
for p in /media/lab/CARDA /media/lab/CARDB; do grep -q " $p " /proc/mounts || mount "/dev/$([ $p = /media/lab/CARDA ] && echo $d0 || echo $d1)" $p; done
mkdir -p /root/target
vantrel check --capture "$d1" > /dev/null 2> /tmp/link.err &
pid=$!
# While the drive is held its folder is empty: a user swaps it for a link.
wait_for /tmp/link.err "Taking over" && rmdir /media/lab/CARDB && ln -s /root/target /media/lab/CARDB
wait $pid; echo "rc=$?"
both_back
cat /tmp/link.err
echo "target-entries=$(ls -A /root/target | wc -l)"
grep -c " /root/target " /proc/mounts | sed 's/^/target-mounts=/'
grep "^/dev/$d1 " /proc/mounts | sed 's/^/lun1-mounted: /'
echo "driver=$(driver)"
echo "LAB-END rc=0"
