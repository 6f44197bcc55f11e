"""The include graph keeps its floors: shell/ and support/ at the bottom
include no subsystem, and nothing below the program includes program/."""

import os
import re
import sys

SRC = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "src")
FLOOR = {"shell", "support"}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^/"]+)/[^"]+"', re.M)


def violations(src):
    found = []
    for room in sorted(os.listdir(src)):
        folder = os.path.join(src, room)
        if not os.path.isdir(folder):
            continue
        for name in sorted(os.listdir(folder)):
            with open(os.path.join(folder, name), encoding="utf-8") as f:
                text = f.read()
            for target in INCLUDE.findall(text):
                if target == room:
                    continue
                if room in FLOOR and target not in FLOOR:
                    found.append(f"{room}/{name} stands on the floor but includes {target}/")
                elif room != "program" and target == "program":
                    found.append(f"{room}/{name} includes the roof program/")
    return found


if __name__ == "__main__":
    bad = violations(SRC)
    for line in bad:
        print(line)
    rooms = [d for d in os.listdir(SRC) if os.path.isdir(os.path.join(SRC, d))]
    if "program" not in rooms or "shell" not in rooms:
        print("src/program or src/shell is missing")
        sys.exit(1)
    sys.exit(1 if bad else 0)
