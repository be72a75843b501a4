"""Runs the program as a shell would, in a folder and an environment of its own."""

import os
import pathlib
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
# Of the environment, where programs are and what a sanitizer is told.
ENVIRONMENT = {name: value for name, value in os.environ.items() if name == "PATH" or name.endswith("SAN_OPTIONS")}


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
        return subprocess.Popen([PROGRAM, *map(str, args)], cwd=self.folder, env={**ENVIRONMENT, **(env or {})},
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


def main():
    global PROGRAM
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main(module="__main__")
