"""What kxreport's tests share: programs under virtual cards, a folder of one's own, and what failed."""
import atexit
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

BUILD, SOURCE = sys.argv[1], sys.argv[2]
FOLDER = tempfile.mkdtemp(prefix="kxreport_test.")
atexit.register(shutil.rmtree, FOLDER)
SILENT = {"faults": {"driver": {"requests": [{"type": 1, "never_answers": True, "from": 1}]}}}
failures = []


def expect(holds, what):
    if not holds:
        failures.append(what)
        print("FAILED:", what)


def skip(why):
    print("skipped:", why)
    sys.exit(77)


def built(program):
    return os.path.join(BUILD, program)


def place(*names):
    return os.path.join(FOLDER, *names)


def read(*names):
    with open(os.path.join(*names), encoding="utf-8", errors="replace") as file:
        return file.read()


def write(name, content, mode=0o644):
    """A file of the folder, of bytes, a text or a card's values; its path."""
    text = content if isinstance(content, (bytes, str)) else json.dumps(content)
    with open(place(name), "wb") as out:
        out.write(text if isinstance(text, bytes) else text.encode())
    os.chmod(place(name), mode)
    return place(name)


def command(card, *words):
    """A line that runs the words under a card: its file, or its values."""
    return [built("kxvcard"), "--card", place(card) if isinstance(card, str) else write("card.json", card), "--", *words]


def under_card(card, *words, **options):
    """Status, output and errors of a command under a card."""
    done = subprocess.run(command(card, *words), cwd=FOLDER, capture_output=True, timeout=600, check=False, **options)
    if done.returncode == 77:
        skip(done.stderr.decode())
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def interrupted(card, *words):
    """The same of one that Ctrl-C at a terminal ends, which reaches the whole group, once it is at work."""
    log = place("log")
    program, *line = command(card, *words)
    process = subprocess.Popen([program, "--log", log, *line], cwd=FOLDER, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, start_new_session=True)
    while process.poll() is None and not (os.path.exists(log) and " type=1 " in read(log)):
        time.sleep(0.1)
    os.remove(log)
    os.killpg(process.pid, signal.SIGINT)
    out, err = process.communicate(timeout=600)
    return process.returncode, out.decode(), err.decode()


def run_all(*tests):
    """Runs the tests and ends the process: 1 when something failed."""
    for test in tests:
        begun = time.monotonic()
        test()
        print(f"{test.__name__}: {time.monotonic() - begun:.1f} s")
    sys.exit(1 if failures else 0)
