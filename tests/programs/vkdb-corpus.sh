#!/usr/bin/env bash
# vkdb over the store loader's fuzz corpus: each input becomes a store folder the way the
# fuzzer splits it (the first two bytes give the length of obj.dat's body; both files get
# a finished header), and vkdb stats, dump --json and check read every folder. Each run
# may say the stores are damaged (status 1) but must not crash or trip a sanitizer.
#   vkdb-corpus.sh <vkdb> <corpus folder> <scratch folder>
set -euo pipefail
vkdb=$1 corpus=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"
header='\x04\x10\x00\x00\x01\x00\x00\x00'
folders=()
for seed in "$corpus"/*; do
  size=$(stat -c %s "$seed")
  [ "$size" -ge 2 ] || continue
  read -r b0 b1 < <(od -An -tu1 -N2 "$seed")
  n=$(( (b0 | (b1 << 8)) % (size - 1) ))
  dir=$scratch/$(basename "$seed")
  mkdir "$dir"
  # head reads the file itself, and tail reads all head gives: no writer is cut off
  # (a SIGPIPE would fail the pipeline).
  { printf "$header"; head -c $((n + 2)) "$seed" | tail -c +3; } >"$dir/obj.dat"
  { printf "$header"; tail -c +$((3 + n)) "$seed"; } >"$dir/link.dat"
  folders+=("$dir")
done
export ASAN_OPTIONS=exitcode=99 UBSAN_OPTIONS=exitcode=98
for command in stats "dump --json" check; do
  status=0
  # shellcheck disable=SC2086
  "$vkdb" $command "${folders[@]}" >"$scratch/out.txt" 2>"$scratch/err.txt" || status=$?
  if [ "$status" -gt 1 ] || grep -q "Sanitizer\|runtime error" "$scratch/err.txt"; then
    echo "vkdb $command failed with status $status:"
    tail -20 "$scratch/err.txt"
    exit 1
  fi
  echo "vkdb $command: ${#folders[@]} stores read (status $status)"
done
echo "sound: $(grep -c ': sound' "$scratch/out.txt" || true) of ${#folders[@]}"
rm -rf "$scratch"
