#!/bin/sh
# Guest side of the surface-scan checks: full scans of a SATA disk (read live through the
# kernel's SCSI layer) and an NVMe drive (direct reads of the block device), both with bad
# sectors injected by the host, and a quick scan; compare.py knows where the bad sectors are.
. /hwlab/lib.sh
sata=$(hwlab_disk_of sata) || { echo "LAB-ERROR no sata disk"; exit 1; }
nvme=$(hwlab_disk_of nvme) || { echo "LAB-ERROR no nvme disk"; exit 1; }
block() { echo "LAB-BEGIN $1"; shift; "$@"; echo "LAB-END rc=$?"; }
export XDG_DATA_HOME=/tmp/scan-data
block scan-sata vantrel scan "$sata" --full --json
block scan-nvme vantrel scan "/dev/$nvme" --full --json
block scan-quick vantrel scan "$nvme" --quick --json
block scans-file cat /tmp/scan-data/vantrel/scans.json
