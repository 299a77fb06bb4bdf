"""Which cases of the tests run a line of the product, and in which of its programs.

A second build folder holds the programs as clang counts their places (covered.c); each case of each test runs there once
with a folder of its own for what was seen. The answer is kept there as JSON.
"""
import bisect
import concurrent.futures
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import struct
import subprocess
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
# A broken driver must meet no real card, and nothing that it leaves behind another case.
ROOM = ["unshare", "--mount", "--net", "--pid", "--fork", "--kill-child", "--mount-proc", "sh", "-c",
        "mount -t tmpfs none /sys && mkdir -p /sys/bus/pci /sys/class/net /sys/kernel && mount -t tmpfs none /tmp && "
        'exec "$0" "$@"']
COUNTED = "-O0 -g1 -fsanitize-coverage=bb,no-prune,trace-pc-guard,pc-table"
CASE_LIMIT_S = 300


def as_at_a_terminal():
    """What a started case finds, also where this runs in the background, whose jobs ignore the interrupt."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))
    resource.setrlimit(resource.RLIMIT_DATA, (4 << 30, 4 << 30))


def run(command, env, limit_s):
    """Whether the command ends well, None beyond the limit; everything that it started ends with it."""
    process = subprocess.Popen([*ROOM, *command], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, env={**os.environ, **env}, preexec_fn=as_at_a_terminal)
    try:
        return process.wait(limit_s) in (0, 77)
    except subprocess.TimeoutExpired:
        return None
    finally:
        process.kill()
        process.wait()


def build(folder, jobs):
    folder.mkdir(exist_ok=True)
    subprocess.run(["clang", "-O1", "-c", HERE / "covered.c", "-o", folder / "covered.o"], check=True)
    subprocess.run(["cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DKX_TESTS=ON",
                    "-DKX_BENCH=OFF", "-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_C_COMPILER=clang", "-DCMAKE_CXX_COMPILER=clang++",
                    f"-DCMAKE_CXX_FLAGS_DEBUG={COUNTED}", f"-DCMAKE_EXE_LINKER_FLAGS=-fno-sanitize-link-runtime {folder}/covered.o"],
                   check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["ninja", "-C", folder, f"-j{jobs}", "--quiet"], check=True)


def cases(folder):
    """(command, environment) of each case; the same tests in other rooms of the virtual card are left out."""
    listed = json.loads(subprocess.run(["ctest", "--show-only=json-v1"], cwd=folder, capture_output=True, check=True).stdout)
    found = []
    for test in listed["tests"]:
        properties = {each["name"]: each["value"] for each in test["properties"]}
        env = dict(each.split("=", 1) for each in properties.get("ENVIRONMENT", []))
        command = test["command"]
        if "rooms" in properties.get("LABELS", []) or env.get("GTEST_SHARD_INDEX", "0") != "0":
            continue
        if not re.search(r"/tests/test_\w+$", command[0]):
            found.append((command, env))
            continue
        names = subprocess.run([*ROOM, *command, "--gtest_list_tests"], capture_output=True, text=True).stdout
        suite = ""
        for line in names.split("\n"):
            name = line.split("#")[0].rstrip()
            if name.endswith("."):
                suite = name
            elif suite and name.startswith("  "):
                found.append(([command[0], f"--gtest_filter={suite}{name.strip()}"], {}))
    return found


def lines_of(program, addresses):
    """(file of the product, line) -> places, by the line table: a row belongs to the last place at or before it."""
    order = sorted(range(len(addresses)), key=addresses.__getitem__)
    starts = [addresses[place] for place in order]
    table = subprocess.Popen(["llvm-dwarfdump", "--debug-line", program], stdout=subprocess.PIPE, text=True)
    found, folders, files, wanted = {}, {}, {}, {}
    for line in table.stdout:
        if line.startswith("0x"):
            row = line.split(None, 4)
            path = wanted.get(row[3])
            if path and row[1] != "0":
                at = bisect.bisect_right(starts, int(row[0], 16)) - 1
                if at >= 0:
                    found.setdefault((path, int(row[1])), set()).add(order[at])
        elif line.startswith("debug_line["):
            folders, files, wanted, name_of = {}, {}, {}, None
        elif match := re.match(r'include_directories\[ *(\d+)\] = "(.*)"', line):
            folders[match[1]] = match[2]
        elif match := re.match(r"file_names\[ *(\d+)\]", line):
            name_of = match[1]
        elif match := re.match(r' +name: "(.*)"', line):
            files[name_of] = match[1]
        elif match := re.match(r" +dir_index: (\d+)", line):
            path = os.path.normpath(os.path.join(folders["0"], folders[match[1]], files[name_of]))
            path = os.path.relpath(path, ROOT)
            if path.endswith(".cpp") and not path.startswith(("..", "tests/")):
                wanted[name_of] = path
    table.wait()
    return found


def programs_below(folder):
    """Name -> path of each program of the build, as its runs name it."""
    targets = subprocess.run(["ninja", "-C", folder, "-t", "targets", "all"], capture_output=True, text=True, check=True)
    return {name.rsplit("/", 1)[-1]: name for name in re.findall(r"^(\S+): C\w*_EXECUTABLE_LINKER", targets.stdout, re.M)}


def lines_seen(folder, numbers):
    """{file: {line: [[program, [case]]]}} of the cases' runs; a line of code that none of them ran has an empty list."""
    ran, lines, paths = {}, {}, programs_below(folder)
    for number in numbers:
        for file in (folder / "seen" / str(number)).glob("*.seen"):
            for place in re.finditer(b"\x01", file.read_bytes()):
                ran.setdefault(file.stem, {}).setdefault(place.start() - 1, []).append(number)
    for name, by_place in ran.items():
        file = next((folder / "seen").glob(f"*/{name}.pcs")).read_bytes()
        addresses = struct.unpack(f"<{len(file) // 8}Q", file)
        for (path, line), places in lines_of(folder / paths[name], addresses).items():
            runs = sorted(set().union(*(by_place.get(place, ()) for place in places)))
            known = lines.setdefault(path, {}).setdefault(str(line), [])
            if runs:
                known.append([paths[name], runs])
    return lines


def measure(folder, jobs):
    """{"cases": [[command, environment, seconds]], "lines": lines_seen()}; "@" stands for the folder in the commands."""
    build(folder, jobs)
    seen = folder / "seen"
    shutil.rmtree(seen, ignore_errors=True)
    all_cases = cases(folder)

    def one(number):
        command, env = all_cases[number]
        (seen / str(number)).mkdir(parents=True)
        start = time.monotonic()
        well = run(command, {"KX_RANDOM_SHARE": "24", **env, "KX_COVERED": f"{seen}/{number}"}, CASE_LIMIT_S)
        return well, time.monotonic() - start

    with concurrent.futures.ThreadPoolExecutor(2 * jobs) as several:
        results = list(several.map(one, range(len(all_cases))))
    well = [number for number, (ended_well, _) in enumerate(results) if ended_well]
    for number in set(range(len(all_cases))) - set(well):
        print(f"left out: {' '.join(all_cases[number][0])} fails on the unchanged product, where it runs here", flush=True)
    lines = lines_seen(folder, well)
    cased = [[[word.replace(str(folder), "@") for word in command], env, round(results[number][1], 2)]
             for number, (command, env) in enumerate(all_cases)]
    found = {"cases": cased, "lines": lines}
    (folder / "covered.json").write_text(json.dumps(found))
    return found
