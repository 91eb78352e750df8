#!/usr/bin/env bash
# Installs what is missing, builds every tree and runs every test this machine can run:
#   - the 32-bit Windows flavour (the product) under 32-bit Wine, where 32-bit programs
#     run (tools/probe-win32.sh tells); it is built everywhere, for its compile-time
#     checks of the record layouts;
#   - the 64-bit Windows flavour under 64-bit Wine;
#   - the native build under AddressSanitizer and UndefinedBehaviorSanitizer, with a
#     bounded fuzzing run.
# Each Windows tree has its own prefix and one Wine server for the whole run. Success
# needs every test that ran to pass, and at least one Windows flavour to have run.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh

flavours=(win64)
if probe=$(bash tools/probe-win32.sh); then
  flavours=(win32 win64)
  echo "== $probe Testing the 32-bit and 64-bit Windows flavours and the native build."
else
  echo "== $probe Testing the 64-bit Windows flavour and the native build."
fi

bash tools/build.sh win32
bash tools/build.sh win64
bash tools/build.sh native

failed=()
windows_tests=0
for tree in "${flavours[@]}"; do
  echo "== Windows $tree flavour under Wine"
  count=$(cd "build/$tree" && ctest -N | sed -n 's/^Total Tests: //p')
  if (cd "build/$tree" && ctest --output-on-failure); then
    windows_tests=$((windows_tests + ${count:-0}))
  else
    failed+=("$tree")
  fi
done
echo "== Native build with sanitizers"
(cd build/native && ctest --output-on-failure) || failed+=(native)

if [ ${#failed[@]} -ne 0 ]; then
  echo "Tests failed in: ${failed[*]}."
  exit 1
fi
if [ "$windows_tests" -eq 0 ]; then
  echo "No Windows test ran: nothing is known of the DLL on Windows."
  exit 1
fi
echo "All tests passed: Windows flavours ${flavours[*]} ($windows_tests CTest entries) and the native build."
