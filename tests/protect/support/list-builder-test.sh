#!/usr/bin/env bash
# The list builder on a build tree's own Wine prefix: makes both kinds of list, packs
# them as the build packs the embedded lists, and has the test program check them.
#   list-builder-test.sh python protlists.py listpack prefix wine-run.sh
# Runs in the tree's bin/ folder.
set -euo pipefail
python=$1 builder=$2 listpack=$3 prefix=$4 run=$5
out=protect_listbuilder
rm -rf "$out" && mkdir -p "$out"
"$python" "$builder" files --windows "$prefix/drive_c/windows" -o "$out/files.txt"
"$python" "$builder" keys --reg "$prefix/system.reg" --reg "$prefix/user.reg" -o "$out/regs.txt"
# The same installation as a plain listing of its files, and part of its registry as a
# regedit export (of keys made when the prefix was, since the hive files on disk lag
# behind the running registry).
(cd "$prefix/drive_c/windows" && find . -type f) >"$out/listing.txt"
"$python" "$builder" files --listing "$out/listing.txt" --strip ./ --system-dir system32 -o "$out/files-listing.txt"
"$run" regedit /e 'protect_listbuilder\export.reg' 'HKEY_LOCAL_MACHINE\Software\Classes\CLSID'
"$python" "$builder" keys --reg "$out/export.reg" -o "$out/regs-export.txt"
"$listpack" pack "$out/files.txt" "$out/files.bin"
"$listpack" pack "$out/regs.txt" "$out/regs.bin"
"$run" protect_tests.exe --gtest_filter=ListBuilder.* "--lists=$out" | tee "$out/result.txt"
# The tests must have run, not skipped.
grep -q '^\[  PASSED  \] 2 tests' "$out/result.txt"
rm -rf "$out"
