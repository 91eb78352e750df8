#!/usr/bin/env bash
# Installs what is missing, builds both trees and runs every test: the Windows build
# under 32-bit Wine (one prefix, one server for the whole run) and the native build
# under AddressSanitizer and UndefinedBehaviorSanitizer, with a bounded fuzzing run.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
bash tools/build.sh win
bash tools/build.sh native

status=0
echo "== Windows build under Wine"
(cd build/win && ctest --output-on-failure) || status=1
echo "== Native build with sanitizers"
(cd build/native && ctest --output-on-failure) || status=1
if [ $status -ne 0 ]; then
  echo "Some tests failed."
fi
exit $status
