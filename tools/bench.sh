#!/usr/bin/env bash
# Builds and runs the benchmarks: the link database natively (an optimised build without
# sanitizers, in build/bench) and, under Wine, the DLL build's benchmark programs.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DVKL_SANITIZE=OFF >/dev/null
cmake --build build/bench -j2 --target linkdb_bench linkdb_scale_bench protect_tree_bench
echo "== native"
(cd build/bench && ./linkdb_bench && ./linkdb_scale_bench && echo "== protect_tree_bench (native)" && ./protect_tree_bench)
# The 32-bit DLL where 32-bit programs run here, else the 64-bit flavour.
tree=win64
bash tools/probe-win32.sh >/dev/null && tree=win32
bash tools/build.sh "$tree" >/dev/null
./build/$tree/wineserver.sh -p
trap './build/'$tree'/wineserver.sh -k || true' EXIT
for b in build/$tree/bin/*_bench.exe; do
  echo "== $(basename "$b") under Wine ($tree)"
  args=()
  # Under Wine the scale benchmark stops at the 100k graph.
  case "$b" in *linkdb_scale_bench.exe) args=(--sizes 10,100) ;; esac
  (cd build/$tree/bin && ../wine-run.sh "$(basename "$b")" "${args[@]}")
done
