#!/usr/bin/env python3
"""packaging/ansible on three hosts, each with a virtual card of another state.

ansible_test.py BUILD SOURCE"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

BUILD, SOURCE = sys.argv[1], sys.argv[2]
ROLE = os.path.join(SOURCE, "packaging/ansible")
FOLDER = tempfile.mkdtemp(prefix="kxreport_test.")
WANTED = "TARN-FW-BOARDTYPE-2.0.0"
PARTITIONS = {1: 0x40000, 2: 0x3300000}
# Version that runs, and its partition.
HOSTS = {"old": ("TARN-FW-BOARDTYPE-1.0.0", 1), "right": (WANTED, 1), "other": ("TARN-FW-BOARDTYPE-1.5.0", 2)}
IMAGE = bytes(range(256)) * 8
failures = []


def expect(holds, what):
    if not holds:
        failures.append(what)
        print("FAILED:", what)


def place(*names):
    return os.path.join(FOLDER, *names)


def card_write(host, version, partition, more):
    with open(place(host, "card.json"), "w", encoding="utf-8") as out:
        json.dump({"update": {"version": version, "partition": partition, **more}}, out)


def script(path, text):
    with open(path, "w", encoding="utf-8") as out:
        out.write("#!/bin/sh\n" + text)
    os.chmod(path, 0o755)


def host_make(host):
    """A host's programs find its card. A reset starts what the other partition holds, if that is the package."""
    os.makedirs(place(host, "state"))
    card = f"--card {place(host, 'card.json')} --state {place(host, 'state')}"
    for program in ("kxtool", "kxreport"):
        script(place(host, program), f'exec {BUILD}/kxvcard {card} -- {BUILD}/{program} "$@"\n')
    version, partition = HOSTS[host]
    card_write(host, version, partition, {})
    written = PARTITIONS[3 - partition] + 0x1000
    script(place(host, "reset"), f"cmp -n {len(IMAGE)} -i 0:{written} {place('image')} {place(host, 'state/flash')} &&\n"
           f"""echo '{{"update": {{"version": "{WANTED}", "partition": {3 - partition}}}}}' >{place(host, 'card.json')}\n""")


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


if shutil.which("ansible-playbook") is None:
    print("skipped: there is no ansible-playbook, which the package ansible-core brings")
    sys.exit(77)
if subprocess.run([os.path.join(BUILD, "kxvcard"), "--", "true"], check=False).returncode == 77:
    print("skipped: the host allows no virtual card")
    sys.exit(77)
try:
    with open(place("image"), "wb") as out_file:
        out_file.write(IMAGE)
    with open(place("package.json"), "w", encoding="utf-8") as out_file:
        json.dump({"identification": WANTED, "kind": 1, "images": [{"file": "image", "offset": "0x41000", "type": 2}]},
                  out_file)
    subprocess.run([os.path.join(BUILD, "kxpkg"), "build", place("package.json"), place("update.pkg")], check=True,
                   stdout=subprocess.DEVNULL)
    for name in HOSTS:
        host_make(name)
    with open(place("hosts"), "w", encoding="utf-8") as out_file:
        for name in HOSTS:
            out_file.write(f"{name} ansible_connection=local ansible_python_interpreter={sys.executable} "
                           f"kxtool_firmware_kxtool={place(name, 'kxtool')} "
                           f"kxtool_firmware_kxreport={place(name, 'kxreport')} "
                           f"kxtool_firmware_reset={place(name, 'reset')}\n")
        out_file.write(f"[all:vars]\nkxtool_firmware_version={WANTED}\nkxtool_firmware_package={place('update.pkg')}\n"
                       "kxtool_firmware_retries=2\nkxtool_firmware_delay=1\n")

    hosts, text = play("--check", "-e", "kxtool_firmware_batch=3")
    expect(hosts == {"old": (1, 0), "right": (0, 0), "other": (1, 0)}, f"dry run: {text}")
    expect("TARN-FW-BOARDTYPE-1.5.0 from partition 2" in text and "to partition 1" in text, f"the plan: {text}")
    # The first host's card refuses: its batch is the last.
    card_write("old", *HOSTS["old"], {"authorises": False})
    hosts, text = play()
    expect(hosts == {"old": (0, 1)}, f"a failure ends the play: {text}")
    card_write("old", *HOSTS["old"], {})
    hosts, text = play()
    expect(hosts == {"old": (2, 0), "right": (0, 0), "other": (2, 0)}, f"first run: {text}")
    hosts, text = play("-e", "kxtool_firmware_batch=3")
    expect(hosts == {"old": (0, 0), "right": (0, 0), "other": (0, 0)}, f"second run: {text}")
finally:
    shutil.rmtree(FOLDER)
sys.exit(1 if failures else 0)
