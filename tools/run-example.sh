#!/usr/bin/env bash
# The library at work, in the Windows flavour this machine can run (the 32-bit product
# where 32-bit programs run, else the 64-bit one):
#   1. builds vkrecord, vkdb and two example applications that share one DLL, and their
#      installer packages with wixl (tools/example-packages.sh);
#   2. installs both under Wine with msiexec while `vkrecord record` watches, the recorder
#      presented to Wine as Windows XP (its AppDefaults key), so that the library's
#      protection lists answer;
#   3. prints the plan for removing the first: its own files owned, the shared DLL kept
#      because the second uses it, the system DLLs it imports protected;
#   4. removes it with msiexec /x and shows what is left with `vkrecord scan`, the plan
#      of what is left, and `vkdb check` on both stores.
# The store folders stay in build/<tree>/example-store and example-rescan.
#   tools/run-example.sh [win32|win64]   (a flavour by name instead of the one probed)
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
if [ "${1:-}" = win32 ] || [ "${1:-}" = win64 ]; then
  tree=$1  # a flavour asked for by name
elif probe=$(bash tools/probe-win32.sh); then
  tree=win32
  echo "== $probe Running the example in the 32-bit flavour."
else
  tree=win64
  echo "== $probe Running the example in the 64-bit flavour."
fi
arch=x86
[ "$tree" = win64 ] && arch=x64
bash tools/build.sh "$tree" vkrecord vkdb vkexample_one vkexample_two >/dev/null
began=$(date +%s)
build=build/$tree
bin=$build/bin
run=./$build/wine-run.sh
bash tools/example-packages.sh "$bin/packages" "$arch"

# A Windows path for a folder of this machine (Wine's drive Z: is the root).
win() { printf 'Z:%s' "$(cd "$1" && pwd)" | tr / '\\'; }
step() { echo; echo "== $*"; }
app_one="{4E6C8A51-2B7D-4C39-9E0A-5D1F3A7B9C01}"
app_two="{4E6C8A51-2B7D-4C39-9E0A-5D1F3A7B9D01}"

./$build/wineserver.sh -p
trap './'$build'/wineserver.sh -k || true' EXIT
./$build/wine-release.sh vkrecord.exe winxp
# A machine where neither application is installed (an earlier run's are removed).
"$run" msiexec.exe /x "$app_one" /qn >/dev/null 2>&1 || true
"$run" msiexec.exe /x "$app_two" /qn >/dev/null 2>&1 || true
store=$build/example-store rescan=$build/example-rescan
rm -rf "$store" "$rescan"
mkdir -p "$store" "$rescan"
packages=$(win "$bin/packages")

step "Installing AppOne (VKExampleOne.msi) with msiexec while vkrecord records it"
"$run" "$bin/vkrecord.exe" record --db "$(win "$store")" --app AppOne -- \
  msiexec.exe /i "$packages\\VKExampleOne.msi" /qn
step "Installing AppTwo (VKExampleTwo.msi), which brings the same vkshared.dll"
"$run" "$bin/vkrecord.exe" record --db "$(win "$store")" --app AppTwo -- \
  msiexec.exe /i "$packages\\VKExampleTwo.msi" /qn

# A plan, without its owned registry values (Windows Installer writes dozens of them
# for every product); `vkrecord plan` itself prints every one.
plan() {
  local out
  out=$("$run" "$bin/vkrecord.exe" plan --db "$(win "$1")" --app "$2")
  printf '%s\n' "$out" | grep -v '^  owned     value '
  echo "  (and $(printf '%s\n' "$out" | grep -c '^  owned     value ') owned registry values, not shown here)"
}
step "What removing AppOne would mean (vkrecord plan)"
plan "$store" AppOne
step "Who uses the shared DLL (vkrecord who)"
shared='C:\Program Files\Common Files\VK Example\vkshared.dll'
"$run" "$bin/vkrecord.exe" who --db "$(win "$store")" "$shared"

step "Removing AppOne with msiexec /x"
"$run" msiexec.exe /x "$app_one" /qn
# Wine's drive C: is the prefix's drive_c folder.
for f in 'C:\Program Files\VK Example\AppOne\one.exe' "$shared"; do
  if [ -e "$build/wineprefix/drive_c/$(printf '%s' "${f#C:\\}" | tr '\\' /)" ]; then
    echo "  still there: $f"
  else
    echo "  gone:        $f"
  fi
done

step "What is left: AppTwo's folder scanned into a new store (vkrecord scan)"
"$run" "$bin/vkrecord.exe" scan --db "$(win "$rescan")" --app AppTwo 'C:\Program Files\VK Example\AppTwo'
step "What removing AppTwo would mean now"
plan "$rescan" AppTwo
step "Both stores checked (vkdb check) and counted (vkdb stats)"
"$run" "$bin/vkdb.exe" check "$(win "$store")" "$(win "$rescan")"
"$run" "$bin/vkdb.exe" stats "$(win "$rescan")"
echo
echo "== Done in $(( $(date +%s) - began )) s (after the build). The stores: $store, $rescan"
