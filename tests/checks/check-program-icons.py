#!/usr/bin/env python3
"""Compares the icons of Wine's programs, as kestrelbay draws them, with those of another decoder.

usage: check-program-icons.py KESTRELBAY [RUNNER]

With RUNNER, which runs Windows programs, KESTRELBAY is the Windows program, and WINEPREFIX names its prefix. The
files are the same for both bindings, so the pixels must be equal. Wine scales an icon that has no image of 256
pixels. For such an icon only the form of the picture is checked.
"""

import base64
import glob
import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib

from sources import finish

PROGRAMS = pathlib.Path("/usr/lib/x86_64-linux-gnu/wine/x86_64-windows")
NAMES = ["notepad", "taskmgr", "explorer", "regedit", "winemine", "wordpad", "iexplore", "winhlp32", "clock"]
UNINSTALL = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall"
GATE = "\n[HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products]\n"
SMALL = 48
PICTURE = "data:image/png;base64,"


def predict(kind, left, up, corner):
    if kind == 1:
        return left
    if kind == 2:
        return up
    if kind == 3:
        return (left + up) // 2
    if kind == 4:
        return min((left, up, corner), key=lambda near: abs(left + up - corner - near))
    return 0


def decode(png):
    """(width, pixels of four bytes each) of a PNG file of eight bits a colour, with alpha, not interlaced."""
    assert png.startswith(b"\x89PNG\r\n\x1a\n"), "no PNG file"
    at, data = 8, b""
    while at < len(png):
        size, kind = struct.unpack(">I4s", png[at : at + 8])
        body = png[at + 8 : at + 8 + size]
        assert zlib.crc32(kind + body) == struct.unpack(">I", png[at + 8 + size : at + 12 + size])[0], "damaged"
        if kind == b"IHDR":
            width, height, depth, colour, _, _, interlaced = struct.unpack(">IIBBBBB", body)
            assert (depth, colour, interlaced) == (8, 6, 0), "another kind of PNG file"
        data += body if kind == b"IDAT" else b""
        at += 12 + size
    raw, stride = zlib.decompress(data), width * 4
    rows, before = [], bytes(stride)
    for y in range(height):
        line = bytearray(raw[y * (stride + 1) : (y + 1) * (stride + 1)])
        kind, line = line[0], line[1:]
        for x in range(stride):
            left = line[x - 4] if x >= 4 else 0
            corner = before[x - 4] if x >= 4 else 0
            line[x] = (line[x] + predict(kind, left, before[x], corner)) & 0xFF
        rows.append(bytes(line))
        before = line
    return width, b"".join(rows)


def largest_image(program, folder):
    """(width, pixels) of the first icon's largest image, as icoutils read it; None where there is no icon."""
    listed = subprocess.run(["wrestool", "-l", "-t14", program], capture_output=True, text=True, check=False).stdout
    if not listed:
        return None
    name = listed.split("--name=")[1].split()[0]
    icon = folder / "icon.ico"
    with open(icon, "wb") as file:
        subprocess.run(["wrestool", "-x", "-t14", "--name=" + name.strip("'"), program], stdout=file, check=True)
    subprocess.run(["icotool", "-x", "-o", folder, icon], check=True)
    pictures = [pathlib.Path(found) for found in glob.glob(str(folder / "icon_*.png"))]
    decoded = [decode(picture.read_bytes()) for picture in sorted(pictures, key=depth)]
    for file in [icon, *pictures]:
        file.unlink()
    return max(decoded, key=lambda image: image[0])


def depth(picture):
    """Files are named icon_NUMBER_WIDTHxHEIGHTxBITS.png; of images of one size the deepest comes first."""
    return -int(picture.stem.split("x")[-1])


def export(paths):
    """A registration file of one application for each path, named after its program."""
    text = "Windows Registry Editor Version 5.00\n" + GATE
    for name, path in paths.items():
        path = path.replace("\\", "\\\\")
        text += f'\n[{UNINSTALL}\\{name}]\n"DisplayName"="{name}"\n"UninstallString"="u"\n"DisplayIcon"="{path}"\n'
    return text


def list_simulated(host, programs, folder):
    drive = folder / "pc" / "drives" / "C"
    registry = folder / "pc" / "registry"
    for made in (drive, registry):
        made.mkdir(parents=True)
    for program in programs:
        shutil.copy(program, drive)
    (registry / "1.reg").write_text(export({p.stem: "C:\\" + p.name for p in programs}), encoding="utf-8")
    return [host, "--machine", str(folder / "pc")]


def list_under_wine(host, runner, programs, folder):
    text = export({p.stem: "Z:" + str(p).replace("/", "\\") for p in programs})
    (folder / "1.reg").write_bytes(text.encode("utf-16"))
    subprocess.run([runner, "regedit.exe", "/S", str(folder / "1.reg")], check=True)
    return [runner, host]


def difference(drawn, expected, scales):
    """What is wrong with the icon text of a program whose largest image is `expected`; None for nothing."""
    if not drawn.startswith(PICTURE):
        return "no picture: " + repr(drawn[:60])
    width, pixels = decode(base64.b64decode(drawn[len(PICTURE) :]))
    if expected is None:
        return None if width == 256 else f"the common icon is {width} pixels wide"
    if expected[0] < 256:
        return None if scales or width == SMALL else f"a small icon came out {width} pixels wide"
    if width != 256:
        return f"{width} pixels wide"
    wrong = sum(pixels[at : at + 4] != expected[1][at : at + 4] for at in range(0, len(pixels), 4))
    return f"{wrong} pixels differ" if wrong else None


def check(host, runner):
    programs = [PROGRAMS / (name + ".exe") for name in NAMES if (PROGRAMS / (name + ".exe")).exists()]
    problems, compared = [], 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        ready = list_under_wine(host, runner, programs, folder) if runner else list_simulated(host, programs, folder)
        output = subprocess.run([*ready, "--json", "list", "--icons"], check=True, stdout=subprocess.PIPE).stdout
        icons = {app["displayName"]: app["iconText"] for app in json.loads(output)}
        for program in programs:
            expected = largest_image(program, folder)
            wrong = difference(icons[program.stem], expected, scales=bool(runner))
            print(program.stem, "no icon" if expected is None else f"{expected[0]} pixels", wrong or "as it should be")
            compared += expected is not None and expected[0] == 256
            problems += [f"{program.stem}: {wrong}"] if wrong else []
    if compared < 3:
        problems.append(f"only {compared} programs have an image that is drawn unscaled: is wine there?")
    return problems, len(programs)


if __name__ == "__main__":
    finish(*check(sys.argv[1], sys.argv[2] if len(sys.argv) > 2 else None))
