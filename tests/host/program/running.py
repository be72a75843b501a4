"""Runs the program as a shell would, in a folder and an environment of its own."""

import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

TREE = pathlib.Path(__file__).resolve().parents[3]
DATA = TREE / "data"
THREADS = (1, 2, 3, 7, 16)
PROGRAM = ""


class Run:
    """A finished run: exit code (negative for a signal), both outputs, peak memory in bytes."""

    def __init__(self, code, out, err, peak):
        self.code, self.out, self.err, self.peak = code, out, err, peak


def in_foreground():
    # A background job of a script may have Ctrl-C ignored, and would hand that on.
    signal.signal(signal.SIGINT, signal.SIG_DFL)


class ProgramTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, name, content):
        mode = {"mode": "wb"} if isinstance(content, bytes) else {"mode": "w", "encoding": "utf-8", "newline": ""}
        with open(self.folder / name, **mode) as file:
            file.write(content)
        return name

    def start(self, *args, env=None, **options):
        return subprocess.Popen([PROGRAM, *map(str, args)], cwd=self.folder, env={"PATH": os.environ["PATH"], **(env or {})},
                                **{"preexec_fn": in_foreground, "stdin": subprocess.DEVNULL,
                                   "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options})

    def run_program(self, *args, input=None, **options):
        """Runs to the end, with a text or a file as standard input."""
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err, tempfile.TemporaryFile() as given:
            if isinstance(input, str):
                given.write(input.encode())
                given.seek(0)
                input = given
            process = self.start(*args, stdin=input or subprocess.DEVNULL, **{"stdout": out, "stderr": err, **options})
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            out.seek(0)
            err.seek(0)
            return Run(process.returncode, out.read().decode("utf-8", "surrogateescape"), err.read().decode(),
                       usage.ru_maxrss * 1024)

    def succeed(self, *args, **options):
        run = self.run_program(*args, **options)
        self.assertEqual(run.code, 0, (args, run.err))
        return run

    def left_behind(self, *known):
        return sorted(set(os.listdir(self.folder)) - set(known))


def write_big_file(path, rows):
    """18 numeric columns of which two are weights, two of quoted text; 3 % missing, weights that are 0 among them.

    Written in pieces, since the memory that a process has before it becomes another one counts as that one's.
    """
    draw = random.Random(20)
    pool = [[f"{draw.gauss(10.0 ** (col % 5), 1 + col):.{2 + col % 7}f}" for _ in range(500)] for col in range(16)]
    texts = ['"a, b"', '"say ""x"""', '"two\nlines"', "plain"]
    with open(path, "w", encoding="utf-8", newline="") as file:
        file.write(",".join(['"text, one"', *(f"x{col}" for col in range(16)), "w", "r", "more"]) + "\n")
        for start in range(0, rows, 10000):
            count = min(10000, rows - start)
            columns = [draw.choices([*values, "NA", ""], [1] * 500 + [8, 8], k=count) for values in pool]
            weights = draw.choices(["1", "2", "0.5", "0", "3.25"], [50, 20, 20, 1, 9], k=count)
            reg_weights = draw.choices(["1", "0.25", "1e-3", "."], [50, 30, 20, 1], k=count)
            named = draw.choices(texts, k=count)
            file.write("\n".join(map(",".join, zip(named, *columns, weights, reg_weights, named))) + "\n")


def main():
    global PROGRAM
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main(module="__main__")
