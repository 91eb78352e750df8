#!/usr/bin/env python3
"""Builds the protected-list texts of VKLinkDB from a reference installation.

Two kinds of list, in the format the library embeds (ANSI, every line ended by CR LF):

  files  one line per file of the Windows directory tree, written as
         %SystemDir%\\<path> for files under the system directory and
         %WindowsDir%\\<path> for every other file:
           protlists.py files --windows /path/to/drive_c/windows -o WIN_FILES_101.txt
           protlists.py files --listing dir-s-b.txt --strip 'C:\\WINDOWS\\' -o ...
         A plain listing holds one path a line (either separator); entries that are the
         parent of another entry are directories and are left out.

  keys   one line per registry key under HKLM, then one empty line, then one line per
         key under HKCU; every ancestor of a key has a line of its own before it (the
         bare roots HKLM and HKCU are not listed):
           protlists.py keys --reg system.reg --reg user.reg -o WIN_REGS_110.txt
         Inputs are regedit exports (REGEDIT4, or "Windows Registry Editor Version 5.00"
         in UTF-16) or Wine's own hive files (system.reg is HKLM, user.reg HKCU).

Names that the ANSI code page (cp1252) cannot hold, and lines longer than 259
characters, are left out (a key with all its sub-keys) and counted on stderr.
"""
import argparse
import fnmatch
import os
import re
import sys

MAX_LINE = 259
ANSI = "cp1252"
ROOTS = {
    "HKEY_LOCAL_MACHINE": ("HKLM", ""),
    "HKLM": ("HKLM", ""),
    "HKEY_CURRENT_USER": ("HKCU", ""),
    "HKCU": ("HKCU", ""),
    # The classes root is a view of HKLM\Software\Classes.
    "HKEY_CLASSES_ROOT": ("HKLM", "SOFTWARE\\Classes"),
    "HKCR": ("HKLM", "SOFTWARE\\Classes"),
}


class Skipped:
    """Counts what could not be written, by reason."""

    def __init__(self):
        self.counts = {}

    def add(self, reason):
        self.counts[reason] = self.counts.get(reason, 0) + 1

    def report(self, what):
        for reason, n in sorted(self.counts.items()):
            print(f"protlists: {what}: {n} left out ({reason})", file=sys.stderr)


def encodable(text):
    try:
        text.encode(ANSI)
        return True
    except UnicodeEncodeError:
        return False


def fold(text):
    return text.lower()


def write_lines(path, lines):
    data = b"".join(line.encode(ANSI) + b"\r\n" for line in lines)
    with open(path, "wb") as out:
        out.write(data)


# ---- file lists -------------------------------------------------------------------------


def files_from_tree(windows):
    """Paths of the files below `windows`, relative, with backslashes."""
    found = []
    for top, dirs, names in os.walk(windows):
        dirs.sort()
        for name in names:
            full = os.path.join(top, name)
            if os.path.isfile(full):  # follows links; a dangling one is no file
                found.append(os.path.relpath(full, windows).replace(os.sep, "\\"))
    return found


def read_text(path, encoding):
    raw = open(path, "rb").read()
    if encoding != "auto":
        return raw.decode(encoding)
    if raw.startswith(b"\xff\xfe") or raw.startswith(b"\xfe\xff"):
        return raw.decode("utf-16")
    if raw.startswith(b"\xef\xbb\xbf"):
        return raw[3:].decode("utf-8")
    try:
        return raw.decode("utf-8")
    except UnicodeDecodeError:
        return raw.decode(ANSI)


def files_from_listing(path, strip, encoding, skipped):
    strip = strip.replace("/", "\\")
    entries = []
    for line in read_text(path, encoding).splitlines():
        line = line.strip().replace("/", "\\")
        if not line:
            continue
        if strip:
            if not fold(line).startswith(fold(strip)):
                skipped.add("outside the stripped prefix")
                continue
            line = line[len(strip):]
        line = line.strip("\\")
        if line:
            entries.append(line)
    # An entry with entries below it is a directory.
    parents = set()
    for e in entries:
        parts = e.split("\\")
        for i in range(1, len(parts)):
            parents.add(fold("\\".join(parts[:i])))
    return [e for e in entries if fold(e) not in parents]


def file_lines(relpaths, system_dir, excludes, drop_ext, skipped):
    sysprefix = fold(system_dir) + "\\"
    lines, seen = [], set()
    for rel in relpaths:
        low = fold(rel)
        if any(fnmatch.fnmatch(low, fold(p)) for p in excludes):
            skipped.add("excluded")
            continue
        if any(low.endswith("." + fold(e)) for e in drop_ext):
            skipped.add("family rule")
            continue
        if low.startswith(sysprefix):
            line = "%SystemDir%\\" + rel[len(sysprefix):]
        else:
            line = "%WindowsDir%\\" + rel
        if not encodable(line):
            skipped.add("not ANSI")
            continue
        if len(line) > MAX_LINE:
            skipped.add("longer than 259")
            continue
        if fold(line) not in seen:
            seen.add(fold(line))
            lines.append(line)
    lines.sort(key=fold)
    return lines


# ---- registry lists ---------------------------------------------------------------------

WINE_ESCAPES = {'"': '"', "a": "\a", "b": "\b", "e": "\x1b", "f": "\f",
                "n": "\n", "r": "\r", "t": "\t", "v": "\v"}


def wine_key_parts(text):
    """The components of a key path in Wine's hive files. Key names hold no backslash,
    so an escaped backslash always separates; \\xHHHH and \\ooo are UTF-16 code units."""
    parts, units, i = [], [], 0

    def close():
        name = "".join(units).encode("utf-16", "surrogatepass").decode("utf-16", "replace")
        if name:
            parts.append(name)
        units.clear()

    while i < len(text):
        c = text[i]
        if c != "\\" or i + 1 == len(text):
            units.append(c)
            i += 1
            continue
        n = text[i + 1]
        if n == "\\":
            close()
            i += 2
            continue
        if n == "x":
            m = re.match(r"[0-9a-fA-F]{1,4}", text[i + 2:])
            if m:
                units.append(chr(int(m.group(0), 16)))
                i += 2 + len(m.group(0))
                continue
        if n in "01234567":
            m = re.match(r"[0-7]{1,3}", text[i + 1:])
            units.append(chr(int(m.group(0), 8)))
            i += 1 + len(m.group(0))
            continue
        units.append(WINE_ESCAPES.get(n, n))
        i += 2
    close()
    return parts


def keys_from_file(path, skipped):
    """(root, [components]) for every key the file names."""
    text = read_text(path, "auto")
    lines = text.splitlines()
    out = []
    if lines and lines[0].startswith("WINE REGISTRY"):
        root = None
        for line in lines[:5]:
            m = re.match(r";; All keys relative to (.*)", line)
            if m:
                rel = m.group(1).replace("\\\\", "\\").upper()
                root = "HKLM" if rel.endswith("REGISTRY\\MACHINE") else (
                    "HKCU" if "REGISTRY\\USER\\" in rel else None)
        if root is None:
            raise SystemExit(f"protlists: {path}: a Wine hive of an unknown root")
        for line in lines:
            m = re.match(r"\[(.*)\]( \d+)?$", line)
            if not m:
                continue
            out.append((root, wine_key_parts(m.group(1))))
        return out
    if not re.match(r"(REGEDIT4|Windows Registry Editor Version 5\.00)", lines[0].lstrip("\ufeff") if lines else ""):
        raise SystemExit(f"protlists: {path}: neither a .reg export nor a Wine hive")
    for line in lines:
        m = re.match(r"\[([^-].*)\]\s*$", line)
        if not m:
            continue
        parts = [p for p in m.group(1).split("\\") if p]
        mapped = ROOTS.get(parts[0].upper()) if parts else None
        if not mapped:
            skipped.add("root other than HKLM, HKCU, HKCR")
            continue
        root, under = mapped
        out.append((root, (under.split("\\") if under else []) + parts[1:]))
    return out


def key_lines(keys, excludes, skipped):
    """HKLM lines, then HKCU lines; ancestors first, children in case-insensitive order."""
    trees = {"HKLM": {}, "HKCU": {}}
    excluded = [[fold(c) for c in e.split("\\") if c] for e in excludes]
    for root, parts in keys:
        path = [fold(root)] + [fold(p) for p in parts]
        if any(path[:len(e)] == e for e in excluded):
            skipped.add("excluded")
            continue
        node = trees[root]
        for p in parts:
            entry = node.setdefault(fold(p), [p, {}])  # the first spelling met is kept
            node = entry[1]

    def walk(prefix, node, out):
        for low in sorted(node):
            name, children = node[low]
            line = prefix + "\\" + name
            if not encodable(name) or "\r" in name or "\n" in name:
                skipped.add("not ANSI")
                continue
            if len(line) > MAX_LINE:
                skipped.add("longer than 259")
                continue
            out.append(line)
            walk(line, children, out)

    hklm, hkcu = [], []
    walk("HKLM", trees["HKLM"], hklm)
    walk("HKCU", trees["HKCU"], hkcu)
    return hklm + [""] + hkcu


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    sub = parser.add_subparsers(dest="kind", required=True)
    f = sub.add_parser("files", help="a file list from a Windows directory tree or a listing")
    src = f.add_mutually_exclusive_group(required=True)
    src.add_argument("--windows", help="the Windows directory of the installation")
    src.add_argument("--listing", help="a plain listing, one path a line")
    f.add_argument("--strip", default="", help="prefix removed from every listed path (the Windows directory)")
    f.add_argument("--encoding", default="auto", help="encoding of the listing (default: guessed)")
    f.add_argument("--system-dir", default=None,
                   help="the system directory below the Windows directory (default: system32 if present, else system)")
    f.add_argument("--exclude", action="append", default=[], help="glob on the relative path to leave out")
    f.add_argument("--drop-ext", action="append", default=[], help="file extension to leave out")
    f.add_argument("-o", "--output", required=True)
    k = sub.add_parser("keys", help="a registry list from .reg exports or Wine hive files")
    k.add_argument("--reg", action="append", required=True, help="an input file (repeatable)")
    k.add_argument("--exclude", action="append", default=[], help="key (with its sub-keys) to leave out, e.g. HKCU\\Software\\Wine")
    k.add_argument("-o", "--output", required=True)
    args = parser.parse_args(argv)

    skipped = Skipped()
    if args.kind == "files":
        if args.windows:
            rel = files_from_tree(args.windows)
            system_dir = args.system_dir or (
                "system32" if os.path.isdir(os.path.join(args.windows, "system32")) else "system")
        else:
            rel = files_from_listing(args.listing, args.strip, args.encoding, skipped)
            system_dir = args.system_dir or "system32"
        lines = file_lines(rel, system_dir, args.exclude, args.drop_ext, skipped)
    else:
        keys = []
        for path in args.reg:
            keys.extend(keys_from_file(path, skipped))
        lines = key_lines(keys, args.exclude, skipped)
    write_lines(args.output, lines)
    skipped.report(args.output)
    print(f"protlists: {args.output}: {len(lines)} lines", file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
