#!/usr/bin/env python3
"""A case from the customer's card to the desk: kxreport makes a bundle, the virtual card plays it back, two are compared.

bundle_test.py BUILD SOURCE"""
import io
import json
import os
import tarfile

from cards import FOLDER, SILENT, built, expect, interrupted, place, read, run_all, under_card, write

# Every part of the replay has something that a healthy card has not.
ILL = {
    "functions": {"0000:3b:00.0": {"config": {"0x72": "8310"}, "uncorrectable_errors": 0x10}},
    "information": {"serial_number": "CASE00000042", "temperatures": [91], "part_number": "TARN-7 B"},
    "update": {"version": "TARN-FW-BOARDTYPE-1.9.1", "partition": 2},
    "bar0": {"compat": {"6": {"extra": 3}}},
    "modules": {"eth0": {"vendor": "OTHER", "bytes": {"0x06": "80"}}},
    "memory": {"0x6208000020": 5, "0x6209800010": 77},
    "network_processor": {"ports": {"3": {"link_up": False}}, "registers": {"0x013000": 1, "0x002000": 0}},
}
DEAD = {"functions": {"0000:3b:00.0": {"config": {"0x0": "ff" * 64}}}}
TOOL = ["diag eth0 all", "sn_info eth0 sn_info", "mac_info eth0 mac_info", "temp_info eth0 chip_temp",
        "fwupdate eth0 version", "link eth0"]


def run(card, program, words, status=None):
    words = words.split() if isinstance(words, str) else words
    ended, out, err = under_card(card, built(program) if "/" not in program else program, *words)
    expect(status in (None, ended), f"{words}: status {ended}, not {status}: {err}")
    return ended, out, err


def replay_test():
    run(write("ill.json", ILL), "kxreport", "bundle eth0 ill.tar", 8 | 16 | 32)
    for words in TOOL:
        expect(run("ill.tar", "kxtool", words)[:2] == run("ill.json", "kxtool", words)[:2], f"the replay of {words}")
    _, out, _ = run("ill.tar", "kxtool", "diag eth0 all")
    expect("cq full" in out and "FAIL" in out and "link down" in out, "the case is one")
    # Everything that was read reads the same, whichever program asks, and a bundle of the replay is the bundle.
    run("ill.tar", "kxreport", "bundle 3b:00.0 again.tar", 8 | 16 | 32)
    out = run("healthy.json", "kxreport", "diff ill.tar again.tar", 0)[1]
    expect(out == "", f"the replay differs: {out}")
    with tarfile.open(place("ill.tar")) as archive:
        members = {one.name: archive.extractfile(one).read() for one in archive}
    left_out = members["left-out.txt"].decode().splitlines()[1:]
    report = json.loads(members["report.json"])
    counted = sum(unit["left_out"] for unit in report["cards"][0]["registers"])
    expect(len(left_out) == counted > 900, f"left out: {len(left_out)} named, {counted} counted")
    expect(members["config.bin"][0x72:0x74] == b"\x83\x10" and len(members["config.bin"]) == 4096, "config.bin")
    expect(os.stat(place("ill.tar")).st_mode & 0o777 == 0o600, "a bundle is its owner's")


def dead_test():
    """Of a card that is gone the kernel's part is kept, and the replay is gone too."""
    run(write("dead.json", DEAD), "kxreport", "bundle eth0 dead.tar", 4)
    _, out, _ = run("dead.tar", "kxreport", "list", 4)
    expect("does not answer" in out, f"a dead card's replay: {out}")


def diff_test():
    run(write("healthy.json", {}), "kxreport", "bundle eth0 healthy.tar", 0)
    _, out, _ = run("healthy.json", "kxreport", "diff healthy.tar ill.tar --format json", 8)
    rows = {row["path"]: (row["first"], row["second"]) for row in json.loads(out)["differences"]}
    for path, values in (("temperature", ("45 C", "91 C")), ("firmware partition", ("1", "2")),
                         ("identity serial number", ("KX2601A00042", "CASE00000042")),
                         ("raw module eeprom 0x004", ("0x00000000", "0x00008000")),
                         ("health healthy", ("yes", "no"))):
        expect(rows.get(path) == values, f"diff: {path}: {rows.get(path)}")
    expect(len(rows) < 100, f"diff: {len(rows)} rows")
    dead = json.loads(run("healthy.json", "kxreport", "diff healthy.tar dead.tar --format json", 8)[1])["differences"]
    expect({"path": "firmware partition", "first": "1", "second": ""} in dead, "diff: what only one has")


def archive_of(*members):
    """A tar archive of (name, bytes, what else its head says)."""
    made = io.BytesIO()
    with tarfile.open(fileobj=made, mode="w", format=tarfile.USTAR_FORMAT) as archive:
        for name, content, head in members:
            one = tarfile.TarInfo(name)
            one.size = len(content)
            for key, value in head.items():
                setattr(one, key, value)
            archive.addfile(one, io.BytesIO(content))
    return made.getvalue()


def hostile_test():
    link = {"type": tarfile.SYMTYPE, "linkname": "/etc/passwd"}
    whole = archive_of(("card.json", b"{}", {}), ("report.json", b'{"cards": [{}]}', {}))
    huge = bytearray(whole)
    huge[124:136] = b"77777777777\0"  # eight GiB, as the head says
    rows = {
        "empty": b"", "noise": os.urandom(4096), "cut": whole[:600], "huge": bytes(huge),
        "links": archive_of(("card.json", b"", link), ("report.json", b"", link)),
        "elsewhere": archive_of(("../card.json", b"{}", {}), ("/report.json", b'{"cards": [{}]}', {})),
        "no json": archive_of(("card.json", b"{", {}), ("report.json", b"{", {})),
        "deep": archive_of(("card.json", b'{"x":' + b"[" * 200000, {}), ("report.json", b"[" * 200000, {})),
        "many": archive_of(*[(f"x{i}", b"", {}) for i in range(100)], ("card.json", b"{}", {})),
        "large": archive_of(("card.json", b" " * (17 << 20), {}), ("report.json", b" " * (17 << 20), {})),
        "values": archive_of(("card.json", b"[]", {}),
                             ("report.json", b'{"errors": [' + b'"",' * 1500000 + b'""]}', {})),
    }
    for name, content in rows.items():
        write("hostile", content)
        before = sorted(os.listdir(FOLDER))
        _, out, err = run("hostile", "/bin/true", [], 2)
        expect(out == "" and err.count("\n") == 1, f"{name}: kxvcard: {err}")
        _, out, err = run("healthy.json", "kxreport", "diff healthy.tar hostile", 1)
        expect(out == "" and err.count("\n") == 1, f"{name}: diff: {err}")
        expect(sorted(os.listdir(FOLDER)) == before, f"{name}: files are left")
    for words in ("diff healthy.tar", "diff a b c", "bundle eth0", "bundle", "diff healthy.tar /dev/zero",
                  "bundle eth0 a b"):
        _, out, err = run("healthy.json", "kxreport", words, 1)
        expect(out == "" and err.count("\n") == 1, f"{words}: {err}")


def trouble_test():
    """Whatever keeps a bundle from its place: one line, an old file is kept, nothing is left."""
    write("old.tar", "old")
    os.symlink("old.tar", place("planted.tar"))
    before = sorted(os.listdir(FOLDER))
    for words, status, line in (
            (["kxreport", "bundle", "eth0", "planted.tar"], 64, "planted.tar: is there and no regular file"),
            (["kxreport", "bundle", "eth0", "no/such.tar"], 64, "no/such.tar: No such file"),
            (["/bin/sh", "-c", f'trap "" XFSZ; ulimit -f 2; exec {built("kxreport")} bundle eth0 old.tar'], 68,
             "old.tar: File too large")):
        _, out, err = run("dead.json", words[0], words[1:], status)
        expect(out == "" and line in err, f"{words}: {out}{err}")
    status, _, err = interrupted(SILENT, built("kxreport"), "bundle", "eth0", "old.tar")
    expect(status == 130 and "nothing is kept" in err, f"interrupt: {status} {err}")
    expect(read(FOLDER, "old.tar") == "old", "an old file is kept")
    expect(sorted(os.listdir(FOLDER)) == sorted(before + ["card.json"]), "trouble: files are left")


write("healthy.json", {})
run_all(replay_test, dead_test, diff_test, hostile_test, trouble_test)
