"""Means and centred sums by numpy, pandas and R, where they are installed, for scripts/verify-precision to measure."""

import shutil
import subprocess

R_PROGRAM = r"""
arguments <- commandArgs(trailingOnly = TRUE)
columns <- as.integer(arguments[2])
values <- matrix(readBin(arguments[1], "double", file.size(arguments[1]) / 8), nrow = columns + 3)
x <- t(values[seq_len(columns), , drop = FALSE])
w <- values[columns + 1, ] * values[columns + 2, ]
x[x == -.Machine$double.xmax] <- NA
for (i in seq_len(columns)) for (j in seq_len(i)) {
  used <- !is.na(x[, i]) & !is.na(x[, j])
  pair <- x[used, c(i, j)]
  m <- if (all(w == 1)) cov(pair) * (sum(used) - 1) else cov.wt(pair, w[used] / sum(w[used]), method = "ML")$cov * sum(w[used])
  mean_of <- function(k) if (all(w == 1)) mean(pair[, k]) else weighted.mean(pair[, k], w[used])
  cat(i - 1, j - 1, sprintf("%.17g", c(mean_of(1), mean_of(2), m[1, 1], m[2, 2], m[1, 2])), sep = ",")
  cat("\n")
}
"""


def by_numpy(family, missing, pairs):
    """numpy knows weights and no missing values, pandas missing values and no weights; neither knows groups.

    Of each pair [mean, mean, css, css, cscp]; None where a peer does not tell.
    """
    found = {}
    try:
        import numpy
    except ImportError:
        return found
    values = numpy.array(family.rows)

    def cells(means, products):
        return {(i, j): [float(means[i]), float(means[j]), float(products[i][i]), float(products[j][j]), float(products[i][j])]
                for i, j in pairs}

    if family.case:
        w = numpy.array(family.case) * numpy.array(family.regression)
        found["numpy"] = cells(numpy.average(values, axis=0, weights=w), numpy.cov(values, rowvar=False, aweights=w, ddof=0) * w.sum())
    elif not family.pairwise:
        found["numpy"] = cells(values.mean(axis=0), numpy.cov(values, rowvar=False) * (len(values) - 1))
    try:
        import pandas
    except ImportError:
        return found
    if not family.case:
        values[values == missing] = numpy.nan
        frame = pandas.DataFrame(values)
        there = (~numpy.isnan(values)).astype(float)
        counts = there.T @ there
        found["pandas"] = {}
        products = frame.cov().to_numpy() * (counts - 1)
        own = cells(frame.mean().to_numpy(), products)
        for cell, numbers in own.items():
            # pandas has means and sums of squares of variables alone, not over the rows of a pair.
            known = cell[0] == cell[1] or not family.pairwise
            found["pandas"][cell] = numbers if known else [None, None, None, None, numbers[4]]
    return found


def by_r(raw, columns):
    """Lines `row,column,mean,mean,css,css,cscp` of a file of doubles; see the library's accumulators in tests/precision."""
    if not shutil.which("Rscript"):
        return ""
    return subprocess.run(["Rscript", "--vanilla", "-e", R_PROGRAM, raw, str(columns)], check=True, capture_output=True, text=True).stdout
