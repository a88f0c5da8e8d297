#!/bin/sh
# Guest side of the discovery fixtures: lays out volumes on the lab's emulated drives the
# way a real machine has them, then prints the part of sysfs, the udev database and the
# mount table that discovery reads, as lines that scripts/lab/sysfs-fixture.py turns back
# into a tree under tests/data/discovery/<name>/.
#
# Host side (from the repository root; -M adds the modules for md, dm-crypt, loop and
# virtio, -f brings the tools busybox lacks, -q adds a virtio disk that must be dropped):
#   truncate -s 16M /tmp/hwlab-vd.img
#   run-lab.sh -w /tmp/hwlab-capture -M md_mod -M raid1 -M dm_crypt -M xts \
#     -M algif_skcipher -M algif_hash -M loop -M virtio_blk -M virtio_pci -M ext4 -M vfat \
#     -M nls_cp437 -M nls_ascii \
#     -f /usr/sbin/mdadm -f /usr/sbin/cryptsetup -f /usr/sbin/sfdisk -f /usr/sbin/blkid \
#     -q -drive -q if=none,id=vd,format=raw,file=/tmp/hwlab-vd.img \
#     -q -device -q virtio-blk-pci,drive=vd \
#     scripts/lab/capture-sysfs.guest.sh > /tmp/capture.log
#   scripts/lab/sysfs-fixture.py /tmp/capture.log tests/data/discovery/lab
#
# Layout made here (every name below is a volume label the tests look for):
#   nvme      GPT: EFI system partition "EFI" (vfat), Linux "system" (ext2) mounted at /
#   sata      GPT: Linux RAID partition (md0 member), LUKS partition opened as "vault"
#             holding "home" (ext2) mounted at /home
#   usb-uas   MBR: type 0xfd partition, the other half of md0 ("mirror", RAID 1), whose
#             "mirrorfs" (ext2) is mounted at /srv
#   usb-bot   GPT: "Backup Disk" (ext2) mounted at "/media/lab/Backup Disk"
#   usb-storage  no partition table: the whole disk is "STICK" (vfat), not mounted
#   sd        MBR: "CAMERA" (vfat) mounted at /media/lab/CAMERA
#   loop0     a file in /tmp; vda the virtio disk: both to be dropped
# The new root is entered with chroot before the mount table is read, so that the system
# partition shows mounted at "/" as on an installed machine.
. /hwlab/lib.sh
set -u
export DM_DISABLE_UDEV=1

fail() { echo "CAPTURE-ERROR $*"; exit 1; }
nvme=$(hwlab_disk_of nvme) || fail "no nvme disk"
sata=$(hwlab_disk_of sata) || fail "no sata disk"
uas=$(hwlab_disk_of usb-uas) || fail "no uas disk"
bot=$(hwlab_disk_of usb-bot) || fail "no bot disk"
stor=$(hwlab_disk_of usb-storage) || fail "no usb-storage disk"
sd=$(hwlab_disk_of sd) || fail "no sd disk"
part() { case $1 in *[0-9]) echo "${1}p$2" ;; *) echo "$1$2" ;; esac; }
settle() { udevadm settle --timeout=30 2>/dev/null; sleep 0.3; }

{
  printf 'label: gpt\nsize=8M, type=C12A7328-F81F-11D2-BA4B-00A0C93EC93B\ntype=0FC63DAF-8483-4772-8E79-3D69D8477DE4\n' | sfdisk -q "/dev/$nvme"
  printf 'label: gpt\nsize=24M, type=A19D880F-05FC-4D3B-A006-743F0F84911E\ntype=0FC63DAF-8483-4772-8E79-3D69D8477DE4\n' | sfdisk -q "/dev/$sata"
  printf 'label: dos\ntype=fd\n' | sfdisk -q "/dev/$uas"
  printf 'label: gpt\ntype=0FC63DAF-8483-4772-8E79-3D69D8477DE4\n' | sfdisk -q "/dev/$bot"
  printf 'label: dos\ntype=c\n' | sfdisk -q "/dev/$sd"
} || fail "partitioning"
settle

mkdosfs -n EFI "/dev/$(part "$nvme" 1)" >/dev/null
mke2fs -q -L system "/dev/$(part "$nvme" 2)" >/dev/null
mke2fs -q -L "Backup Disk" "/dev/$(part "$bot" 1)" >/dev/null
mkdosfs -n STICK "/dev/$stor" >/dev/null
mkdosfs -n CAMERA "/dev/$(part "$sd" 1)" >/dev/null

yes | mdadm --create /dev/md0 --run --level=1 --raid-devices=2 --metadata=1.2 \
  --homehost=lab --name=mirror "/dev/$(part "$sata" 1)" "/dev/$(part "$uas" 1)" >/dev/null 2>&1 \
  || fail "mdadm"
mke2fs -q -L mirrorfs /dev/md0 >/dev/null

printf 'lab-passphrase' > /tmp/key
cryptsetup luksFormat -q --type luks1 --pbkdf-force-iterations 1000 --disable-locks \
  --key-file /tmp/key "/dev/$(part "$sata" 2)" || fail "luksFormat"
cryptsetup open --disable-locks --key-file /tmp/key "/dev/$(part "$sata" 2)" vault || fail "luks open"
mke2fs -q -L home /dev/mapper/vault >/dev/null

dd if=/dev/zero of=/tmp/loop.img bs=1M count=4 2>/dev/null
losetup /dev/loop0 /tmp/loop.img || fail "losetup"
# udev records what blkid finds on each device; the change events of mkfs reach it here.
# The lab copies only the storage rules, which leave md and dm devices alone; a full
# system probes those too (63-md-raid-arrays.rules, 13-dm-disk.rules), so do the same.
mkdir -p /etc/udev/rules.d
echo 'SUBSYSTEM=="block", KERNEL=="md*|dm-*", ACTION=="add|change", IMPORT{builtin}="blkid"' \
  > /etc/udev/rules.d/63-lab-md-dm.rules
udevadm control --reload
udevadm trigger --action=change --subsystem-match=block
settle

r=/newroot
mkdir -p $r
mount "/dev/$(part "$nvme" 2)" $r || fail "mount root"
mkdir -p $r/boot/efi $r/home $r/srv "$r/media/lab/Backup Disk" $r/media/lab/CAMERA \
  $r/proc $r/bin
mount "/dev/$(part "$nvme" 1)" $r/boot/efi
mount /dev/mapper/vault $r/home
mount /dev/md0 $r/srv
mount "/dev/$(part "$bot" 1)" "$r/media/lab/Backup Disk"
mount "/dev/$(part "$sd" 1)" $r/media/lab/CAMERA
mount -t proc proc $r/proc
cp /usr/bin/busybox $r/bin/busybox

# dump FILE: one line with the file's text in base64, when it is readable.
dump() {
  [ -f "$1" ] && [ -r "$1" ] || return 0
  c=$(base64 -w0 < "$1" 2>/dev/null) || return 0
  echo "F $1 $c"
}
link() { [ -L "$1" ] && echo "L $1 $(readlink "$1")"; }

# The attributes discovery reads, on a block device's own folder and on every folder
# above it; anything else stays out of the fixture.
own="dev size partition removable hidden ro queue/rotational queue/logical_block_size
  dm/name dm/uuid"
above="idVendor idProduct busnum devnum devpath speed manufacturer product version
  current_link_speed current_link_width max_link_speed max_link_width removable generation
  type name model vendor rev firmware_rev serial"

echo "CAPTURE-BEGIN"
for b in /sys/class/block/*; do
  n=${b##*/}
  link "$b"
  d=$(readlink -f "$b")
  for f in $own; do dump "$d/$f"; done
  link "$d/device"
  for h in "$d"/holders/* "$d"/slaves/*; do link "$h"; done
  if [ -d "$d/md" ]; then
    for f in level array_state raid_disks degraded sync_action metadata_version; do dump "$d/md/$f"; done
    for m in "$d"/md/dev-*; do
      [ -d "$m" ] || continue
      dump "$m/state"; dump "$m/slot"; link "$m/block"
    done
  fi
  # Every folder above the device: its SCSI device or NVMe controller, the USB device,
  # the PCI functions.
  p=${d%/*}
  while [ -n "$p" ] && [ "$p" != /sys/devices ]; do
    for f in $above; do dump "$p/$f"; done
    p=${p%/*}
  done
  if [ -r "$d/dev" ]; then
    u=/run/udev/data/b$(cat "$d/dev")
    if [ -r "$u" ]; then
      c=$(grep -E '^E:(ID_FS_|ID_PART_ENTRY_|ID_PART_TABLE_|MD_)' "$u" | base64 -w0)
      echo "F $u $c"
    fi
  fi
done
echo "M $(chroot $r /bin/busybox cat /proc/self/mountinfo | base64 -w0)"
echo "CAPTURE-END"

# For the record in the log: what the field's tools say about the same layout.
blkid
cat /proc/mdstat
