#!/usr/bin/env python3
"""peers.py FOLDER [ROUNDS]: other programs on the data of the benchmarks.

FOLDER is what `ratios --export FOLDER` has written, raw doubles of the machine's byte order:
  complete-4096x480      rows without missing values, row after row
  complete-weights       the weight of each row, case weight times regression weight
  complete-products      their centred cross-products, the lower triangle row by row
  scattered-2048x128     rows in which the lowest double stands for a missing value
  scattered-covariances  of each column with every earlier one, over the rows that have both

Times numpy, pandas and R, whichever are installed, each with its own function for the same result and only if it
gives that result. Prints CSV: the line of the table that does the same work, the peer, the median seconds of the
processor. Each runs on one thread if the environment says so to its matrix library.
"""

import csv
import pathlib
import shutil
import subprocess
import sys
import time

TOLERANCE = 1e-9  # relative, of the largest value; peers sum in other orders
COMPLETE = "listwise-480-plain"
SCATTERED = "pairwise-unweighted-plain"

R_PROGRAM = r"""
arguments <- commandArgs(trailingOnly = TRUE)
read <- function(name) readBin(file.path(arguments[1], name), "double", file.size(file.path(arguments[1], name)) / 8)
rows <- function(name, columns) matrix(read(name), ncol = columns, byrow = TRUE)
lower <- function(m, diagonal) t(m)[upper.tri(m, diag = diagonal)]
seconds <- function(work) {
  once <- function() { gc(FALSE); t <- proc.time(); work(); sum((proc.time() - t)[1:2]) }
  median(replicate(as.integer(arguments[2]), once()))
}
report <- function(line, peer, work, result, expected) {
  wrong <- max(abs(result(work()) - expected)) / max(abs(expected))
  cat(line, peer, seconds(work), wrong, sep = ",", fill = TRUE)
}
x <- rows("complete-4096x480", 480)
w <- read("complete-weights")
report(arguments[3], "R cov.wt", function() cov.wt(x, w, method = "ML")$cov,
       function(m) lower(m, TRUE) * sum(w), read("complete-products"))
y <- rows("scattered-2048x128", 128)
y[y == -.Machine$double.xmax] <- NA
report(arguments[4], "R cov pairwise", function() cov(y, use = "pairwise.complete.obs"),
       function(m) lower(m, FALSE), read("scattered-covariances"))
"""


def note(text):
    print(f"peers: {text}", file=sys.stderr)


def report(writer, line, peer, seconds, wrong):
    """Writes the row of a peer, unless it has computed something else."""
    if wrong <= TOLERANCE:
        writer.writerow([line, peer, f"{seconds:.6g}"])
    else:
        note(f"{peer} gives other sums (off by {wrong:.1e}), left out")


def median_seconds(work, rounds):
    """The median of the processor's time for the work, after one run that does not count."""
    work()
    times = []
    for _ in range(rounds):
        begin = time.process_time()
        work()
        times.append(time.process_time() - begin)
    return sorted(times)[rounds // 2]


def time_python(folder, rounds, writer):
    try:
        import numpy
    except ImportError:
        note("numpy is not installed")
        return

    def read(name, columns=None):
        values = numpy.fromfile(folder / name)
        return values if columns is None else values.reshape(-1, columns)

    def wrong(matrix, expected, diagonal):
        triangle = matrix[numpy.tril_indices(len(matrix), diagonal)]
        return abs(triangle - expected).max() / abs(expected).max()

    x, w = read("complete-4096x480", 480), read("complete-weights")
    cov = lambda: numpy.cov(x, rowvar=False, aweights=w, ddof=0)
    report(writer, COMPLETE, "numpy.cov", median_seconds(cov, rounds),
           wrong(cov() * w.sum(), read("complete-products"), 0))
    try:
        import pandas
    except ImportError:
        note("pandas is not installed")
        return
    y = read("scattered-2048x128", 128)
    frame = pandas.DataFrame(numpy.where(y == numpy.finfo(float).min, numpy.nan, y))
    report(writer, SCATTERED, "pandas.DataFrame.cov", median_seconds(frame.cov, rounds),
           wrong(frame.cov().to_numpy(), read("scattered-covariances"), -1))


def time_r(folder, rounds, writer):
    if not shutil.which("Rscript"):
        note("R is not installed")
        return
    run = subprocess.run(["Rscript", "--vanilla", "-e", R_PROGRAM, folder, str(rounds), COMPLETE, SCATTERED],
                         capture_output=True, text=True)
    if run.returncode != 0:
        note(f"R failed:\n{run.stderr}")
        return
    for line, peer, seconds, wrong in csv.reader(run.stdout.splitlines()):
        report(writer, line, peer, float(seconds), float(wrong))


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__.splitlines()[0])
    folder, rounds = pathlib.Path(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) == 3 else 15
    writer = csv.writer(sys.stdout, lineterminator="\n")
    time_python(folder, rounds, writer)
    time_r(folder, rounds, writer)


if __name__ == "__main__":
    main()
