#!/usr/bin/env python3
"""packaging/prometheus: the collector's script on virtual cards, rules and dashboard on the metrics that there are.

monitoring_test.py BUILD SOURCE"""
import json
import os
import re
import shutil
import subprocess

from cards import FOLDER, SOURCE, built, expect, place, read, run_all, under_card, write

PACKAGING = os.path.join(SOURCE, "packaging/prometheus")
SCRIPT = os.path.join(PACKAGING, "textfile")
METRICS = place("kxreport.prom")


def collect(kxreport, card):
    """The script under a card; its status and the metrics file as it stands then."""
    status, _, _ = under_card(card, SCRIPT, FOLDER, env={**os.environ, "KXREPORT": kxreport})
    expect(not [name for name in os.listdir(FOLDER) if name.startswith(".kxreport")], "the script leaves files behind")
    return status, read(METRICS)


def script_test():
    # An ill card is what metrics are for.
    ill = {"functions": {"0000:3b:00.1": {"config": {"0x72": "8310"}}}}
    status, text = collect(built("kxreport"), ill)
    expect(status == 0 and text.endswith("# EOF\n"), "the script takes an ill card's metrics")
    expect('kx_card_link_pcie_at_best{device="eth1",address="0000:3b:00.1"} 0' in text, "the link of eth1")
    expect(os.stat(METRICS).st_mode & 0o777 == 0o644, "another user may read the file")
    # A report that could not be made leaves the old one.
    for bad in ("exit 64", "kill -9 $$", "exit 1"):
        status, kept = collect(write("failing", f"#!/bin/sh\necho half\n{bad}\n", 0o755), {})
        expect(status != 0 and kept == text, f"the script keeps the old metrics after '{bad}'")


def names_test():
    """Rules and dashboard name metrics that there are."""
    known = set(re.findall(r"^(kx_\w+)[{ ]", read(METRICS), re.M))
    for name in ("alerts.yml", "dashboard.json"):
        used = set(re.findall(r"\bkx_\w+", read(PACKAGING, name)))
        expect(used and used <= known, f"{name} names {used - known}")
    panels = json.loads(read(PACKAGING, "dashboard.json"))["panels"]
    expect(len({panel["id"] for panel in panels}) == len(panels), "dashboard: every panel has a number of its own")


def rules_test():
    if shutil.which("promtool") is None:
        print("rules are not checked: promtool comes with the package prometheus")
        return
    for words in (["check", "rules", "alerts.yml"], ["test", "rules", "alerts_test.yml"]):
        done = subprocess.run(["promtool", *words], cwd=PACKAGING, capture_output=True, check=False)
        expect(done.returncode == 0, f"promtool {' '.join(words)}: {done.stdout.decode()}{done.stderr.decode()}")


run_all(script_test, names_test, rules_test)
