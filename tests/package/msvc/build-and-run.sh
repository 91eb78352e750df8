#!/bin/sh
# Builds MsvcClient.cpp as MSVC code against an install tree of the 32-bit flavour and
# runs it under Wine beside the installed DLLs:
#   build-and-run.sh <install tree> <work folder> <wine-run.sh> <clang++> <lld-link> <llvm-dlltool>
# Nothing of Microsoft's is needed: the client has no C runtime and its kernel32 import
# library is made here, from the five functions it calls.
set -eu
install=$1 work=$2 wine_run=$3 clangxx=$4 lld_link=$5 dlltool=$6
src=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
mkdir -p "$work"
cd "$work"

printf 'LIBRARY kernel32.dll\nEXPORTS\n  GetStdHandle@4\n  WriteFile@20\n  CreateDirectoryA@8\n  DeleteFileA@4\n  ExitProcess@4\n' >kernel32.def
# -k: the stdcall functions are imported by their plain names (ExitProcess, not ExitProcess@4).
"$dlltool" -m i386 -k -d kernel32.def -l kernel32.lib

# -ffreestanding: no C library, and no library calls made up by the optimiser.
"$clangxx" --target=i686-pc-windows-msvc -std=c++17 -O2 -ffreestanding -fno-exceptions -fno-rtti \
  -I"$install/include" -c "$src/MsvcClient.cpp" -o MsvcClient.obj
"$lld_link" /nologo /entry:MsvcClientMain /subsystem:console /nodefaultlib /out:msvc_client.exe \
  MsvcClient.obj "$install/lib/VKLinkDB.lib" kernel32.lib

cp "$install"/bin/*.dll .
"$wine_run" msvc_client.exe
