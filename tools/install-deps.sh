#!/usr/bin/env bash
# Installs what building and testing VKLinkDB needs on Debian or Ubuntu:
# the i686 MinGW-w64 cross compilers (posix thread model), 32-bit Wine,
# CMake, GoogleTest sources, Google Benchmark, clang (libFuzzer, sanitizers),
# valgrind and zlib for both the host and the Windows target.
# Safe to run again: it installs only what is missing.
set -euo pipefail

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive

# One entry a package; "a|b" names the same thing in different releases (first known wins).
PKGS=(cmake make g++ clang "libclang-rt-dev|libclang-rt-14-dev|libclang-common-14-dev" googletest
      libbenchmark-dev zlib1g-dev valgrind g++-mingw-w64-i686-posix gcc-mingw-w64-i686-posix
      libz-mingw-w64-dev wine wine32:i386)

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

missing=()
for entry in "${PKGS[@]}"; do
  found=""
  IFS='|' read -r -a names <<<"$entry"
  for p in "${names[@]}"; do installed "$p" && found=1 && break; done
  [ -n "$found" ] || missing+=("$entry")
done
if [ ${#missing[@]} -eq 0 ]; then exit 0; fi

if ! dpkg --print-foreign-architectures | grep -qx i386; then
  $SUDO dpkg --add-architecture i386
fi

# Picks, for each missing entry, the first name apt knows (with the options given).
resolve() {
  local entry names p
  for entry in "${missing[@]}"; do
    IFS='|' read -r -a names <<<"$entry"
    for p in "${names[@]}"; do
      if apt-cache "$@" show "$p" >/dev/null 2>&1; then echo "$p"; break; fi
    done
  done
}

if $SUDO apt-get update -q; then
  mapfile -t pkgs < <(resolve)
  if $SUDO apt-get install -y -q --no-install-recommends "${pkgs[@]}"; then
    exit 0
  fi
fi

# A mirror in the middle of a sync can serve an i386 index of the wrong size
# ("File has unexpected size ... Mirror sync in progress?"), after which
# wine32:i386 cannot be resolved. Retry once against the main suites alone,
# through a private source list, leaving the machine's apt configuration as it is.
echo "install-deps: retrying against the main suites only" >&2
. /etc/os-release
tmp=$(mktemp -d)
chmod 755 "$tmp"
trap 'rm -rf "$tmp"' EXIT
case "${ID:-debian}" in
  ubuntu) echo "deb http://archive.ubuntu.com/ubuntu ${VERSION_CODENAME} main universe multiverse" >"$tmp/main.list"
          echo "deb http://archive.ubuntu.com/ubuntu ${VERSION_CODENAME}-updates main universe multiverse" >>"$tmp/main.list" ;;
  *)      echo "deb http://deb.debian.org/debian ${VERSION_CODENAME} main contrib" >"$tmp/main.list"
          echo "deb http://deb.debian.org/debian ${VERSION_CODENAME}-updates main contrib" >>"$tmp/main.list" ;;
esac
mkdir -p "$tmp/lists/partial"
chmod -R 755 "$tmp/lists"
opts=(-o "Dir::Etc::SourceList=$tmp/main.list" -o "Dir::Etc::SourceParts=$tmp/none"
      -o "Dir::State::Lists=$tmp/lists")
$SUDO apt-get "${opts[@]}" update -q
mapfile -t pkgs < <(resolve "${opts[@]}")
$SUDO apt-get "${opts[@]}" install -y -q --no-install-recommends "${pkgs[@]}"
