#!/usr/bin/env python3
"""Turns the output of capture-sysfs.guest.sh into a fixture tree for the discovery tests.

    sysfs-fixture.py LAB-LOG OUT-DIR

Lines between CAPTURE-BEGIN and CAPTURE-END: "F path base64" writes a file, "L path target"
makes a link with the kernel's own (relative) target, "M base64" is /proc/self/mountinfo.
OUT-DIR is emptied first, so a capture always replaces the whole fixture."""
import base64
import os
import shutil
import sys


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    log, out = sys.argv[1], sys.argv[2]
    lines = open(log, encoding="utf-8", errors="replace").read().splitlines()
    try:
        begin = next(i for i, l in enumerate(lines) if l.strip() == "CAPTURE-BEGIN")
        end = next(i for i, l in enumerate(lines) if l.strip() == "CAPTURE-END")
    except StopIteration:
        sys.exit("no CAPTURE-BEGIN ... CAPTURE-END in the log")
    if os.path.isdir(out):
        shutil.rmtree(out)
    os.makedirs(out)

    def place(path):
        target = os.path.join(out, path.lstrip("/"))
        os.makedirs(os.path.dirname(target), exist_ok=True)
        return target

    for line in lines[begin + 1:end]:
        line = line.rstrip("\r")
        kind, _, rest = line.partition(" ")
        if kind == "F":
            path, _, data = rest.partition(" ")
            with open(place(path), "wb") as f:
                f.write(base64.b64decode(data))
        elif kind == "L":
            path, _, target = rest.partition(" ")
            where = place(path)
            if not os.path.lexists(where):
                os.symlink(target, where)
        elif kind == "M":
            with open(place("/proc/self/mountinfo"), "wb") as f:
                f.write(base64.b64decode(rest))


if __name__ == "__main__":
    main()
