#!/usr/bin/env bash
# Builds the two example installer packages with wixl, in the folder that holds the
# example programs of a build tree (build/<tree>/bin/packages):
#   VKExampleOne.msi  AppOne: one.exe, a readme, vkshared.dll, its key, a shortcut
#   VKExampleTwo.msi  AppTwo: two.exe, a readme, the same vkshared.dll, its key, a shortcut
#   tools/example-packages.sh <folder> x86|x64
set -euo pipefail
folder=$1 arch=$2
sources=$(cd "$(dirname "$0")/../examples/packages" && pwd)
command -v wixl >/dev/null || { echo "example-packages: wixl is not installed (tools/install-deps.sh installs it)" >&2; exit 1; }
cd "$folder"
for name in One Two; do
  options=(-D "Arch=$arch" -D Bin=.)
  [ "$arch" = x64 ] && options+=(-a x64)
  wixl "${options[@]}" -o "VKExample$name.msi" "$sources/VKExample$name.wxs"
done
echo "example-packages: $folder/VKExampleOne.msi and VKExampleTwo.msi ($arch)"
