#!/usr/bin/env bash
# Compares each of the four figures of `vantrel bench` with fio running the same four tests
# on the same volume in the same run: a 1 GB file, sequential write then read in 8 MiB
# blocks, then 3 s each of random 4 KiB reads and writes over its first 256 MiB, queue
# depth 1, O_DIRECT, each write test ended by fsync. Three runs of each, averaged, and the
# ratio vantrel / fio for each test (the aim: each within 5%, 0.95 to 1.05).
#
#   scripts/bench/bench.sh DIRECTORY [VANTREL]     (default: build/release/cli/vantrel)
#
# DIRECTORY must be on a real file system (not tmpfs) with 2 GB free.
set -euo pipefail

dir="${1:?usage: bench.sh DIRECTORY [VANTREL]}"
root="$(cd "$(dirname "$0")/../.." && pwd)"
binary="${2:-$root/build/release/cli/vantrel}"
[[ -x "$binary" ]] || { echo "bench.sh: no vantrel binary at $binary" >&2; exit 2; }
command -v fio >/dev/null || { echo "bench.sh: fio is missing (apt-get install fio)" >&2; exit 2; }

scratch="$(mktemp -d)"
fio_file="$dir/.fio-bench.tmp"
trap 'rm -rf "$scratch"; rm -f "$fio_file"' EXIT

XDG_DATA_HOME="$scratch" "$binary" bench "$dir" --json >"$scratch/vantrel.json"

cat >"$scratch/job.fio" <<JOB
[global]
filename=$fio_file
ioengine=psync
iodepth=1
direct=1
randrepeat=0
group_reporting

[seqwrite]
rw=write
bs=8M
size=1000000000
end_fsync=1

[seqread]
stonewall
rw=read
bs=8M
size=1000000000

[randread]
stonewall
rw=randread
bs=4k
size=256M
time_based
runtime=3

[randwrite]
stonewall
rw=randwrite
bs=4k
size=256M
time_based
runtime=3
end_fsync=1
JOB
for run in 1 2 3; do
    rm -f "$fio_file"
    fio --output-format=json "$scratch/job.fio" >"$scratch/fio$run.json"
done

python3 - "$scratch" <<'PY'
import json, sys, os
scratch = sys.argv[1]
ours = json.load(open(os.path.join(scratch, "vantrel.json")))["means"]
tests = [("seqRead", "seqread", "read"), ("seqWrite", "seqwrite", "write"),
         ("rndRead", "randread", "read"), ("rndWrite", "randwrite", "write")]
fio = {key: [] for key, _, _ in tests}
for run in (1, 2, 3):
    jobs = {job["jobname"]: job for job in json.load(open(os.path.join(scratch, f"fio{run}.json")))["jobs"]}
    for key, name, side in tests:
        fio[key].append(jobs[name][side]["bw_bytes"] / 1e6)
print(f"{'test':10} {'vantrel MB/s':>13} {'fio MB/s':>10} {'ratio':>7}")
worst = 0.0
for key, _, _ in tests:
    theirs = sum(fio[key]) / len(fio[key])
    ratio = ours[key] / theirs if theirs > 0 else float("nan")
    worst = max(worst, abs(ratio - 1))
    print(f"{key:10} {ours[key]:13.1f} {theirs:10.1f} {ratio:7.3f}")
print(f"largest difference {worst * 100:.1f}% (aim: within 5%)")
PY
