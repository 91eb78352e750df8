#!/usr/bin/env bash
# Rebuilds the ten protected-list texts in Protect/lists/ from fresh 32-bit Wine
# prefixes, one booted under each release that a list stands for (see
# docs/protected-lists.md for the sources, the family rule and the licence):
#
#   WIN_FILES_101 / WIN_REGS_110   Windows 2000 and XP   prefix booted as winxp
#   WIN_FILES_104 / WIN_REGS_114   Windows NT 3 and 4    prefix booted as nt40
#   WIN_FILES_102 / WIN_REGS_111   Windows 95            prefix booted as win95
#   WIN_FILES_103 / WIN_REGS_112   Windows 98            prefix booted as win98
#   WIN_FILES_105 / WIN_REGS_113   Windows Millennium    prefix booted as winme
#
# A prefix booted under a release of the 95 line gets Wine's undecorated install
# sections, one booted under the NT line the ".NT" ones. The family rule leaves NT
# kernel drivers (*.sys) out of the 95-line file lists and VxDs (*.vxd) out of the NT
# ones. Wine's own configuration (Software\Wine) is left out of every registry list.
#
# Usage: tools/make-protected-lists.sh [output-folder]   (default Protect/lists)
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-Protect/lists}
loader=$(command -v /usr/lib/wine/wine /usr/lib/wine-stable/wine /opt/wine-stable/bin/wine wine 2>/dev/null | head -n1)
[ -n "$loader" ] || { echo "make-protected-lists: no 32-bit Wine found" >&2; exit 1; }
work=$(mktemp -d "${TMPDIR:-/tmp}/protlists.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

boot() {  # release -> a fresh prefix in $work/<release>
  local prefix=$work/$1
  mkdir -p "$prefix"
  # The release is set before the first boot, so that the install runs under it.
  printf 'WINE REGISTRY Version 2\n;; All keys relative to REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n\n#arch=win32\n\n[Software\\\\Wine] 1700000000\n"Version"="%s"\n' "$1" >"$prefix/user.reg"
  WINEPREFIX=$prefix WINEARCH=win32 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" \
    "$loader" wineboot.exe -i </dev/null >/dev/null 2>&1
  WINEPREFIX=$prefix wineserver -w
}

make_pair() {  # release files-id regs-id dropped-extension
  local prefix=$work/$1
  boot "$1"
  python3 tools/protlists.py files --windows "$prefix/drive_c/windows" --drop-ext "$4" \
    -o "$out/WIN_FILES_$2.txt"
  python3 tools/protlists.py keys --reg "$prefix/system.reg" --reg "$prefix/user.reg" \
    --exclude 'HKLM\Software\Wine' --exclude 'HKCU\Software\Wine' -o "$out/WIN_REGS_$3.txt"
  WINEPREFIX=$prefix wineserver -k 2>/dev/null || true
}

make_pair winxp 101 110 vxd
make_pair nt40 104 114 vxd
make_pair win95 102 111 sys
make_pair win98 103 112 sys
make_pair winme 105 113 sys
echo "make-protected-lists: lists written to $out (Wine $("$loader" --version))"
