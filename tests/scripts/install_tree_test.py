"""Installs the build into a temporary root with DESTDIR, as a package
build does, and checks the tree a desktop sees: the program, its desktop
entry and metainfo (validated by the freedesktop tools), the icon in every
theme size, and the man page.

    install_tree_test.py BUILD_DIR SOURCE_DIR
"""

import gzip
import os
import struct
import subprocess
import sys
import tempfile

SIZES = (16, 22, 24, 32, 48, 64, 128, 256)
DESKTOP = "usr/share/applications/zanderfell.desktop"
METAINFO = "usr/share/metainfo/net.zanderfell.Zanderfell.metainfo.xml"
MAN = "usr/share/man/man1/zanderfell.1.gz"

failures = []


def check(ok, what):
    if not ok:
        failures.append(what)


def run(*cmd, **kw):
    r = subprocess.run(cmd, capture_output=True, text=True, **kw)
    out = (r.stdout + r.stderr).strip()
    return r.returncode, out


def png_size(path):
    with open(path, "rb") as f:
        head = f.read(24)
    if head[:8] != b"\x89PNG\r\n\x1a\n" or head[12:16] != b"IHDR":
        return None
    return struct.unpack(">II", head[16:24])


def desktop_keys(path):
    keys = {}
    with open(path, encoding="utf-8") as f:
        for line in f:
            if "=" in line and not line.startswith("#"):
                k, v = line.rstrip("\n").split("=", 1)
                keys.setdefault(k, v)
    return keys


def main(build, source):
    with tempfile.TemporaryDirectory() as root:
        env = dict(os.environ, DESTDIR=root)
        rc, out = run("cmake", "--install", build, "--prefix", "/usr", env=env)
        if rc != 0:
            print(out)
            return 1
        at = lambda rel: os.path.join(root, rel)

        installed = set()
        for d, _, files in os.walk(root):
            installed.update(os.path.relpath(os.path.join(d, f), root) for f in files)
        expected = {"usr/bin/zanderfell", DESKTOP, METAINFO, MAN,
                    "usr/share/icons/hicolor/scalable/apps/zanderfell.svg"}
        expected.update(f"usr/share/icons/hicolor/{s}x{s}/apps/zanderfell.png" for s in SIZES)
        check(installed == expected,
              f"installed files: missing {sorted(expected - installed)}, "
              f"unexpected {sorted(installed - expected)}")

        check(os.access(at("usr/bin/zanderfell"), os.X_OK), "usr/bin/zanderfell not executable")

        rc, out = run("desktop-file-validate", at(DESKTOP))
        check(rc == 0 and not out, f"desktop-file-validate: {out}")
        keys = desktop_keys(at(DESKTOP))
        check(keys.get("Exec", "").split(" ")[0] == "zanderfell", f"Exec: {keys.get('Exec')}")
        check("News" in keys.get("Categories", "").split(";"), f"Categories: {keys.get('Categories')}")
        icon = keys.get("Icon", "")
        for s in SIZES:
            png = at(f"usr/share/icons/hicolor/{s}x{s}/apps/{icon}.png")
            if not os.path.isfile(png):
                check(False, f"no {s}x{s} icon named {icon!r}")
                continue
            check(png_size(png) == (s, s), f"{s}x{s} icon is {png_size(png)}")
            # The same picture the program embeds for its windows.
            with open(png, "rb") as a, open(os.path.join(source, f"data/icons/zanderfell-{s}.png"), "rb") as b:
                check(a.read() == b.read(), f"{s}x{s} icon differs from the program's")

        rc, out = run("appstreamcli", "validate", "--no-net", at(METAINFO))
        check(rc == 0, f"appstreamcli validate: {out}")
        with open(at(METAINFO), encoding="utf-8") as f:
            check('<launchable type="desktop-id">zanderfell.desktop</launchable>' in f.read(),
                  "metainfo does not launch the installed desktop entry")

        with gzip.open(at(MAN), "rt", encoding="utf-8") as f:
            check(f.readline().startswith(".TH ZANDERFELL 1 "), "man page has no .TH line")

    for f in failures:
        print("FAIL:", f)
    print(f"install tree: {len(failures)} problem(s)")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2]))
