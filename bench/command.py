#!/usr/bin/env python3
"""command.py BUILD ONLY: whole runs of `vexa-stats cov -t 2`, against what they could be at best and against others.

BUILD is a build with the program and the benchmarks; ONLY a text that the names of the lines must contain. The lines:
  program-wide-parsing, program-tall-parsing  against fast_float over the bytes in memory, on two threads
  program-wide-pipe, program-tall-pipe        from a pipe, against the same file
  program-wide-pandas, program-wide-R         against read_csv and cov, fread and cov, where they are installed
Wide are 200,000 rows of 100 columns, tall 3,000,000 of 6, with six significant digits, in memory (/dev/shm) if there
is room. Runs alternate; prints CSV as `ratios` does, with the medians of the times and of the rounds' ratios.
"""

import csv
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

ROUNDS = 9
TABLES = {"wide": (200_000, 100), "tall": (3_000_000, 6)}
ROOM = 1 << 29
TOLERANCE = 1e-9  # of covariances, relative to the largest
PANDAS = "import pandas, sys; pandas.read_csv(sys.argv[1]).cov().to_csv(sys.argv[2])"
R = ("library(data.table); setDTthreads(2); a <- commandArgs(trailingOnly = TRUE); "
     "write.csv(cov(fread(a[1])), a[2])")
HEADER = ("line,work,shape,against,core,level,bits,limit,aim,seconds,their_seconds,ratio,low,high,gflops,peak_share")


def note(text):
    print(f"command: {text}", file=sys.stderr, flush=True)


def run_seconds(command, output=os.devnull):
    begin = time.perf_counter()
    with open(output, "wb") as out:
        subprocess.run(command, stdout=out, stderr=subprocess.DEVNULL, check=True)
    return time.perf_counter() - begin


def peer_programs():
    """Those that are installed: their name in a line and in the table, and their command without the two files."""
    for python in (sys.executable, shutil.which("python3"), "/usr/bin/python3"):
        if python and subprocess.run([python, "-c", "import pandas"], capture_output=True).returncode == 0:
            yield "pandas", "pandas read_csv, cov", [python, "-c", PANDAS]
            break
    if shutil.which("Rscript") and subprocess.run(["Rscript", "-e", "library(data.table)"], capture_output=True).returncode == 0:
        yield "R", "R fread, cov", ["Rscript", "--vanilla", "-e", R]


def covariances(file):
    with open(file, encoding="utf-8", newline="") as lines:
        return [[float(cell) for cell in row[1:]] for row in list(csv.reader(lines))[1:]]


def agree(ours, theirs):
    pairs = [(a, b) for row, other in zip(covariances(ours), covariances(theirs), strict=True) for a, b in zip(row, other, strict=True)]
    return max(abs(a - b) for a, b in pairs) <= TOLERANCE * max(abs(a) for a, _ in pairs)


class Bench:
    def __init__(self, build, folder):
        self.program, self.table = build / "host" / "vexa-stats", build / "bench" / "bench_table"
        self.folder = folder
        self.writer = csv.DictWriter(sys.stdout, HEADER.split(","), restval="", lineterminator="\n")
        self.writer.writeheader()

    def file(self, kind):
        path = self.folder / f"{kind}.csv"
        if not path.exists():
            with open(path, "wb") as out:
                subprocess.run([self.table, "write", *map(str, TABLES[kind])], stdout=out, check=True)
        return path

    def ours(self, file):
        return [self.program, "cov", "-t", "2", "-f", "csv", file]

    def compare(self, line, kind, against, ours, theirs, limit, aim="", bits="same"):
        rounds = []
        for number in range(ROUNDS):
            pair = {}
            for work in (ours, theirs)[::-1 if number % 2 else 1]:
                pair[work] = work()
            rounds.append((pair[ours], pair[theirs]))
        ratios = statistics.quantiles((a / b for a, b in rounds), n=4, method="inclusive")
        self.writer.writerow({"line": line, "work": "vexa-stats cov, 2 threads", "shape": "{} × {}".format(*TABLES[kind]),
                              "against": against, "bits": bits, "limit": limit, "aim": aim,
                              "seconds": statistics.median(a for a, _ in rounds),
                              "their_seconds": statistics.median(b for _, b in rounds),
                              "ratio": ratios[1], "low": ratios[0], "high": ratios[2]})

    def parsing(self, line, kind, limit, aim):
        file = self.file(kind)
        parse = lambda: float(subprocess.run([self.table, "parse", file, "2"], check=True, capture_output=True).stdout)
        self.compare(line, kind, "fast_float, 2 threads", lambda: run_seconds(self.ours(file)), parse, limit, aim)
        with open(os.devnull, "wb") as out:
            process = subprocess.Popen(self.ours(file), stdout=out, stderr=out)
            _, _, usage = os.wait4(process.pid, 0)
        note(f"{line}: peak memory {usage.ru_maxrss / 1024:.0f} MiB")

    def pipe(self, line, kind):
        file = self.file(kind)

        def from_pipe(output=os.devnull):
            with subprocess.Popen(["cat", file], stdout=subprocess.PIPE) as feeder, open(output, "wb") as out:
                begin = time.perf_counter()
                subprocess.run(self.ours("-"), stdin=feeder.stdout, stdout=out, stderr=subprocess.DEVNULL, check=True)
                return time.perf_counter() - begin

        run_seconds(self.ours(file), self.folder / "file")
        from_pipe(self.folder / "pipe")
        same = (self.folder / "file").read_bytes() == (self.folder / "pipe").read_bytes()
        self.compare(line, kind, "the same file", from_pipe, lambda: run_seconds(self.ours(file)), 1 / 0.75,
                     bits="same" if same else "differ")

    def peer(self, line, name, command):
        file = self.file("wide")
        run_seconds(self.ours(file), self.folder / "ours")
        work = lambda: run_seconds([*command, file, self.folder / "theirs"])
        work()
        if agree(self.folder / "ours", self.folder / "theirs"):
            self.compare(line, "wide", name, lambda: run_seconds(self.ours(file)), work, 1 / 8)
        else:
            note(f"{name} gives other covariances, left out")


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__.splitlines()[0])
    build, only = pathlib.Path(sys.argv[1]), sys.argv[2]
    shared = pathlib.Path("/dev/shm")
    memory = shared.is_dir() and shutil.disk_usage(shared).free > ROOM
    with tempfile.TemporaryDirectory(dir=shared if memory else None) as folder:
        bench = Bench(build, pathlib.Path(folder))
        for kind, limit, aim in (("wide", 1 / 0.6, 1 / 0.8), ("tall", 1 / 0.5, "")):
            if only in (line := f"program-{kind}-parsing"):
                bench.parsing(line, kind, limit, aim)
            if only in (line := f"program-{kind}-pipe"):
                bench.pipe(line, kind)
        for short, name, command in peer_programs() if only in "program-wide-pandas program-wide-R" else ():
            if only in (line := f"program-wide-{short}"):
                bench.peer(line, name, command)


if __name__ == "__main__":
    main()
