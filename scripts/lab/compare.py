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
        tap.check(rc in (0, 1) and "SMART attributes" in text,
                  f"{name}: a SATA disk beside it is read through the ATA path", f"rc={rc} {text[:120]}")
    text, rc = found.get("check-unprivileged", ("", -1))
    tap.check("sudo" in text, f"{name}: an unprivileged user is told to use sudo", text[:160])


def parsed(found, block):
    """(JSON document or None, rc, text) of a block."""
    text, rc = found.get(block, ("", -1))
    try:
        return json.loads(text), rc, text
    except ValueError:
        return None, rc, text


def smartctl_attributes(doc):
    return [(r["id"], r["flags"]["value"], r["value"], r["worst"], r["thresh"], r["raw"]["value"])
            for r in doc.get("ata_smart_attributes", {}).get("table", [])]


def vantrel_attributes(doc):
    return [(a["id"], a["flags"], a["value"], a["worst"], a["threshold"], a["raw"])
            for a in doc.get("attributes", [])]


def smartctl_selftests(doc):
    """(kind, outcome, hours, failing LBA) newest first; outcome as vantrel numbers it: the
    status nibble, with 9 to 14 as 255 (unknown)."""
    rows = doc.get("ata_smart_self_test_log", {}).get("standard", {}).get("table", [])
    out = []
    for r in rows:
        nibble = r["status"]["value"] >> 4
        out.append((r["type"]["value"], 255 if 9 <= nibble <= 14 else nibble, r["lifetime_hours"], r.get("lba")))
    return out


def vantrel_selftests(entries):
    return [(e["kind"], e["outcome"], e["powerOnHours"], e.get("failingLBA")) for e in entries]


def ata_read_checks(name, prefix, found, tap):
    """One disk read by both tools: `{prefix}-smartctl` (smartctl -a -j) and
    `{prefix}-check-json` (vantrel check --json)."""
    sm, _, sm_text = parsed(found, f"{prefix}-smartctl")
    rep, rc, rep_text = parsed(found, f"{prefix}-check-json")
    if sm is None:
        tap.check(False, f"{name}/{prefix}: smartctl -a -j parses", sm_text[:200])
        return None
    if rep is None:
        tap.check(False, f"{name}/{prefix}: vantrel check --json parses", rep_text[:300])
        return None
    tap.check("null" not in rep_text, f"{name}/{prefix}: no null in the JSON")
    tap.check(rep.get("model") == sm.get("model_name") and rep.get("serial") == sm.get("serial_number"),
              f"{name}/{prefix}: model and serial as smartctl reads them",
              f"vantrel {rep.get('model')!r} {rep.get('serial')!r}, smartctl {sm.get('model_name')!r} "
              f"{sm.get('serial_number')!r}")
    want, got = smartctl_attributes(sm), vantrel_attributes(rep)
    tap.check(len(want) > 0 and got == want,
              f"{name}/{prefix}: {len(want)} attributes (id, flags, value, worst, threshold, raw) as smartctl",
              f"smartctl {want} vantrel {got}")
    hours = sm.get("power_on_time", {}).get("hours")
    tap.check(rep.get("powerOnHours") == hours, f"{name}/{prefix}: power-on hours = {hours}",
              f"vantrel says {rep.get('powerOnHours')}")
    celsius = sm.get("temperature", {}).get("current")
    tap.check(rep.get("temperatureC") == celsius, f"{name}/{prefix}: temperature = {celsius} °C",
              f"vantrel says {rep.get('temperatureC')}")
    passed = sm.get("smart_status", {}).get("passed")
    status = {True: "verified", False: "failing"}.get(passed, "notSupported")
    tap.check(rep.get("smartStatus") == status, f"{name}/{prefix}: SMART status {status}",
              f"vantrel says {rep.get('smartStatus')}")
    want, got = smartctl_selftests(sm), vantrel_selftests(rep.get("selfTests", []))
    tap.check(got == want, f"{name}/{prefix}: self-test log of {len(want)} entries as smartctl",
              f"smartctl {want} vantrel {got}")
    failing_now = any(r.get("when_failed") == "now" for r in sm.get("ata_smart_attributes", {}).get("table", []))
    code = 1 if (passed is False or failing_now) else 0
    tap.check(rc == code, f"{name}/{prefix}: exit {code}", f"rc={rc}")
    return rep


def selftest_checks(name, prefix, found, tap):
    """`vantrel selftest DISK short`, then both tools' self-test logs."""
    text, rc = found.get(f"{prefix}-selftest-start", ("", -1))
    tap.check(rc == 0 and "Started the short self-test" in text, f"{name}/{prefix}: vantrel starts a short self-test",
              f"rc={rc} {text[:160]}")
    sm, _, sm_text = parsed(found, f"{prefix}-smartctl-selftest")
    st, st_rc, st_text = parsed(found, f"{prefix}-selftest-json")
    if sm is None or st is None:
        tap.check(False, f"{name}/{prefix}: self-test logs parse", (sm_text if sm is None else st_text)[:200])
        return
    want, got = smartctl_selftests(sm), vantrel_selftests(st.get("selfTests", []))
    tap.check(len(want) > 0 and want[0][0] == 1, f"{name}/{prefix}: the drive logged the short test",
              f"smartctl {want}")
    tap.check(st_rc == 0 and got == want, f"{name}/{prefix}: vantrel selftest shows the log as smartctl",
              f"rc={st_rc} smartctl {want} vantrel {got}")
    tap.check("progress" in st and st["progress"].get("outcome") != 15,
              f"{name}/{prefix}: progress read, no test left running", str(st.get("progress")))


def refused_checks(name, found, tap):
    for block, what in (("usb-refused", "check"), ("usb-selftest-refused", "selftest")):
        text, rc = found.get(block, ("", -1))
        tap.check(rc == 4 and text.count("\n") == 0 and "doesn't pass health requests through" in text,
                  f"{name}: {what} of a USB disk that refuses pass-through says so in one sentence, exit 4",
                  f"rc={rc} {text[:160]!r}")


def ata_checks(name, found, tap):
    if "sata-smartctl" in found:
        ata_read_checks(name, "sata", found, tap)
        text, rc = found.get("sata-check-text", ("", -1))
        tap.check(rc == 0 and "SMART attributes" in text and "Self-test log" in text,
                  f"{name}/sata: human output has the table and the log", f"rc={rc}")
        selftest_checks(name, "sata", found, tap)
        after, rc, _ = parsed(found, "sata-check-after")
        sm, _, _ = parsed(found, "sata-smartctl-selftest")
        if after is not None and sm is not None:
            tap.check(vantrel_selftests(after.get("selfTests", [])) == smartctl_selftests(sm),
                      f"{name}/sata: check shows the new log entry too")
        text, rc = found.get("sata-unprivileged", ("", -1))
        tap.check(rc == 5 and "sudo" in text, f"{name}/sata: an unprivileged user is told to use sudo (exit 5)",
                  f"rc={rc} {text[:160]}")
    if "usb-refused" in found:
        refused_checks(name, found, tap)
    if "bridge-smartctl" in found:
        ata_read_checks(name, "bridge", found, tap)
        selftest_checks(name, "bridge", found, tap)
    if "failing-smartctl" in found:
        rep = ata_read_checks(name, "failing", found, tap)
        if rep is not None:
            tap.check(rep.get("smartStatus") == "failing", f"{name}/failing: the reading follows the failing drive",
                      str(rep.get("smartStatus")))
        text, rc = found.get("failing-check-text", ("", -1))
        tap.check(rc == 1 and "failing now" in text and "Failing" in text,
                  f"{name}/failing: human output marks the failing attribute", f"rc={rc}")
    if not any(k in found for k in ("sata-smartctl", "usb-refused", "bridge-smartctl")):
        tap.check(False, f"{name}: the guest found a disk to read", ", ".join(found))


def main():
    name, path = sys.argv[1], sys.argv[2]
    log = open(path, encoding="utf-8", errors="replace").read()
    found = blocks(log)
    tap = Tap()
    if not found:
        tap.check(False, f"{name}: the guest printed its results", "no LAB blocks in the log")
    elif name.startswith("nvme"):
        nvme_checks(name, found, tap)
    elif name.startswith("ata"):
        ata_checks(name, found, tap)
    return 1 if tap.failed else 0


if __name__ == "__main__":
    sys.exit(main())
