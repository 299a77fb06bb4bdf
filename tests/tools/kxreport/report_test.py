#!/usr/bin/env python3
"""kxreport on virtual cards of different state: every document against the schema, every status, every refusal.

report_test.py BUILD SOURCE"""
import json
import os
import pty
import re
import shutil
import subprocess
import time
import zlib

from cards import (FOLDER, SILENT, SOURCE, built, command, expect, interrupted, place, read, run_all, skip, under_card,
                   write)

SCHEMA_FILE = os.path.join(SOURCE, "docs/schema/kxreport.schema.json")
try:
    import jsonschema
except ImportError:
    skip("python3-jsonschema is not installed")
VALIDATOR = jsonschema.Draft7Validator(json.loads(read(SCHEMA_FILE)))

# A healthy card, a link below its best, a function that is gone, one that another driver has, hostile texts.
MIXED = {
    "functions": {
        "0000:5e:00.0": {"kind": "physical", "vendor": "0x1cf2", "device": "0x8037", "interface": "eth4",
                         "driver": "corvane10e", "config": {"0x0": "ffffffffffffffff"}},
        "0000:3b:00.1": {"config": {"0x72": "8310"}},
        "0000:af:00.0": {"kind": "physical", "vendor": "0x1cf2", "device": "0x8037", "interface": "",
                         "driver": "vfio-pci"},
    },
    "information": {"serial_number": "<b>\u001b[31m\"x"},
}
MOVING = {"network_processor": {"ports": {"0": {"receive_packet_rate": 1000}}},
          "functions": MIXED["functions"], "memory": {"0x6208000020": 5}}
EYES = {"link": {"width": 2}, "margining": {"left": [5, 7], "right": [6], "up": [8], "down": [9]}}


def kxreport(card, words):
    return command(card, built("kxreport"), *words.split())


def run(words, status, card=None):
    ended, out, err = under_card(card or {}, built("kxreport"), *words.split())
    expect(ended == status, f"{words}: status {ended}, not {status}: {err}")
    return out, err


def document(words, status, card=None):
    out, err = run(words + " --format json", status, card)
    expect(out.startswith('{\n  "schema": {\n    "name": "kxreport",\n    "version": 1\n'), f"{words}: begins otherwise")
    made = json.loads(out)
    for error in VALIDATOR.iter_errors(made):
        expect(False, f"{words}: {error.message}")
    expect(made["status"] == status, f"{words}: status in the document")
    return made, err


def schema_test():
    out, _ = run("schema", 0)
    expect(out == read(SCHEMA_FILE), "docs/schema/kxreport.schema.json is not what 'kxreport schema' prints")
    jsonschema.Draft7Validator.check_schema(json.loads(out))


def documents_test():
    made, _ = document("summary eth0", 0)
    card = made["cards"][0]
    expect(card["answers"] and card["temperature_celsius"] == 45, "summary: temperature")
    expect(card["identity"]["serial_number"] == "KX2601A00042", "summary: serial number")
    expect(card["firmware"] == {"version": "TARN-FW-BOARDTYPE-1.0.0", "partition": 1, "allows_update": True},
           "summary: firmware")
    expect(card["link"]["pcie"]["width"] == 16 and card["link"]["pcie"]["at_best"], "summary: link")
    expect(card["link"]["module"]["vendor"] == "CORVANE OPTICS" and not card["link"]["module"]["alarm"],
           "summary: module")
    left_out = {unit["unit"]: unit["left_out"] for unit in card["counters"]}
    expect(left_out["np"] > 0 and left_out["vqm"] == 0, "summary: counters that a read clears are left out")
    for words in ("identity --all", "firmware 3b:00.0", "link 0000:3b:00.1", "health eth0 vqm pcie", "commands",
                  "counters --all pcsmac", "registers eth0 vqm"):
        document(words, 0)
    for words in ("health eth9", "health eno1", "health eth2"):
        document(words, 2)


def documents_name_every_command_test():
    made, _ = document("commands", 0)
    programs = {one["name"]: [row["words"].split()[0] for row in one["commands"]] for one in made["programs"]}
    for name in ("kxreport.1", "kxreport.bash"):
        text = read(SOURCE, "docs", name)
        for word in programs["kxreport"]:
            expect(word in text, f"docs/{name} does not name {word}")
    expect("kxtool" in programs["kxtool"] and "kxnp" in programs["kxtool"], "commands of kxtool")


def counter_test():
    """A counter of 64 bits keeps its digits; what a read clears is not read."""
    card = {"network_processor": {"ports": {"0": {"receive_packets": "18446744073709551615"}}}}
    made, _ = document("counters eth0 pcsmac", 0, card)
    values = [one["value"] for one in made["cards"][0]["counters"][0]["counters"]]
    expect(18446744073709551615 in values, "counters: 64 bits")


def states_test():
    made, err = document("list", 28, MIXED)
    by_device = {row["device"]: row for row in made["functions"]}
    expect(by_device["eth4"] == {"device": "eth4", "address": "0000:5e:00.0", "answers": False,
                                 "problem": "does not answer"}, "list: a function that is gone")
    expect(by_device["eth0"]["serial_number"] == '<b>?[31m"x', "list: hostile text")
    expect(not by_device["eth1"]["link_at_best"] and not by_device["eth1"]["healthy"], "list: link below its best")
    expect("health" in by_device[""] and "serial_number" not in by_device[""], "list: no interface")
    out, _ = run("list", 28, MIXED)
    expect("\neth4    0000:5e:00.0  does not answer\n" in out and "\x1b" not in out, f"list as text: {out}")
    alarm = {"modules": {"eth0": {"bytes": {"0x06": "80"}}}}
    made, _ = document("link eth0", 32, alarm)
    expect(made["cards"][0]["link"]["module"]["alarms"] == ["temperature high"], "link: alarm")
    made, _ = document("link eth0", 0, {"modules": {"eth0": {"absent": True}}})
    expect(made["cards"][0]["link"]["module"] == {"plugged": False}, "link: no module")
    made, err = document("health eth0 vqm", 8, {"memory": {"0x6208000020": 5}})
    failed = [one for one in made["cards"][0]["health"]["units"][0]["checks"] if not one["good"]]
    expect([one["note"] for one in failed] == ["cq full, cq write error"], "health: the check that failed")
    document("identity eth0", 4, {"information": {"serial_number_status": -5}})
    document("summary eth0", 4, {"faults": {"bar0": {"claimed": True}}})
    document("list", 2, {"functions": {name: {"present": False} for name in
                                       ("0000:3a:00.0", "0000:3b:00.0", "0000:3b:00.1", "0000:3b:01.0")}})


def metrics_test():
    for card, status in (({}, 0), (MIXED, 28)):
        out, _ = run("summary --all --format openmetrics", status, card)
        expect(out.endswith("# EOF\n") and "\x1b" not in out, "metrics: end")
        if shutil.which("promtool") is None:
            print("not checked by promtool, which the package prometheus brings")
            continue
        done = subprocess.run(["promtool", "check", "metrics"], input=out.encode(), capture_output=True, check=False)
        expect(done.returncode == 0, f"promtool: {done.stderr.decode()}")


def page_test():
    out, _ = run("summary --all --format html", 28, MIXED)
    expect(out.startswith("<!DOCTYPE html>") and out.endswith("</html>\n"), "html: whole")
    expect("<b>" not in out and "<script" not in out and "http" not in out, "html: nothing from outside")
    expect(out.index(">health<") < out.index(">link<") < out.index(">counters<"), "html: health first")
    made, _ = document("link eth0 --eye", 16, EYES)
    eyes = made["cards"][0]["link"]["eyes"]
    expect([(one["lane"], one["left_unit_intervals"], one["down_volts"]) for one in eyes] ==
           [("0", 0.0625, 0.045), ("1", 0.0875, 0.045)], f"eyes: {eyes}")
    out, _ = run("link eth0 --eye --format html", 16, EYES)
    expect(out.count("<svg ") == 2 and 'points="126.0,80.0 160.0,68.8 200.8,80.0 160.0,92.6"' in out, "html: eyes")
    document("link eth0 --eye", 20, {"link": {"speed": 3}})
    for scheme, paper in ((0, b"\x15\x18\x1c"), (1, b"\xff\xff\xff")):
        seen = seen_by_browser(out, scheme)
        expect(seen in (None, paper), f"html: the paper of scheme {scheme} is {seen}")


def seen_by_browser(page, scheme):
    """The colour in the corner of the page, dark (0) or light (1); None without a browser."""
    if shutil.which("chromium") is None:
        print("not looked at in a browser, which the package chromium brings")
        return None
    path, shot = write("page.html", page), place("page.png")
    subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", f"--user-data-dir={FOLDER}/browser",
                    f"--blink-settings=preferredColorScheme={scheme}", f"--screenshot={shot}", f"file://{path}"],
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=600, check=True)
    with open(shot, "rb") as file:
        image = file.read()
    # The first pixel of the first line stands as it is, whatever the line's filter.
    return zlib.decompressobj().decompress(image[image.index(b"IDAT") + 4:], 4)[1:4]


def limit_test():
    begun = time.monotonic()
    made, err = document("list --timeout 1", 4, SILENT)
    expect(all(row["problem"] == "no answer within 1 s" for row in made["functions"]), "limit: its line")
    expect(time.monotonic() - begun < 60, "limit: it ends")


def interrupt_test():
    """What was read is shown, with 130."""
    status, out, err = interrupted(SILENT, built("kxreport"), *"summary eth0 --format json".split())
    expect(status == 130, f"interrupt: status {status}: {err}")
    made = json.loads(out)
    expect(made["status"] == 130 and made["cards"][0]["device"] == "eth0", "interrupt: document")
    expect(not list(VALIDATOR.iter_errors(made)), "interrupt: schema")


def watch_test():
    out, _ = run("watch eth1 --count 2", 24, MOVING)
    expect(re.search(r"eth1 0000:3b:00.1  45 C, x8 at 8.0 GT/s, \d+ checks, 2 failed\n", out), f"watch: {out}")
    rate = re.search(r"pcsmac trpg_rx_port_pkt_num\[0\]: (\d+)/s, ", out)
    expect(rate and 100 < int(rate[1]) < 10000, f"watch: rate of 1000/s: {out}")
    for line in ("the PCIe link is below its best", "vqm cq int event: 0x00000005 cq full"):
        expect(f"eth1 0000:3b:00.1  {line}" in out, f"watch: {line}")
    out, _ = run("watch eth0 --count 1", 4, {"information": {"temperatures": [20000]}})
    expect("the card gives no good temperature" in out, f"watch: a card that fails: {out}")
    for keys, shown, status in (("pq", (b"look 1", b"paused"), 8), ("r\x03", (b"A SECOND", b"q quit"), 130)):
        seen, ended = at_terminal("watch eth0", keys, shown)
        expect(ended == status and b"\x1b[?1049l" in seen, f"watch: {keys!r}: {ended} {seen}")  # the screen is given back


def at_terminal(words, keys, shown):
    """Types each key when its text has been shown; the screen's bytes and the exit status."""
    pid, screen = pty.fork()
    if pid == 0:
        os.environ["TERM"] = "xterm"
        line = kxreport(MOVING, words)
        os.execv(line[0], line)
    seen, typed = b"", 0
    try:
        while block := os.read(screen, 65536):
            seen += block
            if typed < len(keys) and shown[typed] in seen:
                os.write(screen, keys[typed].encode())
                typed += 1
    except OSError:
        pass  # its other end is closed
    return seen, os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])


def words_test():
    for words, line in (("", "a command is missing"), ("helth", "did you mean 'health'?"), ("health", "needs a device"),
                        ("list eth0", "takes no word 'eth0'"), ("health eth0 vqn", "is no unit"),
                        ("list --format xml", "--format takes"), ("list --timeout 0", "--timeout takes"),
                        ("list --al", "did you mean '--all'?"), ("watch --all", "needs a device"),
                        ("watch eth0 --all", "takes no --all"), ("health eth0 --eye", "takes no --eye"), ("watch eth0 --count 0", "--count takes")):
        out, err = run(words, 1)
        expect(out == "" and line in err and err.count("\n") == 1, f"{words}: {out}{err}")
    document("bogus", 1)
    with open("/dev/full", "wb") as full:
        done = subprocess.run(kxreport({}, "list"), stdout=full, stderr=subprocess.PIPE, check=False)
    expect(done.returncode == 64 and b"No space left" in done.stderr, f"full disk: {done}")


run_all(schema_test, documents_test, documents_name_every_command_test, counter_test, states_test, metrics_test, page_test,
        limit_test, interrupt_test, watch_test, words_test)
