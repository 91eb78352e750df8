#!/usr/bin/env python3
"""The names under which MSVC-built clients find the link database in VKLinkDB.dll.

MinGW and MSVC spell C++ names differently (Itanium and Microsoft manglings), but on
i686 they call member functions alike (thiscall), so one function can serve both under
two names. This tool reads the public header twice with clang, once as MinGW and once as
MSVC code, pairs the mangled names of the same declarations and writes:

  generate  the .def file given to the MinGW link of the DLL (one "MSVCNAME=mingwname"
            line a member: the DLL's own export table carries both names), and the .def
            file that llvm-dlltool turns into the MSVC-format import library (the plain
            C exports and the MSVC names);
  check     verifies a built DLL and import library: every MSVC name is exported at the
            address of its MinGW twin, and every name the import library promises is
            exported.

Only the classes of the header given (VKLinkDB.h: the link database) are paired: the
UTILS classes throw C++ exceptions, which cannot pass between the two runtimes.
Constructors and destructors are left out on purpose: MinGW constructors do not return
`this` as MSVC-built callers expect, and a client that constructed or deleted a handle
would allocate and free it with its own runtime's heap. MSVC clients obtain every handle
from the database, so leaving these out turns such misuse into a link error.
"""
import argparse
import json
import os
import re
import subprocess
import sys

MSVC_TARGET = "i686-pc-windows-msvc"
MINGW_TARGET = "i686-w64-mingw32"
MEMBER_KINDS = ("CXXMethodDecl", "CXXConstructorDecl", "CXXDestructorDecl")
STRUCTOR_KINDS = ("CXXConstructorDecl", "CXXDestructorDecl")


def fail(message):
    sys.exit("msvc-aliases: " + message)


def ast_dump(clang, target, header, includes):
    """The top-level declarations of the header, as clang's JSON AST dump for target."""
    cmd = [clang, "--target=" + target, "-std=c++17", "-x", "c++", "-fsyntax-only",
           "-Xclang", "-ast-dump=json"]
    for inc in includes:
        cmd += ["-I", inc]
    cmd.append(header)
    run = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if run.returncode != 0:
        fail("clang could not read %s as %s code:\n%s" % (header, target, run.stderr))
    return json.loads(run.stdout).get("inner", [])


def imports_from_dll(node):
    return any(a.get("kind") == "DLLImportAttr" for a in node.get("inner", []))


def has_body(node):
    return any(c.get("kind") == "CompoundStmt" for c in node.get("inner", []))


def exported_declarations(decls):
    """(key, kind, type, mangled name) of every out-of-line function the header
    declares as imported from the DLL, in declaration order. The key names the same
    declaration in both dumps: the class, the member and its place among overloads."""
    out = []

    def function(node, owner):
        if node.get("isImplicit") or node.get("explicitlyDefaulted") or node.get("explicitlyDeleted"):
            return
        if has_body(node) or "mangledName" not in node:
            return  # inline: the client compiles it itself
        name = node.get("name", "")
        ordinal = sum(1 for d in out if d[0][0] == owner and d[0][1] == name)
        out.append(((owner, name, ordinal), node["kind"], node["type"]["qualType"], node["mangledName"]))

    def walk(nodes):
        for node in nodes:
            kind = node.get("kind")
            if kind == "LinkageSpecDecl":
                walk(node.get("inner", []))
            elif kind == "FunctionDecl" and imports_from_dll(node):
                function(node, "")
            elif kind == "CXXRecordDecl" and node.get("completeDefinition") and imports_from_dll(node):
                for member in node.get("inner", []):
                    if member.get("kind") in MEMBER_KINDS:
                        function(member, node["name"])

    walk(decls)
    return out


def defined_symbols(nm, objects):
    """The external symbols the DLL's object files define, without MinGW's leading
    underscore (i686 C symbols carry one that the export names do not)."""
    symbols = set()
    for i in range(0, len(objects), 200):
        run = subprocess.run([nm, "-g", "--defined-only", "-P"] + objects[i:i + 200],
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if run.returncode != 0:
            fail("%s failed:\n%s" % (nm, run.stderr))
        for line in run.stdout.splitlines():
            parts = line.split()
            if len(parts) >= 2 and not parts[0].endswith(":"):
                symbols.add(parts[0][1:] if parts[0].startswith("_") else parts[0])
    return symbols


def generate(args):
    includes = args.include or []
    msvc = exported_declarations(ast_dump(args.clang, MSVC_TARGET, args.header, includes))
    mingw = exported_declarations(ast_dump(args.clang, MINGW_TARGET, args.header, includes))
    if [d[0] for d in msvc] != [d[0] for d in mingw]:
        fail("the two readings of %s declare different functions" % args.header)
    defined = defined_symbols(args.nm, args.objects)

    aliases = []   # (MSVC name, MinGW export name)
    c_exports = []
    for m, g in zip(msvc, mingw):
        key, kind, qual_type, msvc_name = m
        mingw_name = g[3][1:]  # the dump keeps the i686 symbol's leading underscore
        # Both compilers must see the same signature, calling convention included.
        if qual_type != g[2]:
            fail("%s: %s as MSVC code, %s as MinGW code" % ("::".join(key[:2]), qual_type, g[2]))
        if mingw_name not in defined:
            continue  # declared but not built into the DLL: nothing to export
        if not key[0]:
            # A plain C function: one name for both compilers.
            if msvc_name != g[3]:
                fail("%s is not a C function; only classes are given MSVC names" % key[1])
            c_exports.append(mingw_name)
        elif kind not in STRUCTOR_KINDS:
            aliases.append((msvc_name, mingw_name))
    if not aliases:
        fail("no member of %s is defined in the DLL's objects" % args.header)

    with open(args.aliases, "w") as out:
        out.write("; MSVC names of the link database, generated from %s.\n" % os.path.basename(args.header))
        out.write("EXPORTS\n")
        for msvc_name, mingw_name in aliases:
            out.write("  %s=%s\n" % (msvc_name, mingw_name))
    with open(args.implib_def, "w") as out:
        out.write("; What the MSVC-format import library offers, generated from %s.\n" % os.path.basename(args.header))
        out.write("LIBRARY %s\nEXPORTS\n" % args.dll_name)
        for name in c_exports + [a[0] for a in aliases]:
            out.write("  %s\n" % name)
    print("msvc-aliases: %d MSVC names, %d plain exports" % (len(aliases), len(c_exports)))


def dll_exports(readobj, dll):
    """name -> RVA of every export of the DLL."""
    run = subprocess.run([readobj, "--coff-exports", dll], stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, text=True)
    if run.returncode != 0:
        fail("%s cannot read %s:\n%s" % (readobj, dll, run.stderr))
    exports = {}
    for name, rva in re.findall(r"Name: (\S+)\s+RVA: (0x[0-9A-Fa-f]+)", run.stdout):
        exports[name] = int(rva, 16)
    return exports


def import_library_names(readobj, implib):
    """The export names the members of an import library bind to."""
    run = subprocess.run([readobj, implib], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if run.returncode != 0:
        fail("%s cannot read %s:\n%s" % (readobj, implib, run.stderr))
    names = []
    for name_type, symbol in re.findall(r"Name type: (\S+)\s+Symbol: __imp_(\S+)", run.stdout):
        if name_type in ("noprefix", "undecorate") and symbol.startswith("_"):
            symbol = symbol[1:]
        if name_type == "undecorate":
            symbol = symbol.split("@")[0]
        names.append(symbol)
    return names


def check(args):
    exports = dll_exports(args.readobj, args.dll)
    aliases = []
    with open(args.aliases) as f:
        for line in f:
            line = line.strip()
            if "=" in line and not line.startswith(";"):
                aliases.append(tuple(line.split("=", 1)))
    errors = []
    for msvc_name, mingw_name in aliases:
        if msvc_name not in exports:
            errors.append("not exported: " + msvc_name)
        elif exports.get(mingw_name) != exports[msvc_name]:
            errors.append("%s does not lead to %s" % (msvc_name, mingw_name))
    promised = import_library_names(args.readobj, args.implib)
    for name in promised:
        if name not in exports:
            errors.append("the import library offers %s, which the DLL does not export" % name)
    if len(promised) < len(aliases):
        errors.append("the import library offers %d names for %d aliases" % (len(promised), len(aliases)))
    for e in errors:
        print(e)
    print("%d MSVC names checked against %d exports; the import library offers %d names"
          % (len(aliases), len(exports), len(promised)))
    if errors or not aliases:
        sys.exit(1)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    sub = parser.add_subparsers(dest="command", required=True)
    gen = sub.add_parser("generate")
    gen.add_argument("--clang", required=True)
    gen.add_argument("--nm", required=True)
    gen.add_argument("--header", required=True)
    gen.add_argument("--include", "-I", action="append")
    gen.add_argument("--dll-name", default="VKLinkDB.dll")
    gen.add_argument("--aliases", required=True, help=".def for the MinGW link")
    gen.add_argument("--implib-def", required=True, help=".def for llvm-dlltool")
    gen.add_argument("--objects", nargs="+", required=True)
    chk = sub.add_parser("check")
    chk.add_argument("--readobj", required=True)
    chk.add_argument("--dll", required=True)
    chk.add_argument("--implib", required=True)
    chk.add_argument("--aliases", required=True)
    args = parser.parse_args()
    generate(args) if args.command == "generate" else check(args)


if __name__ == "__main__":
    main()
