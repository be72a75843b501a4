"""errors_test.py PROGRAM: what can be wrong with input, command line or output, one line each.

Of what is wrong within a file there are samples: the tests of the reader and of the pass have all of it. Every case runs with every number of threads and names its output file: message and exit code are the same, and
nothing is left behind.
"""

import gzip
import os
import pathlib
import resource
import signal
import subprocess

import running

LONG_ROWS = 60_000


def long_file(*faults):
    """Rows in many chunks, some of them replaced: (line, row)."""
    rows = ["x,y,z"] + [f"{row},{row % 7},{row % 11}.5" for row in range(LONG_ROWS)]
    for line, row in faults:
        rows[line - 1] = row
    return "\n".join(rows) + "\n"


class Errors(running.ProgramTest):
    #   what it is: files, arguments, exit code, message without "vexa-stats: error: "
    CASES = {
        "no such file": ({}, ["gone.csv"], 2, "gone.csv: cannot be opened: No such file or directory"),
        "folder": ({}, ["/"], 2, "/: is a directory"),
        "empty file": ({"a.csv": ""}, ["a.csv"], 2, "a.csv: is empty"),
        "header only": ({"a.csv": "x,y\n"}, ["a.csv"], 2, "a.csv: has a header and no rows"),
        "binary": ({"a.csv": b"\x7fELF\0\1"}, ["a.csv"], 2,
                   'a.csv:1: NUL byte in the header: this is no text file, or its encoding is UTF-16: "\\x7fELF\\x00\\x01"'),
        "other header": ({"a.csv": "x,y\n1,2\n", "b.csv": "x,z\n1,2\n"}, ["a.csv", "b.csv"], 2,
                         'b.csv:1: column 2 of the header is "z", but "y" in a.csv'),
        "unknown column": ({"a.csv": "x,y\n1,2\n"}, ["a.csv", "-c", "x,q"], 2,
                           "column q: is not among the 2 columns of the input"),
        "text column chosen": ({"a.csv": 'x,y\n1,2\n3,"so, so"\n'}, ["a.csv", "-c", "y"], 2,
                               'a.csv:3: column y: not a number: "so, so"'),
        "first over files": ({"a.csv": long_file((59_000, "nope,1,2")), "b.csv": long_file((3, "worse,1,2"))},
                             ["a.csv", "b.csv"], 2, 'a.csv:59000: column x: not a number: "nope"'),
        "text before the cut": ({"a.csv": gzip.compress(long_file((30_000, "1,2,oops")).encode())[:-9]}, ["a.csv"], 2,
                                'a.csv:30000: column z: not a number: "oops"'),
        "nothing numeric": ({"a.csv": "x,y\na,b\n"}, ["a.csv"], 2, "a.csv: has no numeric column"),
        "all left out": ({"a.csv": "x,y,w\n1,,1\n,2,1\n3,4,0\n5,6,\n"}, ["a.csv", "-w", "w"], 2,
                         "no row can be used: 4 rows read, 0 used, 4 left out: 1 with a missing weight; "
                         "1 with a weight of zero; 2 with a missing value (x 1, y 1)"),
        "too many columns": ({"a.csv": ",".join(f"c{col}" for col in range(65536)) + "\n" + "1," * 65535 + "1\n"},
                             ["a.csv"], 2, "65536 variables are too many: at most 65535 can be taken together"),
        "output in no folder": ({"a.csv": "x\n1\n2\n"}, ["a.csv", "-o", "gone/o.csv"], 2,
                                "gone/o.csv: cannot be written: No such file or directory"),
        "output is a folder": ({"a.csv": "x\n1\n2\n"}, ["a.csv", "-o", "/"], 2,
                               "/: cannot be written: Is a directory"),
        "output on a full disk": ({"a.csv": "x\n1\n2\n"}, ["a.csv", "-o", "/dev/full"], 2,
                                  "/dev/full: cannot be written: No space left on device"),
        "output over input": ({"a.csv": "x\n1\n2\n"}, ["a.csv", "-o", "./a.csv"], 1,
                              "--output would overwrite the input a.csv"),
        "two weights": ({"a.csv": "x,y\n1,2\n"}, ["a.csv", "-w", "x,y"], 1, '--weight takes one column, not "x,y"'),
        "long delimiter": ({}, ["a.csv", "-d", "::"], 1, '--delimiter takes a single character, or tab, not "::"'),
        "empty delimiter": ({}, ["a.csv", "-d", ""], 1, "--delimiter: needs a character"),
        "empty output": ({}, ["a.csv", "-o", ""], 1, "--output: names no file"),
        "no rows": ({}, ["a.csv", "--max-rows", "0"], 1, None),
        "unknown format": ({}, ["a.csv", "-f", "xml"], 1, "--format: xml not in {text,csv,json,html}"),
        "no digits": ({}, ["a.csv", "--digits", "0"], 1, "--digits: Value 0 not in range 1 to 17"),
        "unknown option": ({}, ["a.csv", "--colums", "x"], 1, None),
    }

    def test_each_has_its_line_and_leaves_nothing(self):
        for name, (files, args, code, message) in self.CASES.items():
            with self.subTest(name):
                self.setUp()
                for file, content in files.items():
                    self.write(file, content)
                output = [] if "-o" in args or "/" in args else ["-o", "out.csv"]
                for threads in running.THREADS:
                    run = self.run_program("cov", *args, *output, "-t", threads)
                    lines = [line for line in run.err.splitlines() if "error: " in line]
                    self.assertEqual(run.code, code, run.err)
                    self.assertEqual(len(lines), 1, run.err)
                    if message is not None:
                        self.assertEqual(lines[0], "vexa-stats: error: " + message)
                    self.assertEqual(run.out, "")
                    self.assertEqual(self.left_behind(*files), [])

    def test_command_line_without_a_command(self):
        for args, code, message in (([], 1, "error: which command? describe cov corr sums regress groups; vexa-stats --help tells more"),
                                    (["cor"], 1, 'error: "cor" is no command; there are describe cov corr sums regress groups'),
                                    (["--version"], 0, ""), (["--help"], 0, ""), (["corr", "--help"], 0, "")):
            run = self.run_program(*args)
            self.assertEqual((run.code, run.err.removeprefix("vexa-stats: ").strip()), (code, message))
            self.assertEqual(run.out == "", code != 0)


class Endings(running.ProgramTest):
    """What stands in the way of a result that is on its way out."""

    ROWS = "x,y\n" + "".join(f"{row}.25,{row * 7919 % 1013}\n" for row in range(400_000))

    def test_interrupt_gives_the_result_of_the_first_rows(self):
        self.write("all.csv", self.ROWS)
        for threads in (1, 3):
            for form in (["-f", "json", "--plot", "out.svg"], ["-o", "out.csv"]):
                process = self.start("cov", "-t", threads, *form, stdin=subprocess.PIPE)
                # More than fits into the pipe, so that most of it has been taken when this returns; the end never comes.
                process.stdin.write(self.ROWS.encode())
                process.stdin.flush()
                process.send_signal(signal.SIGINT)
                # One press that arrives twice.
                process.send_signal(signal.SIGINT)
                out, err = process.stdout.read().decode(), process.stderr.read().decode()
                self.assertEqual(process.wait(), 130, err)
                process.stdin.close(), process.stdout.close(), process.stderr.close()
                self.assertIn("interrupted after", err)
                self.assertEqual(self.left_behind("all.csv", "first.csv"), [])
                if "-o" in form:
                    self.assertEqual(out, "")
                    self.assertIn("nothing is written to out.csv", err)
                    continue
                self.assertIn("nothing is written to out.svg", err)
                self.assertIn('"complete": false', out)
                rows = int(out.split('"rows_read": ')[1].split(",")[0])
                self.assertGreater(rows, 0)
                self.write("first.csv", "".join(self.ROWS.splitlines(keepends=True)[:rows + 1]))
                whole = self.succeed("cov", "first.csv", "-f", "json").out
                self.assertEqual(out, whole.replace('"complete": true', '"complete": false'))

    def test_interrupt_before_the_first_row(self):
        process = self.start("cov", stdin=subprocess.PIPE)
        process.stdin.write(b"x")
        process.stdin.flush()
        # Its handler stands before it waits for input.
        status = pathlib.Path(f"/proc/{process.pid}/status")
        caught = 1 << signal.SIGINT - 1
        while not int(status.read_text().split("SigCgt:")[1].split()[0], 16) & caught and process.poll() is None:
            pass
        process.send_signal(signal.SIGINT)
        self.assertEqual((process.wait(), process.stdout.read()), (130, b""))
        self.assertIn(b"interrupted before there was a result", process.stderr.read())
        process.stdin.close(), process.stdout.close(), process.stderr.close()

    def test_file_that_changes_while_it_is_read_twice(self):
        self.write("a.csv", "x,g\n1,a\n2,b\n")
        os.mkfifo(self.folder / "b.csv")
        process = self.start("describe", "--by", "g", "a.csv", "b.csv", "-o", "out.csv", "--plot", "out.svg")
        # Whoever opens the pipe waits for the program to do so, which by then has looked at the file before it.
        with open(self.folder / "b.csv", "w", encoding="utf-8") as pipe:
            self.write("a.csv", "x,g\n1,a\n2,b\n3,c\n")
            pipe.write("x,g\n3,b\n")
        self.assertEqual(process.communicate(), (b"", b"vexa-stats: error: a.csv: changed while it was read\n"))
        self.assertEqual((process.returncode, self.left_behind("a.csv", "b.csv")), (2, []))

    def test_closed_pipe_is_silent(self):
        self.write("a.csv", "x,y\n1,2\n3,5\n")
        read_end, write_end = os.pipe()
        os.close(read_end)
        run = self.run_program("cov", "a.csv", "--plot", "a.svg", stdout=write_end)
        self.assertEqual((run.code, run.err), (141, ""))
        # Whoever does not want the table may still want the picture, and without the messages the result.
        run = self.run_program("cov", "a.csv", "-o", "out.csv", "--verbose", stderr=write_end)
        os.close(write_end)
        self.assertEqual((run.code, self.left_behind("a.csv")), (0, ["a.svg", "out.csv"]))

    def test_full_disk(self):
        self.write("a.csv", "x,y\n1,2\n3,5\n")
        with open("/dev/full", "wb") as full:
            run = self.run_program("cov", "a.csv", stdout=full)
        self.assertEqual((run.code, run.err),
                         (2, "vexa-stats: error: <stdout>: cannot be written: No space left on device\n"))
        run = self.run_program("cov", "a.csv", preexec_fn=lambda: os.close(1))
        self.assertEqual((run.code, run.err), (2, "vexa-stats: error: <stdout>: cannot be written: Bad file descriptor\n"))
        # A file that must not grow beyond a few bytes is as good as a disk that is full in the middle of it.
        self.write("out.csv", "precious")
        run = self.run_program("cov", "a.csv", "-f", "csv", "-o", "out.csv",
                               preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (20, 20)), stderr=subprocess.DEVNULL)
        self.assertEqual(run.code, 2)
        self.assertEqual((self.folder / "out.csv").read_text(), "precious")
        self.assertEqual(self.left_behind("a.csv", "out.csv"), [])

    def test_output_replaces_only_what_is_an_ordinary_file(self):
        self.write("a.csv", "x,y\n1,2\n3,5\n")
        result = "variable,x,y\nx,2,3\ny,3,4.5\n"
        read = lambda name: (self.folder / name).read_text()
        cov_to = lambda path, **options: self.succeed("cov", "a.csv", "-f", "csv", "-o", path, **options)
        self.write("old.csv", "old")
        os.chmod(self.folder / "old.csv", 0o640)
        os.symlink("old.csv", self.folder / "link.csv")
        run = cov_to("link.csv")
        self.assertEqual((run.out, run.err), ("", "vexa-stats: 2 rows read, all used\n"))
        self.assertEqual((read("old.csv"), os.stat(self.folder / "old.csv").st_mode & 0o7777), (result, 0o640))
        self.assertTrue(os.path.islink(self.folder / "link.csv"))
        # A file that others write to as well, as standard output or as one that the caller holds open.
        for name in ("/dev/stdout", "/dev/fd/{}"):
            with open(self.folder / "all.csv", "wb", buffering=0) as shared:
                shared.write(b"before\n")
                cov_to(name.format(shared.fileno()), **({"stdout": shared} if "out" in name else {"pass_fds": (shared.fileno(),)}))
                shared.write(b"after\n")
            self.assertEqual(read("all.csv"), f"before\n{result}after\n")
        # A link to a file that is yet to come.
        os.symlink("new.csv", self.folder / "ahead.csv")
        cov_to("ahead.csv")
        self.assertEqual((os.path.islink(self.folder / "ahead.csv"), read("new.csv")), (True, result))
        with open(self.folder / "a.csv", "rb") as given:
            run = self.run_program("cov", "-o", "./a.csv", input=given)
        self.assertEqual((run.code, run.err), (1, "vexa-stats: error: --output would overwrite the input <stdin>\n"))
        # What is no ordinary file is written, not replaced.
        read_end, write_end = os.pipe()
        cov_to(f"/dev/fd/{write_end}", pass_fds=(write_end,))
        os.close(write_end)
        with open(read_end, encoding="utf-8") as pipe:
            self.assertEqual(pipe.read(), result)
        self.assertEqual(self.left_behind("a.csv", "old.csv", "link.csv", "all.csv", "ahead.csv", "new.csv"), [])


if __name__ == "__main__":
    running.main()
