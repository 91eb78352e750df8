#!/usr/bin/env bash
# Installs what is missing, builds VKLinkDB.dll and runs the example client under Wine
# twice on one data directory: the first run records a footprint and flushes the store,
# the second finds it again.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
bash tools/build.sh win
data=build/win/example-data
rm -rf "$data"
mkdir -p "$data"
./build/win/wineserver.sh -p
trap './build/win/wineserver.sh -k || true' EXIT
windata=$(WINEPREFIX="$PWD/build/win/wineprefix" WINEDEBUG=-all winepath -w "$data")
for run in 1 2; do
  echo "== Run $run"
  ./build/win/wine-run.sh build/win/bin/example_client.exe "$windata"
done
ls -l "$data"
