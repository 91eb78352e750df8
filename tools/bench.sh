#!/usr/bin/env bash
# Builds and runs the benchmarks: the link database natively (an optimised build without
# sanitizers, in build/bench) and, under Wine, the DLL build's benchmark programs.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DVKL_SANITIZE=OFF >/dev/null
cmake --build build/bench -j2 --target linkdb_bench
echo "== native"
(cd build/bench && ./linkdb_bench)
bash tools/build.sh win >/dev/null
./build/win/wineserver.sh -p
trap './build/win/wineserver.sh -k || true' EXIT
for b in build/win/bin/*_bench.exe; do
  echo "== $(basename "$b") under Wine"
  (cd build/win/bin && ../wine-run.sh "$(basename "$b")")
done
