#!/usr/bin/env python3
"""Reads many mutants of real hives and of their logs. Finds crashes, hangs, too much memory, and silent loss.

    mutate-hives.py HIVE-MUTANTS DATA [--mutants N] [--seed N]

HIVE-MUTANTS is the program of this folder. DATA has the folder hives/. A mutant is a hive, or one of its logs, with one
to three changes: bits, bytes, words, a sector of zeros, a word from elsewhere, or a cut. Half of the logs and all hives
get a correct header checksum again, so that they are not refused because of it.

For each mutant all keys are read. Each of these is a fault:

- a crash; a read that takes more than 5 s; more memory than 4 times the files' size;
- a silent loss: without a report and with exit status 0, a key has fewer subkeys or fewer values than it has in the
  undamaged hive, or another name if its hive has the hashes of all names.

These are not faults, because they cannot be detected:

- Types, times and data that only differ: a hive has no checksum for them. Hives of the format of Windows 2000 have no
  hashes of names, either.
- A key that counts fewer values than it has: Windows leaves old entries in the lists, and real hives have hundreds.
- A loss from a log of dirty sectors, which has no checksum at all. But its mutants must not crash.
- The loss of the last log entry: it may come from a torn write. Windows ignores it, too.
"""
import argparse
import collections
import lzma
import pathlib
import re
import subprocess
import sys
import tempfile

HIVES = ["ntuser-localservice-win11", "ntuser-bperry", "dirty-win7.recovered", "dirty-win10.recovered"]
ENTRY_LOGS = [["dirty-win10", ".LOG1", ".LOG2"]]
SECTOR_LOGS = [["dirty-win7", ".LOG1"]]
LARGE_ENTRY_LOGS = [["ntuser-rathbun-win11", ".LOG1", ".LOG2"]]
CHUNK = 500


def unpack(data, folder, names):
    paths = []
    for name in names:
        paths.append(folder / name)
        paths[-1].write_bytes(lzma.decompress((data / "hives" / f"{name}.xz").read_bytes()))
    return paths


class Runner:
    def __init__(self, options, folder):
        self.options, self.folder = options, folder
        self.counts = collections.Counter()
        self.faults = []
        self.most = 0.0

    def run(self, what, names, mutants, may_lose=False):
        files = unpack(pathlib.Path(self.options.data), self.folder, names)
        for begin in range(0, mutants, CHUNK):
            count = min(CHUNK, mutants - begin)
            seed = self.options.seed * 1_000_000 + begin
            work = self.folder / "work"
            work.mkdir(exist_ok=True)
            done = subprocess.run([self.options.program, what, work, str(seed), str(count), *files],
                                  capture_output=True, text=True)
            self.add(names[0], done, may_lose)
            for file in work.iterdir():
                file.unlink()
        for file in files:
            file.unlink()

    def add(self, name, done, may_lose):
        numbers = re.findall(r"(\d+) (same|reported|refused|changed only|as after a torn write|"
                             r"with fewer values counted|silent losses|above the memory limit)", done.stdout)
        for number, kind in numbers:
            self.counts["lost, without a checksum" if may_lose and kind == "silent losses" else kind] += int(number)
        most = re.search(r"memory at most ([\d.]+)", done.stdout)
        self.most = max(self.most, float(most[1]) if most else 0)
        if not numbers:
            self.faults.append(f"{name}: status {done.returncode}, mutant {done.stderr.split()[-1]}")
        self.faults += [f"{name}: {line}" for line in re.findall(r"seed \d+: .*", done.stderr)
                        if not may_lose or "silent loss" not in line]

    def report(self, what):
        counts = ", ".join(f"{number} {kind}" for kind, number in sorted(self.counts.items()))
        print(f"{what}: {sum(self.counts.values())} mutants: {counts}; "
              f"memory at most {self.most:.2f} times the files; {len(self.faults)} faults")
        for fault in self.faults:
            print(fault)
        return not self.faults


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("data")
    parser.add_argument("--mutants", type=int, default=20000, help="of hives, and as many of logs")
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="kestrelbay-mutants-") as folder:
        hives, logs = Runner(options, pathlib.Path(folder)), Runner(options, pathlib.Path(folder))
        for name in HIVES:
            hives.run("hive", [name], options.mutants // len(HIVES))
        for names in ENTRY_LOGS + SECTOR_LOGS:
            files = [names[0], *(names[0] + end for end in names[1:])]
            logs.run("log", files, options.mutants * 2 // 5, may_lose=names in SECTOR_LOGS)
        for names in LARGE_ENTRY_LOGS:
            logs.run("log", [names[0], *(names[0] + end for end in names[1:])], options.mutants // 5)
        results = [hives.report("hives"), logs.report("logs")]
    sys.exit(0 if all(results) else 1)


if __name__ == "__main__":
    main()
