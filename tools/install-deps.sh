#!/usr/bin/env bash
# Installs what building and testing VKLinkDB needs on Debian or Ubuntu:
# the i686 MinGW-w64 cross compilers (posix thread model), 32-bit Wine,
# CMake, GoogleTest sources, Google Benchmark, clang (libFuzzer, sanitizers),
# valgrind and zlib for both the host and the Windows target.
# Safe to run again: it installs only what is missing.
set -euo pipefail

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

PKGS=(cmake make g++ clang libclang-rt-dev googletest libbenchmark-dev zlib1g-dev
      valgrind g++-mingw-w64-i686-posix gcc-mingw-w64-i686-posix libz-mingw-w64-dev
      wine wine32:i386)

missing=()
for p in "${PKGS[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then exit 0; fi

if ! dpkg --print-foreign-architectures | grep -qx i386; then
  $SUDO dpkg --add-architecture i386
fi

export DEBIAN_FRONTEND=noninteractive
if $SUDO apt-get update -q && $SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"; then
  exit 0
fi

# A mirror in the middle of a sync can serve an i386 index of the wrong size
# ("File has unexpected size ... Mirror sync in progress?"), after which
# wine32:i386 cannot be resolved. Retry once against the main suites alone,
# through a private source list, leaving the machine's apt configuration as it is.
echo "install-deps: retrying against the main suites only" >&2
. /etc/os-release
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
case "${ID:-debian}" in
  ubuntu) echo "deb http://archive.ubuntu.com/ubuntu ${VERSION_CODENAME} main universe multiverse" >"$tmp/main.list"
          echo "deb http://archive.ubuntu.com/ubuntu ${VERSION_CODENAME}-updates main universe multiverse" >>"$tmp/main.list" ;;
  *)      echo "deb http://deb.debian.org/debian ${VERSION_CODENAME} main contrib" >"$tmp/main.list"
          echo "deb http://deb.debian.org/debian ${VERSION_CODENAME}-updates main contrib" >>"$tmp/main.list" ;;
esac
mkdir -p "$tmp/lists/partial"
opts=(-o "Dir::Etc::SourceList=$tmp/main.list" -o "Dir::Etc::SourceParts=$tmp/none"
      -o "Dir::State::Lists=$tmp/lists")
$SUDO apt-get "${opts[@]}" update -q
$SUDO apt-get "${opts[@]}" install -y -q --no-install-recommends "${missing[@]}"
