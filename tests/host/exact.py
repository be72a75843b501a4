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

    def square(self, i, j, about_zero):
        return self.cell(i, j) + (self.reg_weight_sum * self.means[i] * self.means[j] if about_zero else 0)

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


def solved(matrix, rights):
    """The solutions of matrix · x = right for several right sides, by elimination; of fractions they are exact."""
    rows = [[*row, *(right[i] for right in rights)] for i, row in enumerate(matrix)]
    size = len(rows)
    for col in range(size):
        pivot = max(range(col, size), key=lambda i: abs(rows[i][col]))
        rows[col], rows[pivot] = rows[pivot], rows[col]
        rows[col] = [cell / rows[col][col] for cell in rows[col]]
        for i in range(size):
            if i != col and rows[i][col]:
                rows[i] = [cell - rows[i][col] * own for cell, own in zip(rows[i], rows[col])]
    return [[row[size + k] for row in rows] for k in range(len(rights))]


class Regression:
    """Least squares of the last column on the others: `estimates`, squares of `errors` and `tolerances`, the intercept's
    first (its tolerance None).

    With pairwise handling, of correlations over each pair's rows and deviations over each variable's.
    """

    def __init__(self, rows, weights=None, reg_weights=None, intercept=True, pairwise=False):
        size = len(rows[0])
        about_zero = not intercept
        if pairwise:
            of = lambda i, j: Sums([(row[i], row[j]) for row in rows], weights, reg_weights)
            pairs = [[of(i, j) for j in range(size)] for i in range(size)]
            self.weight_sum = min(pair.weight_sum for row in pairs for pair in row)
            weight = min(pair.reg_weight_sum for row in pairs for pair in row)
            cases = self.weight_sum - intercept
            own = [pairs[i][i] for i in range(size)]
            deviations = [root(own[i].square(0, 0, about_zero) / (own[i].weight_sum - intercept)) for i in range(size)]

            def square(i, j):
                pair = pairs[i][j]
                cosine = real(pair.square(0, 1, about_zero)) / root(
                    pair.square(0, 0, about_zero) * pair.square(1, 1, about_zero))
                return cosine * deviations[i] * deviations[j] * real(cases)

            means = [real(sums.means[0]) for sums in own]
        else:
            sums = Sums(rows, weights, reg_weights)
            self.weight_sum, weight, cases = sums.weight_sum, sums.reg_weight_sum, sums.weight_sum - intercept
            square = lambda i, j: sums.square(i, j, about_zero)
            means = sums.means
        like = real if pairwise else Fraction
        with decimal.localcontext() as context:
            context.prec = 60
            y = size - 1
            matrix = [[square(i, j) for j in range(y)] for i in range(y)]
            right = [square(i, y) for i in range(y)]
            units = [[like(int(i == j)) for j in range(y)] for i in range(y)]
            self.estimates, solved_means, *inverse = solved(matrix, [right, means[:y], *units])
            total = square(y, y)
            residual = total - sum(b * c for b, c in zip(self.estimates, right))
            self.df = self.weight_sum - y - intercept
            variance = self.variance = residual / like(self.df)
            self.errors = [variance * inverse[i][i] for i in range(y)]
            self.tolerances = [1 / (matrix[i][i] * inverse[i][i]) for i in range(y)]
            self.fit = {"r_squared": 1 - residual / total, "residual_ss": residual, "total_ss": total,
                        "adjusted_r_squared": 1 - residual * like(cases) / (total * like(self.df)),
                        "f": (total - residual) / y / variance}
            if intercept:
                self.estimates.insert(0, means[y] - sum(b * m for b, m in zip(self.estimates, means)))
                spread = sum(m * s for m, s in zip(means, solved_means))
                self.errors.insert(0, variance * (1 / like(weight) + spread))
                self.tolerances.insert(0, None)
