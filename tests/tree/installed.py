"""installed.py BUILD EXAMPLES COMPILER: what `cmake --install` puts down works wherever it is put.

The installation is moved before it is used. Its components are disjoint and together the whole, no file of it names the
source or the build folder, and every example is built and run against it, found by find_package and by pkg-config.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

BUILD = pathlib.Path(sys.argv[1])
EXAMPLES = pathlib.Path(sys.argv[2])
COMPILER = sys.argv[3]
GUIDE = EXAMPLES.parent / "docs" / "embedding.md"
ROOM = BUILD / "installed"
PREFIX = ROOM / "moved" / "prefix"
NAMES = sorted(source.stem for source in EXAMPLES.glob("*.cpp"))


def run(*command, **options):
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}\n{done.stdout}")
    return done.stdout


def install(folder, *options):
    run("cmake", "--install", str(BUILD), "--prefix", str(folder), *options)
    return {path.relative_to(folder) for path in folder.rglob("*") if not path.is_dir()}


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(ROOM, ignore_errors=True)
        cls.files = install(ROOM / "first")
        PREFIX.parent.mkdir()
        (ROOM / "first").rename(PREFIX)
        cls.libraries = next(PREFIX.rglob("libvexa.so")).parent

    def test_components_are_the_whole(self):
        parts = [install(ROOM / name, "--component", name) for name in ("runtime", "dev", "program")]
        self.assertEqual(set.union(*parts), self.files)
        self.assertEqual(sum(map(len, parts)), len(self.files))

    def test_nothing_names_where_it_was_built(self):
        for path in self.files:
            content = (PREFIX / path).read_bytes()
            for folder in (BUILD, EXAMPLES.parent):
                self.assertNotIn(os.fsencode(folder), content, path)

    def test_program_runs(self):
        program = PREFIX / "bin/vexa-stats"
        if program.exists():
            self.assertRegex(run(program, "--version"), r"^vexa-stats \d+\.\d+\.\d+\n$")

    def expect_outputs(self, programs, **environment):
        self.assertEqual(len(NAMES), 5)
        for name in NAMES:
            with self.subTest(name):
                output = run(programs / name, env={**os.environ, **environment}, timeout=60)
                self.assertEqual(output, (EXAMPLES / f"{name}.txt").read_text())

    def test_examples_by_find_package(self):
        folder = ROOM / "cmake"
        run("cmake", "-S", str(EXAMPLES), "-B", str(folder), f"-DCMAKE_PREFIX_PATH={PREFIX}",
            f"-DCMAKE_CXX_COMPILER={COMPILER}")
        run("cmake", "--build", str(folder), "--parallel", "2")
        self.expect_outputs(folder)

    def test_examples_by_pkg_config(self):
        """As the guide says it of one of them."""
        command, = re.findall(r"^```sh\n(.*?)^```$", GUIDE.read_text(encoding="utf-8"), re.DOTALL | re.MULTILINE)
        folder = ROOM / "pkgconfig"
        shutil.copytree(EXAMPLES, folder)
        (folder / "c++").symlink_to(COMPILER)
        environment = {**os.environ, "PATH": f"{folder}:{os.environ['PATH']}",
                       "PKG_CONFIG_PATH": str(self.libraries / "pkgconfig")}
        for name in NAMES:
            run("sh", "-c", command.replace("batch", name), cwd=folder, env=environment)
        self.expect_outputs(folder, LD_LIBRARY_PATH=str(self.libraries))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
