#!/usr/bin/env python3
"""Calls the library from many threads at once. Each answer must be that of a single thread.

    threads.py LIBRARIES SAMPLE [--threads N] [--seconds N]

LIBRARIES is the folder of the shared libraries. SAMPLE is a machine directory.
"""

import argparse
import collections
import os
import pathlib
import random
import shutil
import sys
import tempfile
import threading
import time

SOURCE = pathlib.Path(__file__).resolve().parents[2]


def calls(library):
    """The calls by their names. Each of them always has the same answer."""
    names = [app.name for app in library.list()]
    named = {f"version of {name}": lambda name=name: library.version(name) for name in names[:10]}
    return {
        "list": lambda: library.list(),
        "list with icons": lambda: library.list(icons=True),
        "facts": library.facts,
        "free space": lambda: library.free_space("C"),
        "free space of no drive": lambda: library.free_space("?"),
        "version of nobody": lambda: library.version("Nobody has this"),
        "secret": lambda: library.decrypt(library.encrypt("sécret " * 20)),
        "forget nobody": lambda: library.forget("Nobody has this"),
        "start nobody": lambda: library.start("Nobody has this"),
        **named,
    }


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("libraries")
    parser.add_argument("sample")
    parser.add_argument("--threads", type=int, default=32)
    parser.add_argument("--seconds", type=float, default=120)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="kestrelbay-threads-") as folder:
        machine = pathlib.Path(folder) / "pc"
        shutil.copytree(options.sample, machine)
        os.environ["KESTRELBAY_MACHINE"] = str(machine)
        sys.path.insert(0, str(SOURCE / "bindings" / "python"))
        sys.dont_write_bytecode = True
        from kestrelbay_general import Library
        library = Library(options.libraries)
        functions = calls(library)
        expected = {name: call() for name, call in functions.items()}
        end = time.monotonic() + options.seconds
        counts, wrong = [collections.Counter() for _ in range(options.threads)], []

        def work(number):
            chance = random.Random(number)
            while time.monotonic() < end:
                name = chance.choice(list(functions))
                try:
                    answer = functions[name]()
                except Exception as error:  # otherwise the thread would end and hide it
                    answer = error
                if answer != expected[name]:
                    wrong.append(f"{name}: {answer!r}"[:500])
                counts[number][name] += 1

        threads = [threading.Thread(target=work, args=[number]) for number in range(options.threads)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(options.seconds + 60)
        hanging = sum(thread.is_alive() for thread in threads)
        changes = [file.name for file in (machine / "registry").iterdir() if file.name.startswith("~")]
    for line in wrong[:20]:
        print(line)
    total = sum(counts, collections.Counter())
    print(f"{total.total()} calls on {options.threads} threads, {len(wrong)} wrong answers, {hanging} threads hang, "
          f"{len(changes)} changes of the machine; fewest of a kind: {min(total.values(), default=0)}")
    sys.stdout.flush()
    os._exit(1 if wrong or hanging or changes or len(total) < len(functions) else 0)


if __name__ == "__main__":
    main()
