#!/usr/bin/env bash
# Configures and builds one tree:
#   win32   VKLinkDB.dll for 32-bit Windows (the product) and its programs, in build/win32
#   win64   the same sources for 64-bit Windows, in build/win64
#   native  the link database on Linux with the sanitizers and the fuzzer, in build/native
# "win" is a synonym of win32. Each Windows tree has its own Wine prefix. Targets named
# after the tree build only those (and what they need):
#   tools/build.sh win32 vkrecord vkdb
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)
tree=${1:-win32}
[ $# -gt 0 ] && shift
targets=()
[ $# -gt 0 ] && targets=(--target "$@")
case "$tree" in
  win|win32)
    cmake -S . -B build/win32 -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-i686.cmake -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build build/win32 -j"$jobs" "${targets[@]}"
    ;;
  win64)
    cmake -S . -B build/win64 -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-x86_64.cmake -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build build/win64 -j"$jobs" "${targets[@]}"
    ;;
  native)
    cmake -S . -B build/native -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build build/native -j"$jobs" "${targets[@]}"
    ;;
  *) echo "usage: tools/build.sh win32|win64|native" >&2; exit 2 ;;
esac
