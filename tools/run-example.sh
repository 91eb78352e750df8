#!/usr/bin/env bash
# Installs what is missing, builds VKLinkDB.dll and runs the example client under Wine
# twice on one data directory: the first run records a footprint and flushes the store,
# the second finds it again. It uses the 32-bit DLL (the product) where 32-bit programs
# run here, and the 64-bit flavour where they cannot.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
if probe=$(bash tools/probe-win32.sh); then
  tree=win32
  echo "== $probe Running the example in the 32-bit flavour."
else
  tree=win64
  echo "== $probe Running the example in the 64-bit flavour."
fi
bash tools/build.sh "$tree"
data=build/$tree/example-data
rm -rf "$data"
mkdir -p "$data"
./build/$tree/wineserver.sh -p
trap './build/'$tree'/wineserver.sh -k || true' EXIT
windata=$(./build/$tree/wine-run.sh winepath.exe -w "$PWD/$data" | tr -d '\r')
for run in 1 2; do
  echo "== Run $run ($tree)"
  ./build/$tree/wine-run.sh build/$tree/bin/example_client.exe "$windata"
done
ls -l "$data"
