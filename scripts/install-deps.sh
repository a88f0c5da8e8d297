#!/usr/bin/env bash
# Installs the Debian packages that are missing, and nothing else. Safe to run again.
# Works as root or through sudo. Usage: scripts/install-deps.sh [--lab]
#   --lab  also the packages of the QEMU hardware lab (kernel, QEMU, smartctl, nvme-cli).
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config ccache clang
  libgtest-dev libgmock-dev libbenchmark-dev
  nlohmann-json3-dev libicu-dev linux-libc-dev
  libusb-1.0-0-dev libudev-dev libblkid-dev
  qt6-base-dev qt6-charts-dev libqt6opengl6-dev qt6-svg-dev qt6-qpa-plugins fonts-dejavu-core poppler-utils
  dbus-daemon python3-dbus python3-gi
  xvfb dunst
)
lab_packages=(
  qemu-system-x86 qemu-utils linux-image-amd64 busybox-static smartmontools nvme-cli
  sg3-utils usbutils udev kmod cpio gzip python3 dmsetup e2fsprogs util-linux fio
  python3-prometheus-client
  udisks2 libblockdev-mdraid2 mdadm polkitd
)
[[ "${1:-}" == "--lab" ]] && packages+=("${lab_packages[@]}")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "Run this as root, or install sudo." >&2; exit 1; }
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
