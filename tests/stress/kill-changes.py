#!/usr/bin/env python3
"""Kills kestrelbay in the middle of changes. Afterwards the machine must be the old one or the new one, complete.

    kill-changes.py PROGRAM [--kills N] [--jobs N] [--seed N]

Half of the kills come at a boundary of a system call: strace kills the process before the n-th call of each kind that
the operation makes. The others come at random times. After each kill the script lists the machine, checks the files of
its drive, and repeats the operation, which must give the new machine.
"""

import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

HEADER = "Windows Registry Editor Version 5.00\n"
UNINSTALL = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall"
GATE = "\n[HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products]\n"
SECONDS = 120
# Calls that change files, or that decide whether one is changed.
CALLS = ("mkdirat", "openat", "openat2", "write", "fsync", "renameat", "unlinkat", "flock", "close", "faccessat",
         "faccessat2", "read", "newfstatat", "futex", "clone3", "mmap", "munmap", "exit_group")


def entry(version, date):
    values = {"DisplayName": "Alpha", "DisplayVersion": version, "InstallDate": date,
              "UninstallString": r"C:\\Alpha\\remove.exe"}
    lines = [f'"{name}"="{text}"' for name, text in values.items()]
    return f"\n[{UNINSTALL}\\Alpha]\n" + "\n".join(lines) + "\n"


def below(*names):
    """Keys below the entry."""
    return "".join(f'\n[{UNINSTALL}\\Alpha\\{name}]\n"x"="y"\n' for name in names)


class Operation:
    """A command, and the version that is installed on its machine before; None if none is."""

    def __init__(self, name, version, arguments):
        self.name, self.version, self.arguments = name, version, arguments


OPERATIONS = [
    Operation("install", None, ["install", r"C:\setup.exe", "--name", "Alpha"]),
    Operation("update", "1.0", ["install", r"C:\setup.exe", "--name", "Alpha"]),
    Operation("uninstall", "1.0", ["uninstall", "Alpha"]),
    Operation("forget", "1.0", ["forget", "Alpha", "--yes"]),
]


def make_machine(folder, version):
    registry, drive, setups = folder / "registry", folder / "drives" / "C", folder / "setups"
    for made in (registry, drive / "Alpha", setups):
        made.mkdir(parents=True)
    installed = entry(version, "20200101") + below("Parts", "Shell\\Open") if version else ""
    (registry / "10.reg").write_text(HEADER + GATE + installed)
    (setups / "new.reg").write_text(HEADER + entry("2.0", "20260101"))
    (setups / "gone.reg").write_text(HEADER + f"\n[-{UNINSTALL}\\Alpha]\n")
    for name in ("setup.exe", "Alpha/remove.exe", "Alpha/old.dll"):
        (drive / name).touch()
    (folder / "machine.json").write_text(json.dumps({"programs": {
        r"C:\setup.exe": {"steps": [{
            "merges": "setups/new.reg", "adds": [r"C:\Alpha\bin\a.exe", r"C:\Alpha\bin\b.exe", r"C:\Alpha\new.dll"],
            "removes": [r"C:\Alpha\old.dll"]}]},
        r"C:\Alpha\remove.exe": {"steps": [{
            "waitsForWatch": f"{UNINSTALL}\\Alpha", "merges": "setups/gone.reg",
            "removes": [r"C:\Alpha\old.dll", r"C:\Alpha\remove.exe"]}]}}}))


class Killer:
    def __init__(self, program):
        self.program = program

    def run(self, machine, arguments, prefix=()):
        return subprocess.run([*prefix, self.program, "--machine", str(machine), *arguments],
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=SECONDS)

    def state(self, machine):
        """The machine's list, the files of its drive, and its changes. Raises if the machine cannot be read."""
        done = self.run(machine, ["--json", "list"])
        if done.returncode != 0:
            raise AssertionError(f"not readable: {done.stderr.decode()}")
        drive = machine / "drives" / "C"
        listed = [(app["displayName"], app["displayVersion"], app["installDate"]) for app in json.loads(done.stdout)]
        # Each operation is one file.
        changes = sorted(file.name for file in (machine / "registry").iterdir())
        return listed, sorted(str(file.relative_to(drive)) for file in drive.rglob("*")), changes

    def ends(self, operation):
        """The states before and after an operation that is not killed."""
        with tempfile.TemporaryDirectory(prefix="kestrelbay-kill-") as folder:
            machine = pathlib.Path(folder) / "pc"
            make_machine(machine, operation.version)
            old = self.state(machine)
            done = self.run(machine, operation.arguments)
            if done.returncode != 0:
                raise AssertionError(f"{operation.name}: {done.stderr.decode()}")
            return old, self.state(machine)

    def boundaries(self, operation):
        """Each call that an operation makes: its name, and its number among the calls of its thread."""
        with tempfile.TemporaryDirectory(prefix="kestrelbay-kill-") as folder:
            machine, trace = pathlib.Path(folder) / "pc", pathlib.Path(folder) / "trace"
            make_machine(machine, operation.version)
            self.run(machine, operation.arguments,
                     ["strace", "-f", "-o", str(trace), "-e", "trace=" + ",".join("?" + call for call in CALLS)])
            counts = collections.Counter(re.findall(r"^(\d+) +(\w+)\(", trace.read_text(), re.MULTILINE))
        most = collections.Counter()
        for (_, call), count in counts.items():
            most[call] = max(most[call], count)
        return [(call, number) for call, count in sorted(most.items()) for number in range(1, count + 1)]

    def run_until_killed(self, machine, operation, kill):
        if isinstance(kill, tuple):
            call, number = kill
            inject = f"inject={call}:signal=KILL:when={number}"
            self.run(machine, operation.arguments, ["strace", "-f", "-o", os.devnull, "-e", f"trace={call}", "-e", inject])
            return
        process = subprocess.Popen([self.program, "--machine", str(machine), *operation.arguments],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        time.sleep(kill)
        process.kill()
        process.wait(SECONDS)

    def check(self, operation, kill, ends):
        """@return which state was left, or what is wrong"""
        with tempfile.TemporaryDirectory(prefix="kestrelbay-kill-") as folder:
            machine = pathlib.Path(folder) / "pc"
            make_machine(machine, operation.version)
            self.run_until_killed(machine, operation, kill)
            # A process that is being killed holds the lock until it is gone.
            for _ in range(100):
                try:
                    left = self.state(machine)
                    break
                except AssertionError as error:
                    if "in use by another process" not in str(error):
                        return f"{operation.name}, {kill}: {error}"
                    time.sleep(0.05)
            else:
                return f"{operation.name}, {kill}: the lock stays"
            if left not in ends:
                return f"{operation.name}, {kill}: neither old nor new: {left}"
            if left == ends[0] and ends[0] != ends[1]:
                done = self.run(machine, operation.arguments)
                if self.state(machine) != ends[1]:
                    return f"{operation.name}, {kill}: repeating it does not give the new one: {done.stderr.decode()}"
            return "old" if left == ends[0] else "new"


def choose(killer, count, chance):
    """Pairs of an operation and a kill: boundaries for at most half of `count`, and random times for the rest."""
    boundaries = [(operation, kill) for operation in OPERATIONS for kill in killer.boundaries(operation)]
    chance.shuffle(boundaries)
    # The calls that change something come first.
    boundaries.sort(key=lambda pair: pair[1][0] not in ("write", "fsync", "renameat", "unlinkat", "mkdirat", "openat2"))
    chosen = boundaries[:count // 2]
    while len(chosen) < count:
        operation = chance.choice(OPERATIONS)
        # An installation and an uninstallation wait for half a second before they begin.
        longest = 0.08 if operation.name == "forget" else 0.75
        shortest = 0 if operation.name == "forget" or chance.random() < 0.2 else 0.5
        chosen.append((operation, chance.uniform(shortest, longest)))
    return chosen, len(boundaries)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--kills", type=int, default=1000)
    parser.add_argument("--jobs", type=int, default=2 * (os.cpu_count() or 1))
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    if not shutil.which("strace"):
        sys.exit("kill-changes: no strace; install Debian's package strace")
    killer = Killer(options.program)
    ends = {operation.name: killer.ends(operation) for operation in OPERATIONS}
    chosen, boundaries = choose(killer, options.kills, random.Random(options.seed))
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        results = list(pool.map(lambda pair: killer.check(*pair, ends[pair[0].name]), chosen))
    for line in results:
        if line not in ("old", "new"):
            print(line)
    counts = collections.Counter(line if line in ("old", "new") else "wrong" for line in results)
    print(f"{len(results)} kills, {boundaries} boundaries of calls: {counts['old']} left the old machine, "
          f"{counts['new']} the new one, {counts['wrong']} neither")
    sys.exit(1 if counts["wrong"] else 0)


if __name__ == "__main__":
    main()
