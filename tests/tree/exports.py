"""exports.py LIBRARY FOLDER: a shared library exports exactly what the public headers in FOLDER declare.

libclang reads the headers: every function and variable that they declare and do not define must be an exported symbol;
a class with virtual functions of its own there also exports its table and its type. Nothing else may be exported, be it
an instantiated standard template, a helper, or a function that the headers define themselves.
"""

import pathlib
import subprocess
import sys

import clang.cindex
from clang.cindex import CursorKind

FUNCTIONS = {CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR,
             CursorKind.CONVERSION_FUNCTION}
CLASSES = {CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL}
SCOPES = {CursorKind.NAMESPACE, CursorKind.LINKAGE_SPEC, CursorKind.UNEXPOSED_DECL}


def is_left_to_library(cursor):
    """Whether the headers declare a function or variable without defining, defaulting or deleting it."""
    deleted = cursor.availability == clang.cindex.AvailabilityKind.NOT_AVAILABLE
    in_header = deleted or cursor.is_default_method() or cursor.is_pure_virtual_method()
    return not in_header and cursor.get_definition() is None


def declared(scope, headers):
    """The functions, variables and class definitions of a scope and of all within it."""
    for cursor in scope.get_children():
        if not cursor.location.file or pathlib.Path(cursor.location.file.name).resolve() not in headers:
            continue
        if cursor.kind in FUNCTIONS or cursor.kind == CursorKind.VAR_DECL:
            yield cursor
        elif cursor.kind in SCOPES or cursor.is_definition() and cursor.kind in CLASSES:
            if cursor.kind in CLASSES:
                yield cursor
            yield from declared(cursor, headers)


def interface(folder):
    """What a library must and may export, as demangled names."""
    headers = sorted(folder.glob("*.h"))
    source = "".join(f'#include "{header.name}"\n' for header in headers)
    unit = clang.cindex.Index.create().parse(
        "headers.cpp", ["-std=c++20", "-I", str(folder)], unsaved_files=[("headers.cpp", source)])
    errors = [str(diagnostic) for diagnostic in unit.diagnostics if diagnostic.severity >= 3]
    if errors:
        raise SystemExit("\n".join(errors))
    mangled, required, allowed = set(), set(), set()
    for cursor in declared(unit.cursor, {header.resolve() for header in headers}):
        if cursor.kind not in CLASSES:
            mangled |= {cursor.mangled_name} if is_left_to_library(cursor) else set()
            continue
        name = cursor.type.spelling
        types = {f"typeinfo for {name}", f"typeinfo name for {name}"}
        allowed |= types
        if any(member.is_virtual_method() and is_left_to_library(member) for member in cursor.get_children()):
            required |= types | {f"vtable for {name}"}
    return required | demangle(mangled), allowed


def demangle(names):
    lines = subprocess.run(["c++filt"], input="\n".join(sorted(names)), capture_output=True, text=True, check=True)
    return set(lines.stdout.split("\n")) - {""}


def exports(library):
    nm = subprocess.run(["nm", "-DC", "--defined-only", library], capture_output=True, text=True, check=True)
    return {line.split(" ", 2)[2] for line in nm.stdout.splitlines()}


def main():
    library = sys.argv[1]
    required, allowed = interface(pathlib.Path(sys.argv[2]))
    exported = exports(library)
    missing, surplus = required - exported, exported - required - allowed
    for name in sorted(missing):
        print(f"declared, not exported: {name}")
    for name in sorted(surplus):
        print(f"exported, not declared: {name}")
    print(f"{library}: {len(exported)} names, {len(missing)} missing, {len(surplus)} too many")
    return 1 if missing or surplus or not required else 0


if __name__ == "__main__":
    sys.exit(main())
