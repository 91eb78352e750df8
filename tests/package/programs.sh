#!/bin/sh
# vkrecord.exe and vkdb.exe as installed, run from the install tree's bin/ folder with
# nothing but what the install put beside them:
#   programs.sh <install tree> <scratch folder> <wine-run.sh>
# vkrecord records a command that makes a folder, plans its removal (the folder owned),
# and vkdb finds the store it wrote sound.
set -eu
install=$1 work=$2 run=$3
win() { printf 'Z:%s' "$1" | tr / '\\'; }
rm -rf "$work"
mkdir -p "$work/store" "$work/root"
bin=$install/bin
fail() { printf 'programs.sh: %s\n' "$*" >&2; exit 1; }

out=$("$run" "$bin/vkrecord.exe" record --db "$(win "$work/store")" --app PackageDemo --root "$(win "$work/root")" \
      --key 'HKCU\Software\VKLinkDBPackageTest' -- cmd.exe /c mkdir "$(win "$work/root/made")") ||
  fail "vkrecord record failed: $out"
printf '%s\n' "$out"
printf '%s\n' "$out" | grep -q "Recorded PackageDemo" || fail "no recording summary"
out=$("$run" "$bin/vkrecord.exe" plan --db "$(win "$work/store")" --app PackageDemo) || fail "vkrecord plan failed: $out"
printf '%s\n' "$out"
printf '%s\n' "$out" | grep -Eq '^  owned +folder .*\\root\\made -- removable' || fail "the folder made is not planned as owned"
out=$("$run" "$bin/vkdb.exe" check "$(win "$work/store")") || fail "vkdb check failed: $out"
printf '%s\n' "$out"
out=$("$run" "$bin/vkdb.exe" stats "$(win "$work/store")") || fail "vkdb stats failed: $out"
printf '%s\n' "$out"
# A missing store: one line and a failing status.
if out=$("$run" "$bin/vkrecord.exe" plan --db "$(win "$work/none")" --app PackageDemo); then
  fail "a missing store folder was accepted"
fi
printf '%s\n' "$out" | grep -q "^vkrecord: no store folder" || fail "unexpected error text: $out"
rm -rf "$work"
