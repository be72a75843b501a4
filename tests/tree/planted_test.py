"""planted_test.py: the checks of the tree see the faults that they are there for."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

TREE = pathlib.Path(__file__).resolve().parents[2]
CHECK_INCLUDES = TREE / "scripts/check-includes"
HEADERS, EXPORTS = TREE / "tests/tree/headers.py", TREE / "tests/tree/exports.py"


class Planted(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tree = pathlib.Path(folder.name)

    def plant(self, files):
        for name, text in files.items():
            path = self.tree / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")

    def run_check(self, *command):
        run = subprocess.run([sys.executable, *map(str, command)], capture_output=True, text=True)
        return run.returncode, run.stdout + run.stderr

    def expect_red(self, run, *texts):
        code, output = run
        self.assertEqual(code, 1, output)
        for text in texts:
            self.assertIn(text, output)


class Includes(Planted):
    LAWFUL = {
        "backend/tables/vexa/batch.h": "#include <vector>\n",
        "backend/tables/vexa/driver.h": '#include "../sfthread/pool.h"\n#include "batch.h"\n',
        "backend/tables/vexa/vexa.h": '#include "batch.h"\n#include "driver.h"\n',
        "backend/tables/sfthread/pool.h": "#include <mutex>\n",
        "backend/vexa/driver.cpp": '#include "vexa/driver.h"\n#include "sfthread/pool.h"\n',
        "backend/vexa/matrix.cpp": '#include "engine/engine.h"\n#include "vexa/batch.h"\n',
        "backend/vexa/engine/engine.h": "#include <cstddef>\n",
        "host/table/reader.h": "#include <fast_float/fast_float.h>\n",
        "host/derive/sums.h": "#include <Eigen/Core>\n#include <string>\n",
        "host/pass/run.h": '#include "table/reader.h"\n#include "vexa/driver.h"\n',
        "host/render/page.cpp": '#include "derive/sums.h"\n#include <fmt/format.h>\n',
        "host/command/cov.cpp": '#include "pass/run.h"\n#include "render/page.h"\n',
        "host/render/page.h": "",
    }
    BROKEN = [
        ("backend/vexa/engine/tile.cpp", "#include <vector>", "<vector>"),
        ("backend/vexa/engine/up.cpp", '#include "../matrix.cpp"', "backend/vexa/matrix.cpp"),
        ("backend/vexa/pooled.cpp", '#include "sfthread/pool.h"', "backend/tables/sfthread/pool.h"),
        ("backend/vexa/pooled.h", '#include "vexa/driver.h"', "backend/tables/vexa/driver.h"),
        ("backend/vexa/all.cpp", '#include "vexa/vexa.h"', "backend/tables/vexa/vexa.h"),
        ("backend/vexa/rows.cpp", '#include "../../host/table/reader.h"', "host/table/reader.h"),
        ("backend/vexa/linear.cpp", "#include <Eigen/Core>", "<Eigen/Core>"),
        ("backend/tables/vexa/matrix.h", '#include "driver.h"', "backend/tables/vexa/driver.h"),
        ("host/derive/print.cpp", "#include <fstream>", "<fstream>"),
        ("host/derive/run.cpp", '#include "pass/run.h"', "host/pass/run.h"),
        ("host/derive/text.h", "#include <fmt/format.h>", "<fmt/format.h>"),
        ("host/render/matrix.cpp", '  #  include "vexa/batch.h"', "backend/tables/vexa/batch.h"),
        ("host/table/batch.cpp", '#include "vexa/batch.h"', "backend/tables/vexa/batch.h"),
        ("host/pass/page.cpp", '#include "render/page.h"', "host/render/page.h"),
        ("host/pass/gone.cpp", '#include "table/gone.h"', "table/gone.h"),
        ("host/render/macro.cpp", "#include HEADER", "neither a quoted nor an angled name"),
        ("host/extra/new.cpp", "#include <vector>", "host/extra/"),
    ]

    def test_lawful_tree_passes(self):
        self.plant(self.LAWFUL)
        code, output = self.run_check(CHECK_INCLUDES, self.tree)
        self.assertEqual(code, 0, output)

    def test_every_broken_rule_is_named_with_its_line(self):
        self.plant(self.LAWFUL | {name: f"\n{line}\n" for name, line, _ in self.BROKEN})
        code, output = self.run_check(CHECK_INCLUDES, self.tree)
        self.assertEqual(code, 1, output)
        found = output.splitlines()[:-1]
        self.assertEqual(sorted(line.split(": ")[0] for line in found), sorted(f"{name}:2" for name, _, _ in self.BROKEN))
        for name, _, target in self.BROKEN:
            self.assertTrue(any(line.startswith(f"{name}:2: ") and target in line for line in found), (name, output))

    def test_empty_tree_is_no_success(self):
        self.expect_red(self.run_check(CHECK_INCLUDES, self.tree))


class PublicHeaders(Planted):
    FAULTS = {
        "needs what it does not include": {"lib/a.h": "inline std::vector<int> F();\n"},
        "converts silently": {"lib/a.h": "inline int F(double x) { return x; }\n"},
        "is found from one root only": {"lib/a.h": '#include "lib/b.h"\n', "lib/b.h": "#pragma once\n"},
        "breaks the header after it": {"lib/a.h": "#pragma once\n#define Row 1\n", "lib/b.h": "struct Row {};\n"},
        "uses a parameter in assertions only": {
            "lib/a.h": "#pragma once\n#include <cassert>\ninline void F(int n) { assert(n > 0); }\n"},
        "is C++20": {"lib/a.h": "inline bool F(auto x) { return x; }\n"},
    }

    def test_faults(self):
        for fault, files in self.FAULTS.items():
            for compiler in ("g++", "clang++"):
                with self.subTest(fault, compiler=compiler):
                    self.setUp()
                    self.plant(files)
                    self.expect_red(self.run_check(HEADERS, self.tree, compiler, "c++17"), "rejected")


class Exports(Planted):
    HEADER = """#pragma once
        #define API __attribute__((visibility("default")))
        namespace lib {
        API extern double bound;
        API int F(int x);
        class API Base {
         public:
          Base(int x);
          Base(const Base&) = delete;
          virtual ~Base();
          virtual int Run() = 0;
          int Inline() const { return 1; }
        };
        }
        """
    SOURCE = """#include "lib.h"
        #include <vector>
        namespace lib {
        double bound = 1;
        int F(int x) { return x; }
        Base::Base(int) {}
        Base::~Base() {}
        }
        """

    def check(self, source, header=HEADER):
        self.plant({"include/lib.h": header, "lib.cpp": source})
        library = self.tree / "lib.so"
        subprocess.run(["g++", "-shared", "-fPIC", "-fvisibility=hidden", "-fvisibility-inlines-hidden", "-I",
                        self.tree / "include", self.tree / "lib.cpp", "-o", library], check=True)
        return self.run_check(EXPORTS, library, self.tree / "include")

    def test_exact_interface_passes(self):
        code, output = self.check(self.SOURCE)
        self.assertEqual(code, 0, output)

    def test_faults(self):
        self.expect_red(self.check(self.SOURCE + 'namespace lib { API int Helper() { return 1; } }'),
                        "exported, not declared: lib::Helper()")
        self.expect_red(self.check(self.SOURCE + "void Grow(std::vector<int>& x) { x.push_back(1); }"),
                        "exported, not declared: void std::vector")
        self.expect_red(self.check(self.SOURCE.replace("int F(int x)", "int F(long x)")),
                        "declared, not exported: lib::F(int)")
        hidden = self.HEADER.replace("class API Base", "class Base")
        self.expect_red(self.check(self.SOURCE, hidden), "declared, not exported: lib::Base::Base(int)",
                        "declared, not exported: vtable for lib::Base")


if __name__ == "__main__":
    unittest.main()
