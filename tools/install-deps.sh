#!/usr/bin/env bash
# Installs what building and testing VKLinkDB needs on Debian or Ubuntu:
# the i686 and x86_64 MinGW-w64 cross compilers (posix thread model), 32-bit and
# 64-bit Wine, CMake, GoogleTest sources, Google Benchmark, clang (libFuzzer,
# sanitizers), valgrind, zlib for the host and both Windows targets, wixl (msitools),
# which builds the Windows Installer packages of the shortcut tests, and for the release
# packaging lld (lld-link) and llvm (llvm-dlltool, llvm-readobj), which make and test the
# MSVC-format import library, python3, which pairs its names, and pkg-config.
# 32-bit Wine is installed even where the kernel cannot run 32-bit code (the package
# installs; only its programs cannot start there): the same script serves every machine.
# Safe to run again: it installs only what is missing.
set -euo pipefail

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive

# One entry a package; "a|b" names the same thing in different releases (first known wins).
PKGS=(cmake make g++ clang "libclang-rt-dev|libclang-rt-14-dev|libclang-common-14-dev" googletest
      libbenchmark-dev libsqlite3-dev zlib1g-dev valgrind g++-mingw-w64-i686-posix gcc-mingw-w64-i686-posix
      g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix libz-mingw-w64-dev
      wine wine32:i386 wine64 wixl "lld|lld-14" "llvm|llvm-14" python3 "pkgconf|pkg-config")

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

# A mirror in the middle of a sync can serve an index of the wrong size ("File has
# unexpected size ... Mirror sync in progress?"), most often the security suite's i386
# index, after which wine32:i386 cannot be resolved against the other architecture's
# newer packages. Retry once against the release's main suites alone (the codename and
# its -updates suite), with the package sources this machine's apt already uses, through
# a private source list that leaves the machine's apt configuration as it is.
echo "install-deps: retrying against the main suites only" >&2
. /etc/os-release
codename=${VERSION_CODENAME:-$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)}
tmp=$(mktemp -d)
chmod 755 "$tmp"
trap 'rm -rf "$tmp"' EXIT
apt-get indextargets --no-release-info --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 2>/dev/null |
  awk -v c="$codename" '$2 == c || $2 == c "-updates" { key = $1 " " $2; if (!seen[$0]++) comp[key] = comp[key] " " $3 }
                        END { for (k in comp) print "deb " k comp[k] }' >"$tmp/main.list"
if [ ! -s "$tmp/main.list" ]; then
  echo "install-deps: no main suite of '$codename' in this machine's apt sources" >&2
  exit 1
fi
mkdir -p "$tmp/lists/partial"
chmod -R 755 "$tmp/lists"
opts=(-o "Dir::Etc::SourceList=$tmp/main.list" -o "Dir::Etc::SourceParts=$tmp/none"
      -o "Dir::State::Lists=$tmp/lists")
$SUDO apt-get "${opts[@]}" update -q
mapfile -t pkgs < <(resolve "${opts[@]}")
$SUDO apt-get "${opts[@]}" install -y -q --no-install-recommends "${pkgs[@]}"
