#!/usr/bin/env bash
# Configures and builds one tree: "win" (VKLinkDB.dll and its programs, for Wine) in
# build/win, or "native" (the link database on Linux, sanitizers and fuzzer) in
# build/native.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)
case "${1:-win}" in
  win)
    cmake -S . -B build/win -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-i686.cmake -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build build/win -j"$jobs"
    ;;
  native)
    cmake -S . -B build/native -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build build/native -j"$jobs"
    ;;
  *) echo "usage: tools/build.sh win|native" >&2; exit 2 ;;
esac
