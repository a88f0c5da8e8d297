#!/usr/bin/env python3
"""Host side of the lab checks: reads a lab log and compares what vantrel printed with
what the field's own tools read from the same device. Prints TAP lines."""
import json
import re
import sys


def blocks(log):
    """LAB-BEGIN name ... LAB-END rc=N  ->  {name: (text, rc)}"""
    found, name, lines = {}, None, []
    for line in log.splitlines():
        line = line.rstrip("\r")
        m = re.match(r"^LAB-BEGIN (\S+)$", line)
        if m:
            name, lines = m.group(1), []
            continue
        m = re.match(r"^LAB-END rc=(\d+)$", line)
        if m and name:
            found[name] = ("\n".join(lines), int(m.group(1)))
            name = None
            continue
        if name:
            lines.append(line)
    return found


class Tap:
    def __init__(self):
        self.n = 0
        self.failed = 0

    def check(self, ok, what, detail=""):
        self.n += 1
        if not ok:
            self.failed += 1
        print(f"{'ok' if ok else 'not ok'} {self.n} - {what}" + (f"  # {detail}" if detail and not ok else ""))


def first_int(text):
    m = re.search(r"-?\d+", text.replace(",", ""))
    return int(m.group(0)) if m else None


def nvme_checks(name, found, tap):
    smart_text, _ = found.get("smart-log", ("", 1))
    check_text, check_rc = found.get("check-json", ("", 1))
    try:
        smart = json.loads(smart_text)
    except ValueError:
        tap.check(False, f"{name}: nvme-cli smart-log parses", smart_text[:200])
        return
    try:
        report = json.loads(check_text)
    except ValueError:
        tap.check(False, f"{name}: vantrel check --json parses", check_text[:300])
        return
    rows = {d["key"]: d["value"] for d in report.get("details", [])}
    tap.check(len(rows) == 12, f"{name}: twelve health-log rows", str(list(rows)))

    kelvin = smart.get("temperature")
    expected = {
        "Critical warning": ("0x%02X" % smart.get("critical_warning", -1)),
        "Temperature": (f"{kelvin - 273} °C" if kelvin else "Not reported"),
        "Available spare": smart.get("avail_spare"),
        "Available spare threshold": smart.get("spare_thresh"),
        "Percentage used": smart.get("percent_used"),
        "Data units read": smart.get("data_units_read"),
        "Data units written": smart.get("data_units_written"),
        "Power cycles": smart.get("power_cycles"),
        "Power-on hours": smart.get("power_on_hours"),
        "Unsafe shutdowns": smart.get("unsafe_shutdowns"),
        "Media and data integrity errors": smart.get("media_errors"),
        "Error log entries": smart.get("num_err_log_entries"),
    }
    for key, want in expected.items():
        got = rows.get(key)
        if got is None:
            tap.check(False, f"{name}: row {key}", "missing")
        elif isinstance(want, str):
            tap.check(got.replace("\u202f", " ").replace("\u00a0", " ") == want,
                      f"{name}: {key} = {want}", f"vantrel says {got!r}")
        else:
            want = int(want) if want is not None else None  # nvme-cli writes 128-bit counters as text
            tap.check(first_int(got) == want, f"{name}: {key} = {want}", f"vantrel says {got!r}")

    warning = smart.get("critical_warning", 0)
    read_only = bool(warning & 0x08)
    tap.check(report.get("isReadOnly") is read_only, f"{name}: read-only is {read_only}")
    if read_only:
        tap.check(any(f.get("verdict") == 4 for f in report.get("findings", [])),
                  f"{name}: a read-only drive has failed", str(report.get("findings")))
    needs_care = any(f.get("verdict") in (2, 3, 4) for f in report.get("findings", []))
    tap.check(check_rc == (1 if needs_care else 0), f"{name}: exit {1 if needs_care else 0} for its findings",
              f"rc={check_rc}")
    tap.check("null" not in check_text, f"{name}: no null in the JSON")

    text, rc = found.get("check-dev-path", ("", -1))
    tap.check(rc in (0, 1) and "Critical warning" in text, f"{name}: /dev/ path accepted, rows printed",
              f"rc={rc}")
    text, rc = found.get("check-missing", ("", -1))
    tap.check(rc == 3, f"{name}: a missing device exits 3", f"rc={rc} {text[:120]}")
    if "check-not-nvme" in found:
        text, rc = found["check-not-nvme"]
        tap.check(rc == 4, f"{name}: a SATA disk is refused as not NVMe (exit 4)", f"rc={rc} {text[:120]}")
    text, rc = found.get("check-unprivileged", ("", -1))
    tap.check("sudo" in text, f"{name}: an unprivileged user is told to use sudo", text[:160])


def main():
    name, path = sys.argv[1], sys.argv[2]
    log = open(path, encoding="utf-8", errors="replace").read()
    found = blocks(log)
    tap = Tap()
    if not found:
        tap.check(False, f"{name}: the guest printed its results", "no LAB blocks in the log")
    elif name.startswith("nvme"):
        nvme_checks(name, found, tap)
    return 1 if tap.failed else 0


if __name__ == "__main__":
    sys.exit(main())
