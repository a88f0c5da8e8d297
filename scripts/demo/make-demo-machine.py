#!/usr/bin/env python3
"""Writes data/demo/machine.json: the machine `vantrel --demo` shows, described the way the
platform layer sees a real one (see data/demo/README.md).

  nvme0n1   internal NVMe SSD, PCIe 4.0 x4, the system disk (EFI and root), healthy
  nvme1n1   NVMe SSD in a Thunderbolt 3 enclosure, PCIe 3.0 x4 through the tunnel
  sda       internal SATA hard drive that is failing: reallocated, pending and
            off-line uncorrectable sectors, and a self-test that ended in a read failure
  sdb, sdc  two internal SATA SSDs mirrored as md127 (RAID 1, "data")
  sdd       SATA SSD in a USB enclosure with an ASMedia bridge that passes ATA commands
  sde       USB hard drive whose bridge refuses ATA pass-through: its health stays unknown
  mmcblk0   SD card in the laptop's card slot

The pages are laid out byte by byte as drives send them: ATA IDENTIFY DEVICE, SMART READ
DATA and READ THRESHOLDS, the SMART self-test log (each 512 bytes with its checksum), the
NVMe SMART / Health Information log (512 bytes) and Identify Controller (4,096 bytes).
Edit this script, not the JSON; run it from anywhere, it replaces the file."""
import json
import os

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
OUT = os.path.join(ROOT, "data", "demo", "machine.json")

sysfs = {}


def folder(path, **attributes):
    """Attribute files of one sysfs folder; a name may hold a slash ("queue/rotational")."""
    entries = sysfs.setdefault(path, {})
    for name, text in attributes.items():
        entries[name.replace("__", "/")] = text


def attr(path, name, text):
    sysfs.setdefault(path, {})[name] = text


def link(path, target):
    parent, name = path.rsplit("/", 1)
    sysfs.setdefault(parent, {})[name] = {"link": target}


def rel(from_folder, to_path):
    """The relative link target from a folder to a path, as the kernel writes them."""
    return os.path.relpath(to_path, from_folder)


# ---------------------------------------------------------------- byte layout helpers

def le(page, offset, value, width):
    for i in range(width):
        page[offset + i] = (value >> (8 * i)) & 0xFF


def ascii_field(page, offset, width, text):
    """NVMe text fields: ASCII, left aligned, padded with blanks."""
    data = text.encode("ascii").ljust(width, b" ")[:width]
    page[offset:offset + width] = data


def checksum(page):
    """The last byte makes the 512 bytes sum to 0 modulo 256."""
    page[511] = (-sum(page[:511])) & 0xFF


def hex_of(page):
    return bytes(page).hex()


# ---------------------------------------------------------------- NVMe pages

KELVIN = 273


def nvme_smart_log(warning=0, temp_c=35, spare=100, spare_threshold=10, used=0, read_units=0,
                   written_units=0, host_reads=0, host_writes=0, busy_minutes=0, power_cycles=0,
                   power_on_hours=0, unsafe_shutdowns=0, media_errors=0, error_entries=0,
                   warning_temp_minutes=0, critical_temp_minutes=0, sensors=()):
    page = bytearray(512)
    page[0] = warning
    le(page, 1, temp_c + KELVIN, 2)
    page[3] = spare
    page[4] = spare_threshold
    page[5] = used
    le(page, 32, read_units, 16)
    le(page, 48, written_units, 16)
    le(page, 64, host_reads, 16)
    le(page, 80, host_writes, 16)
    le(page, 96, busy_minutes, 16)
    le(page, 112, power_cycles, 16)
    le(page, 128, power_on_hours, 16)
    le(page, 144, unsafe_shutdowns, 16)
    le(page, 160, media_errors, 16)
    le(page, 176, error_entries, 16)
    le(page, 192, warning_temp_minutes, 4)
    le(page, 196, critical_temp_minutes, 4)
    for i, sensor in enumerate(sensors[:8]):
        le(page, 200 + 2 * i, sensor + KELVIN, 2)
    return page


def nvme_identify_controller(vid, ssvid, serial, model, firmware, oui, capacity_bytes,
                             version=0x00010400, warning_temp_c=82, critical_temp_c=85,
                             power_states=((800, 0), (700, 0), (550, 0), (5, 1), (1, 1))):
    page = bytearray(4096)
    le(page, 0, vid, 2)
    le(page, 2, ssvid, 2)
    ascii_field(page, 4, 20, serial)
    ascii_field(page, 24, 40, model)
    ascii_field(page, 64, 8, firmware)
    page[72] = 2                      # RAB: recommended arbitration burst
    le(page, 73, oui, 3)              # IEEE OUI, least significant byte first
    page[77] = 9                      # MDTS: 2^9 minimum pages
    le(page, 78, 6, 2)                # CNTLID
    le(page, 80, version, 4)          # VER
    le(page, 84, 200000, 4)           # RTD3R, microseconds
    le(page, 88, 1000000, 4)          # RTD3E
    le(page, 92, 0x200, 4)            # OAER: firmware activation notices
    le(page, 96, 0x2, 4)              # CTRATT: non-operational power states
    page[111] = 1                     # CNTRLTYPE: I/O controller
    le(page, 256, 0x0017, 2)          # OACS: security, format, firmware, self-test
    page[258] = 7                     # ACL
    page[259] = 3                     # AERL
    page[260] = 0x16                  # FRMW: three slots, activation without reset
    page[261] = 0x0F                  # LPA: per-namespace SMART, command effects, ...
    page[262] = 63                    # ELPE: 64 error log entries
    page[263] = len(power_states) - 1 # NPSS
    page[264] = 1                     # AVSCC
    page[265] = 1                     # APSTA
    le(page, 266, warning_temp_c + KELVIN, 2)   # WCTEMP
    le(page, 268, critical_temp_c + KELVIN, 2)  # CCTEMP
    le(page, 280, capacity_bytes, 16)           # TNVMCAP
    page[512] = 0x66                  # SQES
    page[513] = 0x44                  # CQES
    le(page, 516, 1, 4)               # NN: one namespace
    le(page, 520, 0x005F, 2)          # ONCS: compare, write uncorrectable, DSM, ...
    page[525] = 1                     # VWC: volatile write cache
    le(page, 536, 0x1, 4)             # SGLS
    nqn = ("nqn.2014.08.org.nvmexpress:%04x%04x%s%s" % (vid, ssvid, serial, model)).encode()
    page[768:768 + len(nqn)] = nqn    # SUBNQN
    for i, (centiwatts, non_operational) in enumerate(power_states):
        at = 2048 + 32 * i
        le(page, at, centiwatts, 2)
        page[at + 3] = 0x02 if non_operational else 0
    return page


# ---------------------------------------------------------------- ATA pages

def ata_identify(model, serial, firmware, sectors, rotation, sata_gen=3, physical_4k=False,
                 form_factor=3, trim=False, wwn=(0x5000, 0x0000, 0x0000, 0x0000)):
    page = bytearray(512)

    def word(w, value):
        le(page, 2 * w, value, 2)

    def ata_string(first, words, text):
        # Two characters a word, the first in the high byte.
        data = text.encode("ascii").ljust(2 * words, b" ")[:2 * words]
        for i in range(words):
            word(first + i, data[2 * i] << 8 | data[2 * i + 1])

    lba28 = min(sectors, 0x0FFFFFFF)
    word(0, 0x0040)                   # fixed device
    word(1, 16383)
    word(2, 0xC837)
    word(3, 16)
    word(6, 63)
    ata_string(10, 10, serial)
    ata_string(23, 4, firmware)
    ata_string(27, 20, model)
    word(47, 0x8010)                  # READ/WRITE MULTIPLE: 16 sectors
    word(48, 0x4000)
    word(49, 0x2F00)                  # LBA, DMA, IORDY, standby timer
    word(50, 0x4000)
    word(53, 0x0007)
    word(54, 16383)
    word(55, 16)
    word(56, 63)
    word(57, 0xFC10)
    word(58, 0x00FB)
    word(59, 0x0110)
    word(60, lba28 & 0xFFFF)
    word(61, lba28 >> 16)
    word(63, 0x0007)                  # multiword DMA 0-2
    word(64, 0x0003)                  # PIO 3 and 4
    for w in (65, 66, 67, 68):
        word(w, 120)
    word(69, 0x4000 if trim else 0)   # deterministic data after TRIM
    word(75, 0x001F)                  # queue depth 32
    # SATA capabilities: generations 1 to sata_gen, NCQ, host power management.
    word(76, sum(1 << g for g in range(1, sata_gen + 1)) | 0x0700)
    word(77, sata_gen << 1)           # current speed
    word(78, 0x004C)
    word(79, 0x0040)
    word(80, 0x07F0)                  # ATA/ATAPI-4 to ACS-3
    word(81, 0x006D)
    word(82, 0x746B)                  # SMART, security, power management, caches, NOP
    word(83, 0x7400)                  # 48-bit, FLUSH CACHE (EXT)
    word(84, 0x4123)                  # SMART error log and self-test, GPL, WWN
    word(85, 0x7469)                  # SMART enabled
    word(86, 0xB400)
    word(87, 0x4123)
    word(88, 0x407F)                  # UDMA 0-6, mode 6 selected
    for i in range(4):
        word(100 + i, (sectors >> (16 * i)) & 0xFFFF)
    word(106, 0x6003 if physical_4k else 0x4000)
    for i, value in enumerate(wwn):
        word(108 + i, value)
    word(119, 0x4000)
    word(120, 0x4000)
    word(168, form_factor)
    word(169, 0x0001 if trim else 0)
    word(217, rotation)
    word(222, 0x107F)                 # SATA
    page[510] = 0xA5                  # integrity word: signature, then the checksum
    checksum(page)
    return page


def smart_data(attributes, offline_status=0x82, self_test_status=0x00, offline_seconds=600,
               short_minutes=2, extended_minutes=120):
    page = bytearray(512)
    le(page, 0, 0x0010, 2)
    for slot, (aid, flags, value, worst, raw, _) in enumerate(attributes):
        at = 2 + 12 * slot
        page[at] = aid
        le(page, at + 1, flags, 2)
        page[at + 3] = value
        page[at + 4] = worst
        le(page, at + 5, raw, 6)
    page[362] = offline_status
    page[363] = self_test_status
    le(page, 364, offline_seconds, 2)
    page[367] = 0x7B                  # off-line capabilities
    le(page, 368, 0x0003, 2)          # saves data on power-down, autosave timer
    page[370] = 0x01                  # error logging
    page[372] = short_minutes
    if extended_minutes < 0xFF:
        page[373] = extended_minutes
    else:
        page[373] = 0xFF
        le(page, 375, extended_minutes, 2)
    page[374] = 2                     # conveyance
    checksum(page)
    return page


def smart_thresholds(attributes):
    page = bytearray(512)
    le(page, 0, 0x0010, 2)
    for slot, (aid, _, _, _, _, threshold) in enumerate(attributes):
        page[2 + 12 * slot] = aid
        page[2 + 12 * slot + 1] = threshold
    checksum(page)
    return page


def self_test_log(tests):
    """tests: (subcommand, status byte, power-on hours, failing LBA), oldest first."""
    page = bytearray(512)
    le(page, 0, 0x0001, 2)
    for i, (subcommand, status, hours, lba) in enumerate(tests[-21:]):
        at = 2 + 24 * i
        page[at] = subcommand
        page[at + 1] = status
        le(page, at + 2, hours, 2)
        le(page, at + 5, lba, 4)
    page[508] = min(len(tests), 21)
    checksum(page)
    return page


SHORT, EXTENDED = 0x01, 0x02
PASSED, READ_FAILURE = 0x00, 0x70

# (id, flags, value, worst, raw, threshold)
failing_hdd = [
    (1, 0x000F, 72, 64, 0x0000_0B3A_91C4, 6),
    (3, 0x0003, 96, 95, 0, 0),
    (4, 0x0032, 97, 97, 3204, 20),
    (5, 0x0033, 97, 97, 56, 10),
    (7, 0x000F, 84, 60, 0x0000_0001_2A44_B1E0, 45),
    (9, 0x0032, 57, 57, 38211, 0),
    (10, 0x0013, 100, 100, 0, 97),
    (12, 0x0032, 97, 97, 3198, 20),
    (183, 0x0032, 100, 100, 0, 0),
    (184, 0x0032, 100, 100, 0, 99),
    (187, 0x0032, 88, 88, 12, 0),
    (188, 0x0032, 100, 99, 2, 0),
    (189, 0x003A, 100, 100, 0, 0),
    (190, 0x0022, 59, 48, 41, 40),
    (193, 0x0032, 71, 71, 58812, 0),
    (194, 0x0022, 41, 52, 41, 0),
    (197, 0x0012, 100, 100, 24, 0),
    (198, 0x0010, 100, 100, 24, 0),
    (199, 0x003E, 200, 200, 0, 0),
    (240, 0x0000, 100, 253, 36544, 0),
    (241, 0x0000, 100, 253, 61_528_113_204, 0),
    (242, 0x0000, 100, 253, 233_904_288_510, 0),
]
FAILING_LBA = 173_429_612


def sata_ssd(power_on_hours, cycles, temp_c, wear_used, written_lbas):
    return [
        (5, 0x0033, 100, 100, 0, 10),
        (9, 0x0032, 99, 99, power_on_hours, 0),
        (12, 0x0032, 99, 99, cycles, 0),
        (177, 0x0013, 100 - wear_used, 100 - wear_used, wear_used * 6, 0),
        (179, 0x0013, 100, 100, 0, 10),
        (181, 0x0032, 100, 100, 0, 10),
        (182, 0x0032, 100, 100, 0, 10),
        (183, 0x0013, 100, 100, 0, 10),
        (187, 0x0032, 100, 100, 0, 0),
        (190, 0x0032, 100 - temp_c, 100 - temp_c - 12, temp_c, 0),
        (195, 0x001A, 200, 200, 0, 0),
        (199, 0x003E, 100, 100, 0, 0),
        (235, 0x0012, 99, 99, 37, 0),
        (241, 0x0032, 99, 99, written_lbas, 0),
    ]


def usb_ssd():
    # The attribute set of a common SATA SSD with a lifetime-remaining attribute.
    return [
        (1, 0x002F, 100, 100, 0, 0),
        (5, 0x0032, 100, 100, 0, 10),
        (9, 0x0032, 100, 100, 2211, 0),
        (12, 0x0032, 100, 100, 418, 0),
        (171, 0x0032, 100, 100, 0, 0),
        (172, 0x0032, 100, 100, 0, 0),
        (173, 0x0032, 96, 96, 61, 0),
        (174, 0x0032, 100, 100, 29, 0),
        (183, 0x0032, 100, 100, 0, 0),
        (184, 0x0032, 100, 100, 0, 0),
        (187, 0x0032, 100, 100, 0, 0),
        (194, 0x0022, 64, 51, 36, 0),
        (196, 0x0032, 100, 100, 0, 0),
        (197, 0x0032, 100, 100, 0, 0),
        (198, 0x0030, 100, 100, 0, 0),
        (199, 0x0032, 100, 100, 0, 0),
        (202, 0x0030, 96, 96, 4, 1),
        (206, 0x000E, 100, 100, 0, 0),
        (246, 0x0032, 100, 100, 9_846_129_312, 0),
    ]


# ---------------------------------------------------------------- the machine

blocks = {}      # what a probe finds on each block device
mountinfo = []   # the kernel's lines
space = {}       # how full each mounted file system is: mount point -> (free, total)
nvme = {}
scsi = {}
mount_ids = iter(range(60, 200))


def mount(dev, point, fs, source, options="rw,relatime", total=None, free=None):
    if total is not None:
        space[point] = {"free": free, "total": total}
    mountinfo.append("%d 22 %s / %s %s shared:%d - %s %s rw" %
                     (next(mount_ids), dev, point.replace(" ", "\\040"), options, len(mountinfo) + 1, fs, source))


def pci(path, speed, width, max_speed=None, max_width=None, removable="fixed"):
    folder(path, current_link_speed=speed, current_link_width=width,
           max_link_speed=max_speed or speed, max_link_width=max_width or width, removable=removable)


def disk(name, path, dev, sectors, rotational, stat, removable="0", max_kb="512", block_size="512"):
    folder(path, dev=dev, size=str(sectors), removable=removable, stat=stat, ro="0")
    folder(path, queue__rotational=rotational, queue__logical_block_size=block_size,
           queue__physical_block_size=block_size, queue__max_hw_sectors_kb=max_kb)
    link("/sys/class/block/" + name, rel("/sys/class/block", path))


def partition(name, disk_path, number, dev, start, sectors):
    path = disk_path + "/" + name
    folder(path, dev=dev, size=str(sectors), start=str(start), partition=str(number))
    link("/sys/class/block/" + name, rel("/sys/class/block", path))
    return path


def stat(reads, read_sectors, writes, write_sectors):
    return "%8d %8d %8d %8d %8d %8d %8d %8d %8d %8d %8d" % (
        reads, reads // 9, read_sectors, reads // 3, writes, writes // 4, write_sectors,
        writes // 2, 0, (reads + writes) // 5, (reads + writes) // 2)


GPT_ESP = "C12A7328-F81F-11D2-BA4B-00A0C93EC93B"
GPT_LINUX = "0FC63DAF-8483-4772-8E79-3D69D8477DE4"
GPT_BASIC_DATA = "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7"
GPT_LINUX_RAID = "A19D880F-05FC-4D3B-A006-743F0F84911E"

# Internal NVMe SSD: the system disk.
root_port = "/sys/devices/pci0000:00/0000:00:06.0"
pci(root_port, "16.0 GT/s PCIe", "4")
fn = root_port + "/0000:02:00.0"
pci(fn, "16.0 GT/s PCIe", "4")
ctrl = fn + "/nvme/nvme0"
folder(ctrl, model="Samsung SSD 980 PRO 1TB                 ", serial="S5GXNX0T812345K     ",
       firmware_rev="5B2QGXA7", transport="pcie", state="live", cntlid="6")
link("/sys/class/nvme/nvme0", rel("/sys/class/nvme", ctrl))
n0 = ctrl + "/nvme0n1"
disk("nvme0n1", n0, "259:0", 1953525168, "0", stat(4_182_113, 301_226_448, 9_733_201, 612_337_920),
     max_kb="128")
link(n0 + "/device", "../../nvme0")
partition("nvme0n1p1", n0, 1, "259:1", 2048, 1_050_624)
partition("nvme0n1p2", n0, 2, "259:2", 1_052_672, 1_952_470_671)
blocks["nvme0n1"] = {}
blocks["nvme0n1p1"] = {"type": "vfat", "label": "EFI", "usage": "filesystem", "partitionType": GPT_ESP}
blocks["nvme0n1p2"] = {"type": "ext4", "label": "system", "usage": "filesystem", "partitionType": GPT_LINUX}
mountinfo.append("22 1 259:2 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw")
space["/"] = {"free": 412_301_004_800, "total": 982_012_411_904}
mountinfo.append("23 22 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:2 - proc proc rw")
mountinfo.append("24 22 0:22 / /sys rw,nosuid,nodev,noexec,relatime shared:3 - sysfs sysfs rw")
mountinfo.append("25 22 0:23 / /run rw,nosuid,nodev shared:4 - tmpfs tmpfs rw,mode=755")
mount("259:1", "/boot/efi", "vfat", "/dev/nvme0n1p1", "rw,relatime,fmask=0077,dmask=0077",
      total=535_805_952, free=473_001_984)
nvme["nvme0"] = {
    "smartLog": hex_of(nvme_smart_log(temp_c=38, used=4, read_units=41_882_310, written_units=53_204_771,
                                      host_reads=612_004_119, host_writes=803_551_270, busy_minutes=1_842,
                                      power_cycles=812, power_on_hours=3_120, unsafe_shutdowns=19,
                                      error_entries=2, sensors=(38, 44))),
    "identifyController": hex_of(nvme_identify_controller(
        0x144D, 0x144D, "S5GXNX0T812345K", "Samsung SSD 980 PRO 1TB", "5B2QGXA7", 0x002538,
        1_000_204_886_016)),
}

# NVMe SSD in a Thunderbolt 3 enclosure: the PCI path runs through the host controller's
# downstream port; the NHI beside it holds the domain with both routers.
tb_root = "/sys/devices/pci0000:00/0000:00:07.0"
pci(tb_root, "8.0 GT/s PCIe", "4")
up_port = tb_root + "/0000:05:00.0"
pci(up_port, "8.0 GT/s PCIe", "4")
nhi = up_port + "/0000:06:00.0"
pci(nhi, "2.5 GT/s PCIe", "4")
folder(nhi + "/domain0/0-0", generation="3", vendor_name="Demo Computers", device_name="Laptop 14")
folder(nhi + "/domain0/0-0/0-1", generation="3", vendor_name="OWC", device_name="Envoy Express")
link("/sys/bus/thunderbolt/devices/0-0", rel("/sys/bus/thunderbolt/devices", nhi + "/domain0/0-0"))
link("/sys/bus/thunderbolt/devices/0-1", rel("/sys/bus/thunderbolt/devices", nhi + "/domain0/0-0/0-1"))
down = up_port + "/0000:06:01.0"
pci(down, "2.5 GT/s PCIe", "4", "8.0 GT/s PCIe", "4")
enc_up = down + "/0000:07:00.0"
pci(enc_up, "8.0 GT/s PCIe", "4", removable="removable")
enc_down = enc_up + "/0000:08:04.0"
pci(enc_down, "8.0 GT/s PCIe", "4", removable="removable")
tfn = enc_down + "/0000:09:00.0"
pci(tfn, "8.0 GT/s PCIe", "4", removable="removable")
tctrl = tfn + "/nvme/nvme1"
folder(tctrl, model="Samsung SSD 970 EVO Plus 2TB            ", serial="S4J4NX0R600183X     ",
       firmware_rev="2B2QEXM7", transport="pcie", state="live", cntlid="4")
link("/sys/class/nvme/nvme1", rel("/sys/class/nvme", tctrl))
n1 = tctrl + "/nvme1n1"
disk("nvme1n1", n1, "259:3", 3907029168, "0", stat(902_114, 88_120_306, 1_220_871, 240_998_112), max_kb="128")
link(n1 + "/device", "../../nvme1")
partition("nvme1n1p1", n1, 1, "259:4", 2048, 3_907_027_087)
blocks["nvme1n1p1"] = {"type": "exfat", "label": "Projects", "usage": "filesystem",
                       "partitionType": GPT_BASIC_DATA}
mount("259:4", "/media/demo/Projects", "exfat", "/dev/nvme1n1p1", "rw,nosuid,nodev,relatime",
      total=2_000_381_018_112, free=611_004_928_000)
nvme["nvme1"] = {
    "smartLog": hex_of(nvme_smart_log(temp_c=46, used=21, read_units=120_422_981, written_units=281_337_412,
                                      host_reads=2_004_981_220, host_writes=3_911_204_567, busy_minutes=9_406,
                                      power_cycles=1_503, power_on_hours=11_482, unsafe_shutdowns=241,
                                      error_entries=31, warning_temp_minutes=12, sensors=(46, 53))),
    "identifyController": hex_of(nvme_identify_controller(
        0x144D, 0x144D, "S4J4NX0R600183X", "Samsung SSD 970 EVO Plus 2TB", "2B2QEXM7", 0x002538,
        2_000_398_934_016, version=0x00010300)),
}

# Internal SATA: the AHCI controller with a failing hard drive and the mirrored SSDs.
ahci = "/sys/devices/pci0000:00/0000:00:17.0"


def sata_disk(port, host, name, letter_dev, model, revision, sectors, rotational, stat_line):
    sdev = "%s/ata%d/host%d/target%d:0:0/%d:0:0:0" % (ahci, port, host, host, host)
    folder(sdev, vendor="ATA     ", model=model[:16].ljust(16), rev=revision[:4], ioerr_cnt="0x0",
           iodone_cnt="0x1a2b3c", state="running")
    path = sdev + "/block/" + name
    disk(name, path, letter_dev, sectors, rotational, stat_line)
    link(path + "/device", "../../../%d:0:0:0" % host)
    return path, sdev


sda, sda_dev = sata_disk(1, 0, "sda", "8:0", "ST2000DM008-2FR102", "0001", 3907029168, "1",
                         stat(2_318_440, 910_224_880, 402_113, 88_201_344))
attr(sda_dev, "ioerr_cnt", "0x2f")
partition("sda1", sda, 1, "8:1", 2048, 3_907_027_087)
blocks["sda1"] = {"type": "ext4", "label": "Archive", "usage": "filesystem", "partitionType": GPT_LINUX}
mount("8:1", "/srv/archive", "ext4", "/dev/sda1", total=1_967_317_618_688, free=402_118_004_736)
scsi["sda"] = {
    "vendor": "ATA", "product": "ST2000DM008-2FR1", "revision": "0001", "blocks": 3907029168,
    "unreadableBlocks": [FAILING_LBA, FAILING_LBA + 1, FAILING_LBA + 9],
    "identify": hex_of(ata_identify("ST2000DM008-2FR102", "ZFL2RT4K", "0001", 3907029168, 7200,
                                    physical_4k=True, form_factor=2, wwn=(0x5000, 0xC500, 0xD3A1, 0x77E2))),
    "smartData": hex_of(smart_data(failing_hdd, self_test_status=READ_FAILURE, offline_seconds=584,
                                   short_minutes=1, extended_minutes=211)),
    "smartThresholds": hex_of(smart_thresholds(failing_hdd)),
    "selfTestLog": hex_of(self_test_log([
        (SHORT, PASSED, 35_012, 0), (EXTENDED, PASSED, 35_140, 0), (SHORT, PASSED, 37_020, 0),
        (SHORT, READ_FAILURE | 0x09, 38_166, FAILING_LBA), (EXTENDED, READ_FAILURE | 0x03, 38_199, FAILING_LBA)])),
}

md_path = "/sys/devices/virtual/block/md127"
members = []
for port, host, name, dev, model, serial, revision, hours, cycles, temp, wear, written in (
        (2, 1, "sdb", "8:16", "Samsung SSD 870 EVO 1TB", "S6PTNM0T512044A", "SVT02B6Q", 14_201, 640, 31, 3,
         38_221_009_113),
        (3, 2, "sdc", "8:32", "Samsung SSD 870 EVO 1TB", "S6PTNM0T512047H", "SVT02B6Q", 14_198, 639, 33, 3,
         38_190_225_410)):
    path, _ = sata_disk(port, host, name, dev, model, revision, 1953525168, "0",
                        stat(6_220_417, 1_422_008_112, 3_014_228, 980_224_816))
    member = name + "1"
    major, minor = dev.split(":")
    mpath = partition(member, path, 1, "%s:%d" % (major, int(minor) + 1), 2048, 1_953_523_087)
    link(mpath + "/holders/md127", rel(mpath + "/holders", md_path))
    link(md_path + "/slaves/" + member, rel(md_path + "/slaves", mpath))
    blocks[member] = {"type": "linux_raid_member", "label": "demo:data", "usage": "raid",
                      "partitionType": GPT_LINUX_RAID}
    members.append(member)
    attributes = sata_ssd(hours, cycles, temp, wear, written)
    scsi[name] = {
        "vendor": "ATA", "product": model[:16], "revision": revision[-4:], "blocks": 1953525168,
        "identify": hex_of(ata_identify(model, serial, revision, 1953525168, 1, form_factor=3, trim=True,
                                        wwn=(0x5002, 0x5388, 0x4190, 0x0000 + port))),
        "smartData": hex_of(smart_data(attributes, offline_status=0x00, offline_seconds=0,
                                       short_minutes=2, extended_minutes=85)),
        "smartThresholds": hex_of(smart_thresholds(attributes)),
        "selfTestLog": hex_of(self_test_log([(SHORT, PASSED, hours - 700, 0), (SHORT, PASSED, hours - 12, 0)])),
    }
folder(md_path, dev="9:127", size="1953257472", removable="0", stat=stat(1_002_331, 402_113_208, 88_120, 9_220_816))
folder(md_path, queue__rotational="0", queue__logical_block_size="512")
folder(md_path + "/md", level="raid1", array_state="clean", raid_disks="2", degraded="0",
       metadata_version="1.2", sync_action="idle")
for slot, member in enumerate(members):
    folder(md_path + "/md/dev-" + member, state="in_sync", slot=str(slot), errors="0")
    link(md_path + "/md/rd%d" % slot, "dev-" + member)
link("/sys/class/block/md127", rel("/sys/class/block", md_path))
blocks["md127"] = {"type": "ext4", "label": "data", "usage": "filesystem"}
mount("9:127", "/srv/data", "ext4", "/dev/md127", total=983_349_346_304, free=301_991_141_376)

# USB: the xHCI controller, a SuperSpeed bus.
xhci = "/sys/devices/pci0000:00/0000:00:14.0"
pci(xhci, "2.5 GT/s PCIe", "1")


def usb_device(bus, devpath, devnum, vendor, product, manufacturer, product_name, speed, serial):
    path = "%s/usb%d/%d-%s" % (xhci, bus, bus, devpath)
    folder(path, idVendor="%04x" % vendor, idProduct="%04x" % product, busnum=str(bus), devnum=str(devnum),
           devpath=devpath, speed=speed, manufacturer=manufacturer, product=product_name, serial=serial,
           bDeviceClass="00", bcdUSB="3.20" if speed == "5000" else "2.10", version=" 3.20")
    return path


def usb_disk(usb_path, bus, devpath, driver, host, name, dev, vendor, model, revision, sectors, rotational,
             stat_line):
    interface = "%s/%d-%s:1.0" % (usb_path, bus, devpath)
    folder(interface, bInterfaceClass="08", bInterfaceSubClass="06",
           bInterfaceProtocol="62" if driver == "uas" else "50")
    link(interface + "/driver", rel(interface, "/sys/bus/usb/drivers/" + driver))
    sdev = "%s/host%d/target%d:0:0/%d:0:0:0" % (interface, host, host, host)
    folder(sdev, vendor=vendor[:8].ljust(8), model=model[:16].ljust(16), rev=revision[:4], ioerr_cnt="0x0",
           state="running")
    path = sdev + "/block/" + name
    disk(name, path, dev, sectors, rotational, stat_line, max_kb="240" if driver == "usb-storage" else "1024")
    link(path + "/device", "../../../%d:0:0:0" % host)
    return path


folder("/sys/bus/usb/drivers/uas")
folder("/sys/bus/usb/drivers/usb-storage")

# A SATA SSD in an enclosure whose ASMedia bridge passes ATA commands; the bridge calls
# every medium rotating.
asm = usb_device(2, "1", 2, 0x174C, 0x55AA, "ASMedia", "ASM1153E", "5000", "0000000000000182")
sdd = usb_disk(asm, 2, "1", "uas", 4, "sdd", "8:48", "ASMT", "CT500MX500SSD1", "0", 976773168, "1",
               stat(120_443, 40_220_112, 48_002, 19_880_224))
partition("sdd1", sdd, 1, "8:49", 2048, 976_771_087)
blocks["sdd1"] = {"type": "exfat", "label": "Photos", "usage": "filesystem", "partitionType": GPT_BASIC_DATA}
mount("8:49", "/media/demo/Photos", "exfat", "/dev/sdd1", "rw,nosuid,nodev,relatime",
      total=500_105_216_000, free=88_430_002_176)
ssd = usb_ssd()
scsi["sdd"] = {
    "vendor": "ASMT", "product": "CT500MX500SSD1", "revision": "0", "blocks": 976773168,
    "identify": hex_of(ata_identify("CT500MX500SSD1", "2049E4C1A77D", "M3CR043", 976773168, 1, form_factor=3,
                                    trim=True, wwn=(0x500A, 0x0751, 0xE4C1, 0xA77D))),
    "smartData": hex_of(smart_data(ssd, offline_status=0x80, offline_seconds=0, short_minutes=2,
                                   extended_minutes=30)),
    "smartThresholds": hex_of(smart_thresholds(ssd)),
    "selfTestLog": hex_of(self_test_log([(SHORT, PASSED, 2_100, 0)])),
}

# A portable hard drive whose bridge refuses ATA pass-through: size and volumes only.
port = usb_device(2, "2", 3, 0x0480, 0xA202, "Toshiba", "External USB 3.0", "5000", "20230715004821F")
sde = usb_disk(port, 2, "2", "usb-storage", 5, "sde", "8:64", "TOSHIBA", "External USB 3.0", "0",
               3907029164, "1", stat(33_410, 9_224_880, 12_220, 7_440_118))
partition("sde1", sde, 1, "8:65", 2048, 3_907_027_083)
blocks["sde1"] = {"type": "ntfs", "label": "Backup", "usage": "filesystem", "partitionType": GPT_BASIC_DATA}
mount("8:65", "/media/demo/Backup", "fuseblk", "/dev/sde1", "rw,nosuid,nodev,relatime",
      total=2_000_396_742_656, free=1_204_112_883_712)
scsi["sde"] = {"vendor": "TOSHIBA", "product": "External USB 3.0", "revision": "0", "blocks": 3907029164,
               "passesATA": False}

# SD card in the laptop's own slot (an SD host controller on PCI).
sdhci = "/sys/devices/pci0000:00/0000:00:1c.0/0000:03:00.0"
pci("/sys/devices/pci0000:00/0000:00:1c.0", "2.5 GT/s PCIe", "1")
pci(sdhci, "2.5 GT/s PCIe", "1")
card = sdhci + "/mmc_host/mmc0/mmc0:aaaa"
folder(card, type="SD", name="SD64G", manfid="0x000003", oemid="0x5344", date="08/2023", serial="0x7d3c1b20")
mmc = card + "/block/mmcblk0"
disk("mmcblk0", mmc, "179:0", 124_735_488, "0", stat(20_114, 3_208_880, 4_402, 1_120_008), max_kb="512")
link(mmc + "/device", "../../../mmc0:aaaa")
partition("mmcblk0p1", mmc, 1, "179:1", 32768, 124_702_720)
blocks["mmcblk0p1"] = {"type": "exfat", "label": "EOS_DIGITAL", "usage": "filesystem", "partitionType": "0x07"}
mount("179:1", "/media/demo/EOS_DIGITAL", "exfat", "/dev/mmcblk0p1", "rw,nosuid,nodev,relatime",
      total=63_847_792_640, free=41_200_001_024)

machine = {
    "demoMachineVersion": 1,
    "about": "A laptop with a docked desk: written by scripts/demo/make-demo-machine.py; edit the script.",
    "now": "2026-03-14T09:30:00Z",
    "workingDirectory": "/home/demo",
    "sysfs": sysfs,
    "mountinfo": mountinfo,
    "blockDevices": blocks,
    "volumeSpace": space,
    "nvme": nvme,
    "scsi": scsi,
}

os.makedirs(os.path.dirname(OUT), exist_ok=True)
with open(OUT, "w") as out:
    json.dump(machine, out, indent=1)
    out.write("\n")
print("wrote", os.path.relpath(OUT, ROOT))
