"""Statistics in exact arithmetic over the doubles that a file holds, to measure the program against.

A double is an integer over a power of two. Every column is scaled to integers, so that sums are exact and fast; only
the last division and the square roots are rounded, far behind a double's digits.
"""

import csv
import decimal
import math
from fractions import Fraction

MISSING = frozenset({"", "na", "nan", ".", "null"})
# No error at all counts as so many digits.
ALL_DIGITS = 17.0


def read_table(path, names):
    """The named columns of a CSV file, row by row; None where a value is missing."""
    with open(path, newline="", encoding="utf-8") as file:
        rows = csv.DictReader(file)
        return [[None if row[name].lower() in MISSING else float(row[name]) for name in names] for row in rows]


def scaled(values):
    """Integers and the common denominator that make up the values."""
    ratios = [value.as_integer_ratio() for value in values]
    denominator = max((ratio[1] for ratio in ratios), default=1)
    return [numerator * (denominator // own) for numerator, own in ratios], denominator


class Sums:
    """What the program's `sums` tells, over rows without a missing value and with both weights above 0."""

    def __init__(self, rows, weights=None, reg_weights=None):
        case = weights or [1.0] * len(rows)
        regression = reg_weights or [1.0] * len(rows)
        used = [(row, w, r) for row, w, r in zip(rows, case, regression) if None not in row and w and r]
        self.n = len(used)
        case, case_unit = scaled([w for _, w, _ in used])
        regression, regression_unit = scaled([r for _, _, r in used])
        combined = [w * r for w, r in zip(case, regression)]
        unit = case_unit * regression_unit
        total = sum(combined)
        self.weight_sum = Fraction(sum(case), case_unit)
        self.reg_weight_sum = Fraction(total, unit)
        columns = [scaled(column) for column in zip(*(row for row, _, _ in used))]
        weighted = [[w * x for w, x in zip(combined, column)] for column, _ in columns]
        firsts = [sum(column) for column in weighted]
        self.means = [Fraction(first, total * own) for first, (_, own) in zip(firsts, columns)]
        self.cscp = []
        for i, (_, unit_i) in enumerate(columns):
            self.cscp.append([])
            for j in range(i + 1):
                column_j, unit_j = columns[j]
                product = sum(map(int.__mul__, weighted[i], column_j))
                self.cscp[i].append(Fraction(product * total - firsts[i] * firsts[j], total * unit * unit_i * unit_j))

    def css(self, i):
        return self.cscp[i][i]

    def cell(self, i, j):
        return self.cscp[max(i, j)][min(i, j)]

    def covariance(self, i, j):
        return self.cell(i, j) / (self.weight_sum - 1)

    def correlation(self, i, j):
        return real(self.cell(i, j)) / root(self.css(i) * self.css(j))

    def digits(self, i, j, found, exact, divisor=1):
        """Correct digits of a cell: its error relative to √(css_i · css_j) ÷ divisor."""
        error = abs(real(Fraction(found)) - real(exact))
        return digits(error, root(self.css(i) * self.css(j)) / real(divisor))


def real(number):
    with decimal.localcontext() as context:
        context.prec = 60
        if isinstance(number, decimal.Decimal):
            return number
        fraction = Fraction(number)
        return decimal.Decimal(fraction.numerator) / decimal.Decimal(fraction.denominator)


def root(number):
    with decimal.localcontext() as context:
        context.prec = 60
        return real(number).sqrt()


def digits(error, scale):
    return ALL_DIGITS if error == 0 else min(ALL_DIGITS, -math.log10(error / scale))
