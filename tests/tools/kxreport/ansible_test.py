#!/usr/bin/env python3
"""packaging/ansible on three hosts, each with a virtual card of another state.

ansible_test.py BUILD SOURCE"""
import os
import re
import shutil
import subprocess
import sys

from cards import FOLDER, SOURCE, built, expect, place, run_all, skip, under_card, write

ROLE = os.path.join(SOURCE, "packaging/ansible")
WANTED = "TARN-FW-BOARDTYPE-2.0.0"
PARTITIONS = {1: 0x40000, 2: 0x3300000}
# Version that runs, and its partition.
HOSTS = {"old": ("TARN-FW-BOARDTYPE-1.0.0", 1), "right": (WANTED, 1), "other": ("TARN-FW-BOARDTYPE-1.5.0", 2)}
IMAGE = bytes(range(256)) * 8


def card_write(host, **more):
    version, partition = HOSTS[host]
    write(f"{host}/card.json", {"update": {"version": version, "partition": partition, **more}})


def host_make(host):
    """A host's programs find its card. A reset starts what the other partition holds, if that is the package."""
    os.makedirs(place(host, "state"))
    card = f"--card {place(host, 'card.json')} --state {place(host, 'state')}"
    for program in ("kxtool", "kxreport"):
        write(f"{host}/{program}", f'#!/bin/sh\nexec {built("kxvcard")} {card} -- {built(program)} "$@"\n', 0o755)
    card_write(host)
    other = 3 - HOSTS[host][1]
    write(f"{host}/reset", f"#!/bin/sh\ncmp -n {len(IMAGE)} -i 0:{PARTITIONS[other] + 0x1000} {place('image')} "
          f"{place(host, 'state/flash')} &&\n"
          f"""echo '{{"update": {{"version": "{WANTED}", "partition": {other}}}}}' >{place(host, 'card.json')}\n""", 0o755)


def play(*words):
    """(changed, failed) by host, of those that were reached, and the output."""
    done = subprocess.run(
        ["ansible-playbook", "-i", place("hosts"), os.path.join(ROLE, "update.yml"), *words], capture_output=True,
        check=False, timeout=900, cwd=FOLDER,
        env={**os.environ, "ANSIBLE_ROLES_PATH": os.path.join(ROLE, "roles"), "ANSIBLE_HOME": FOLDER, "ANSIBLE_NOCOLOR": "1",
             "ANSIBLE_PIPELINING": "1",
             "ANSIBLE_LOCAL_TEMP": place("tmp"), "ANSIBLE_REMOTE_TEMP": place("tmp"), "LC_ALL": "C.UTF-8"})
    out = done.stdout.decode() + done.stderr.decode()
    rows = re.findall(r"^(\w+) +: ok=\d+ +changed=(\d+) +unreachable=0 +failed=(\d+)", out, re.M)
    return {host: (int(changed), int(failed)) for host, changed, failed in rows}, out


def play_test():
    write("image", IMAGE)
    write("package.json",
          {"identification": WANTED, "kind": 1, "images": [{"file": "image", "offset": "0x41000", "type": 2}]})
    subprocess.run([built("kxpkg"), "build", place("package.json"), place("update.pkg")], check=True,
                   stdout=subprocess.DEVNULL)
    inventory = ""
    for name in HOSTS:
        host_make(name)
        inventory += (f"{name} ansible_connection=local ansible_python_interpreter={sys.executable} "
                      f"kxtool_firmware_kxtool={place(name, 'kxtool')} "
                      f"kxtool_firmware_kxreport={place(name, 'kxreport')} "
                      f"kxtool_firmware_reset={place(name, 'reset')}\n")
    write("hosts", inventory + f"[all:vars]\nkxtool_firmware_version={WANTED}\n"
          f"kxtool_firmware_package={place('update.pkg')}\nkxtool_firmware_retries=2\nkxtool_firmware_delay=1\n")

    hosts, text = play("--check", "-e", "kxtool_firmware_batch=3")
    expect(hosts == {"old": (1, 0), "right": (0, 0), "other": (1, 0)}, f"dry run: {text}")
    expect("TARN-FW-BOARDTYPE-1.5.0 from partition 2" in text and "to partition 1" in text, f"the plan: {text}")
    # The first host's card refuses: its batch is the last.
    card_write("old", authorises=False)
    hosts, text = play()
    expect(hosts == {"old": (0, 1)}, f"a failure ends the play: {text}")
    card_write("old")
    hosts, text = play()
    expect(hosts == {"old": (2, 0), "right": (0, 0), "other": (2, 0)}, f"first run: {text}")
    hosts, text = play("-e", "kxtool_firmware_batch=3")
    expect(hosts == {"old": (0, 0), "right": (0, 0), "other": (0, 0)}, f"second run: {text}")


if shutil.which("ansible-playbook") is None:
    skip("there is no ansible-playbook, which the package ansible-core brings")
under_card({}, "true")  # does the host allow a virtual card?
run_all(play_test)
