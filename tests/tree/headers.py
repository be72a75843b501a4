"""headers.py TABLES COMPILER STANDARD: every public header compiles without a warning.

One generated source per header, from either include root; then all headers in one source, in both orders, so that
each comes before and after every other, and once as a program built with NDEBUG sees them.
"""

import concurrent.futures
import os
import pathlib
import subprocess
import sys

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"]


def compile_source(compiler, standard, root, includes, *options):
    """The compiler's complaints about a source that includes these, or an empty text."""
    source = "".join(f'#include "{name}"\n' for name in includes)
    command = [compiler, f"-std={standard}", *WARNINGS, "-I", str(root), *options, "-fsyntax-only", "-x", "c++", "-"]
    run = subprocess.run(command, input=source, capture_output=True, text=True)
    return "" if run.returncode == 0 else f"{' '.join(command)}\n{source}{run.stderr}"


def main():
    tables, compiler, standard = pathlib.Path(sys.argv[1]), *sys.argv[2:]
    headers = sorted(tables.glob("*/*.h"))
    names = [header.relative_to(tables).as_posix() for header in headers]
    sources = [(tables, [name]) for name in names] + [(header.parent, [header.name]) for header in headers]
    sources += [(tables, names), (tables, names[::-1]), (tables, names, "-DNDEBUG")]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        complaints = [text for text in pool.map(lambda source: compile_source(compiler, standard, *source), sources)
                      if text]
    print("\n".join(complaints + [f"{len(headers)} headers, {len(sources)} sources, {len(complaints)} rejected"]))
    return 1 if complaints or not headers else 0


if __name__ == "__main__":
    sys.exit(main())
