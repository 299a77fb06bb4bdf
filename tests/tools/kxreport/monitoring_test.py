#!/usr/bin/env python3
"""packaging/prometheus: the collector's script on virtual cards, rules and dashboard on the metrics that there are.

monitoring_test.py BUILD SOURCE"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

BUILD, SOURCE = sys.argv[1], sys.argv[2]
PACKAGING = os.path.join(SOURCE, "packaging/prometheus")
SCRIPT = os.path.join(PACKAGING, "textfile")
failures = []


def expect(holds, what):
    if not holds:
        failures.append(what)
        print("FAILED:", what)


def collect(folder, kxreport, card):
    """The script under a card; its status and the metrics file as it stands then."""
    path = os.path.join(folder, "card.json")
    with open(path, "w", encoding="utf-8") as out:
        json.dump(card, out)
    done = subprocess.run([os.path.join(BUILD, "kxvcard"), "--card", path, "--", SCRIPT, folder], check=False,
                          stderr=subprocess.PIPE, env={**os.environ, "KXREPORT": kxreport}, timeout=120)
    if done.returncode == 77:
        print("skipped:", done.stderr.decode())
        sys.exit(77)
    metrics = os.path.join(folder, "kxreport.prom")
    text = open(metrics, encoding="utf-8").read() if os.path.exists(metrics) else None
    expect(not [name for name in os.listdir(folder) if name.startswith(".kxreport")], "the script leaves files behind")
    return done.returncode, text


def script_test(folder):
    real = os.path.join(BUILD, "kxreport")
    # An ill card is what metrics are for.
    ill = {"functions": {"0000:3b:00.1": {"config": {"0x72": "8310"}}}}
    status, text = collect(folder, real, ill)
    expect(status == 0 and text.endswith("# EOF\n"), "the script takes an ill card's metrics")
    expect('kx_card_link_pcie_at_best{device="eth1",address="0000:3b:00.1"} 0' in text, "the link of eth1")
    expect(os.stat(os.path.join(folder, "kxreport.prom")).st_mode & 0o777 == 0o644, "another user may read the file")
    # A report that could not be made leaves the old one.
    for bad in ("exit 64", "kill -9 $$", "exit 1"):
        failing = os.path.join(folder, "failing")
        with open(failing, "w", encoding="utf-8") as out:
            out.write(f"#!/bin/sh\necho half\n{bad}\n")
        os.chmod(failing, 0o755)
        status, kept = collect(folder, failing, {})
        expect(status != 0 and kept == text, f"the script keeps the old metrics after '{bad}'")
    return text


def names_test(metrics):
    """Rules and dashboard name metrics that there are."""
    known = set(re.findall(r"^(kx_\w+)[{ ]", metrics, re.M))
    for name in ("alerts.yml", "dashboard.json"):
        with open(os.path.join(PACKAGING, name), encoding="utf-8") as file:
            text = file.read()
        used = set(re.findall(r"\bkx_\w+", text))
        expect(used and used <= known, f"{name} names {used - known}")
    with open(os.path.join(PACKAGING, "dashboard.json"), encoding="utf-8") as file:
        panels = json.load(file)["panels"]
    expect(len({panel["id"] for panel in panels}) == len(panels), "dashboard: every panel has a number of its own")


def rules_test():
    if shutil.which("promtool") is None:
        print("rules are not checked: promtool comes with the package prometheus")
        return
    for words in (["check", "rules", "alerts.yml"], ["test", "rules", "alerts_test.yml"]):
        done = subprocess.run(["promtool", *words], cwd=PACKAGING, capture_output=True, check=False)
        expect(done.returncode == 0, f"promtool {' '.join(words)}: {done.stdout.decode()}{done.stderr.decode()}")


with tempfile.TemporaryDirectory(prefix="kxreport_test.") as place:
    names_test(script_test(place))
    rules_test()
sys.exit(1 if failures else 0)
