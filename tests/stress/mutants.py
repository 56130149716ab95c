#!/usr/bin/env python3
"""Damages the files of a machine at random. kestrelbay must answer or refuse, quickly and in little memory.

    mutants.py PROGRAM {texts | executables} [--mutants N] [--jobs N] [--seed N]

texts        registration files and machine.json of the sample machine; each run lists one mutant
executables  executables of the sample machine; each run draws the icons of many mutants
"""

import argparse
import base64
import collections
import concurrent.futures
import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile

SECONDS = 20
MOST_KIB = 300 << 10
EXECUTABLES = 50  # in each run
UNINSTALL = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall"
HEADER = "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products]\n"
TOKENS = [b"\0", b"\xff\xff\xff\xff", b"\x7f", b"\x80", b"\r\n", b"\\", b'"', b"[", b"]", b"{", b"}", b"=", b"-", b":",
          b"hex(7):", b"dword:ffffffff", b"\xff\xfe", b"\xef\xbb\xbf", b"\xed\xa0\x80", b"1e999", b"null", b"../",
          b"[-HKEY_LOCAL_MACHINE]\n", b"[" * 200, b"9" * 40, b"\x01\0\0\0", b"\0\0\0\x80"]


def mutate(data, others, chance):
    """A copy with one to four changes. Many of them are near the beginning."""
    data = bytearray(data)
    for _ in range(chance.randint(1, 4)):
        at = chance.randrange(len(data) + 1)
        if chance.random() < 0.4:
            at = min(at, chance.randrange(1024))
        length = chance.choice([1, 2, 4, 16, 300])
        kind = chance.randrange(7)
        if kind == 0 and at < len(data):
            data[at] ^= 1 << chance.randrange(8)
        elif kind == 1:
            del data[at:at + length]
        elif kind == 2:
            data[at:at] = data[at:at + length]
        elif kind == 3:
            data[at:at] = chance.choice(TOKENS)
        elif kind == 4:
            token = chance.choice(TOKENS)
            data[at:at + len(token)] = token
        elif kind == 5:
            other = chance.choice(others)
            begin = chance.randrange(len(other) + 1)
            data[at:at + length] = other[begin:begin + length]
        elif chance.random() < 0.3:
            del data[at:]
    return bytes(data)


def run(program, machine, *arguments):
    """@return exit status, standard output, standard error, and the peak of memory in KiB"""
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as error:
        process = subprocess.Popen([program, "--machine", str(machine), *arguments], stdin=subprocess.DEVNULL,
                                   stdout=out, stderr=error, preexec_fn=lambda: os.setpgid(0, 0))
        killer = subprocess.Popen(["sh", "-c", f"sleep {SECONDS}; kill -KILL {process.pid}"], process_group=0)
        _, status, usage = os.wait4(process.pid, 0)
        os.killpg(killer.pid, 15)
        killer.wait()
        out.seek(0), error.seek(0)
        return os.waitstatus_to_exitcode(status), out.read(), error.read(), usage.ru_maxrss


def check_end(status, error, memory):
    """@return what is wrong with the end of a run; empty if nothing is"""
    if status not in (0, 1):
        return f"ended with {status}"
    lines = error.decode("utf-8", "replace").splitlines()
    if not all(line.startswith("kestrelbay: ") for line in lines):
        return f"said {lines}"
    if status == 1 and not lines:
        return "failed without a message"
    if "bad_alloc" in "".join(lines) or "stopped: " in "".join(lines):
        return f"does not say what is wrong: {lines}"
    return f"took {memory} KiB" if memory > MOST_KIB else ""


class Texts:
    def __init__(self, program, sample, options):
        self.program, self.seed, self.count = program, options.seed, options.mutants
        files = [*sorted(sample.glob("*/*.reg")), sample / "machine.json"]
        self.files = {str(file.relative_to(sample)): file.read_bytes() for file in files}
        # The same file in UTF-16, as Windows writes it.
        first = next(iter(self.files))
        self.files["registry/~utf-16.reg"] = self.files[first].decode("utf-8-sig").encode("utf-16")
        self.choices = [*self.files, *["machine.json"] * (len(self.files) // 3)]

    def runs(self):
        return range(self.count)

    def check(self, number):
        chance = random.Random(f"{self.seed} {number}")
        chosen = chance.choice(self.choices)
        mutant = mutate(self.files[chosen], list(self.files.values()), chance)
        with tempfile.TemporaryDirectory(prefix="kestrelbay-mutant-") as folder:
            machine = pathlib.Path(folder) / "pc"
            for name, data in self.files.items():
                file = machine / name
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_bytes(mutant if name == chosen else data)
            status, output, error, memory = run(self.program, machine, "--json", "list")
        problem = check_end(status, error, memory)
        if not problem and status == 0 and not isinstance(json.loads(output), list):
            problem = "listed nothing"
        if not problem and status == 1 and str(machine).encode() not in error:
            problem = f"names no file: {error.decode()}"
        return problem, "refused" if status else "listed"


class Executables:
    def __init__(self, program, sample, options):
        self.program, self.seed, self.count = program, options.seed, options.mutants
        self.seeds = [file.read_bytes() for file in sorted(sample.rglob("*.exe")) if file.stat().st_size > 1000]

    def runs(self):
        return range(0, self.count, EXECUTABLES)

    def check(self, number):
        chance = random.Random(f"{self.seed} {number}")
        with tempfile.TemporaryDirectory(prefix="kestrelbay-mutant-") as folder:
            machine = pathlib.Path(folder) / "pc"
            (machine / "registry").mkdir(parents=True)
            (machine / "drives" / "C").mkdir(parents=True)
            text = HEADER
            for at in range(EXECUTABLES):
                mutant = mutate(chance.choice(self.seeds), self.seeds, chance)
                (machine / "drives" / "C" / f"{at}.exe").write_bytes(mutant)
                text += (f'\n[{UNINSTALL}\\{at}]\n"DisplayName"="{at}"\n"UninstallString"="u"\n'
                         f'"DisplayIcon"="C:\\\\{at}.exe"\n')
            (machine / "registry" / "1.reg").write_text(text)
            status, output, error, memory = run(self.program, machine, "--json", "list", "--icons")
        problem = check_end(status, error, memory)
        if problem or status:
            return problem or f"refused: {error.decode()}", "refused"
        pictures = [app["iconText"].partition("data:image/png;base64,")[2] for app in json.loads(output)]
        drawn = [base64.b64decode(picture) for picture in pictures if picture]
        if len(pictures) != EXECUTABLES:
            return f"listed {len(pictures)}", "listed"
        if not all(png.startswith(b"\x89PNG\r\n\x1a\n") and png.endswith(b"IEND\xaeB\x60\x82") for png in drawn):
            return "drew something else than PNG", "listed"
        return "", f"{len(drawn) * 10 // EXECUTABLES}0 % drawn"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("kind", choices=["texts", "executables"])
    parser.add_argument("--mutants", type=int, default=6000)
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    sample = pathlib.Path(options.program).resolve().parents[1] / "share" / "kestrelbay" / "desk"
    tester = (Texts if options.kind == "texts" else Executables)(options.program, sample, options)
    counts, wrong = collections.Counter(), 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for number, (problem, outcome) in zip(tester.runs(), pool.map(tester.check, tester.runs())):
            counts[outcome] += 1
            if problem:
                wrong += 1
                print(f"mutant {number} of seed {options.seed}: {problem}", flush=True)
    print(f"{options.mutants} mutants of {options.kind} in {counts.total()} runs, {wrong} of them wrong:",
          ", ".join(f"{count} {outcome}" for outcome, count in sorted(counts.items())))
    sys.exit(1 if wrong or not counts else 0)


if __name__ == "__main__":
    main()
