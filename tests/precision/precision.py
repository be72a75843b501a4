#!/usr/bin/env python3
"""precision.py [--short] [--seed N] [--only TEXT] ACCUMULATORS PROGRAM: how many digits are right, and of whom.

Draws families of data that are hard on one formula or another, hands the same doubles to the library's accumulators
(ACCUMULATORS), the program, the textbook formula of raw sums, Welford's update, and to numpy, pandas and R where they are
installed, and measures each against exact arithmetic over these doubles. Prints two tables: the worst cell of each
family, in correct decimal digits of the centred sums and of the means. A centred cross-product is measured against
√(css of the row · css of the column), a mean against the root of the mean square. No error at all counts as 17 digits.

Exits with 1 if a promise of the project does not hold (see `promises` and `promises_of_all`).
"""

import argparse
import array
import csv
import dataclasses
import io
import json
import math
import pathlib
import random
import subprocess
import sys
import tempfile
from fractions import Fraction

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "host"))
from exact import Sums, digits, real, root  # noqa: E402

MISSING = -sys.float_info.max
NAMES = ("a", "b", "c")
PEERS = ("numpy", "pandas", "R")
# Rows of the library's batches: as many as anyone should take, and what is recommended where digits count.
BATCHES = {"library, 65,536": 65_536, "library, 256": 256}
FORMULAS = (*BATCHES, "program", "raw sums", "Welford", *PEERS)
# A double holds every decimal number of so many digits, and the last bits of those below are anyone's luck.
DECIMAL_DIGITS = 15.0
ROUNDOFF = 2.0**-53
# Of two errors that are alike but for chance, one is a hundredth of the other in one of 150 cells, not in all of a family.
CHANCE = 2.0


@dataclasses.dataclass
class Family:
    """Rows of three variables, with weights and groups where the family is about them."""

    name: str
    rows: list
    case: list | None = None
    regression: list | None = None
    groups: list | None = None
    pairwise: bool = False
    alike: bool = False  # values or sums so that one row after the other rounds the same way

    @property
    def kind(self):
        return "groups" if self.groups else "pairwise" if self.pairwise else "listwise"


def families(draw, short):
    """What breaks formulas: distance from zero, little spread, trends, cancelling signs, length, weights, gaps, groups."""
    usual = 20_000 if short else 200_000

    def cloud(offset, spread, rows=usual):
        for _ in range(rows):
            common = draw.gauss(0, 1)
            yield [offset + spread * common, offset + spread * (common + draw.gauss(0, 1)), spread * draw.uniform(-1, 1) - offset]

    for spread, offsets in ((1.0, (0.0, 1.0, 1e3, 1e6, 1e9, 1e12, 1e15)), (1e-6, (1e-3, 1.0, 1e3, 1e6))):
        for offset in offsets:
            yield Family(f"offset {offset:g}, spread {spread:g}", list(cloud(offset, spread)))
    near = [[1e5 + (1e-6 if draw.random() < 1e-3 else 0.0), 1.0 + (2.0**-40) * draw.randrange(8), 3e8] for _ in range(usual)]
    near[7][2] += 1.0
    yield Family("near-constant", near, alike=True)
    yield Family("alternating signs", [[(-1) ** k * 1e8 + x for x in row] for k, row in enumerate(cloud(0.0, 1.0))])
    yield Family("trend", [[k + row[0], 1e3 - k * 0.5 + row[1], k * k * 1e-5] for k, row in enumerate(cloud(0.0, 1.0))])
    yield Family("heavy tails", [[draw.lognormvariate(0, 4) for _ in NAMES] for _ in range(usual)], alike=True)
    for offset in (1e3, 1e9):
        rows = list(cloud(offset, 1.0))
        yield Family(f"weights over 12 orders, offset {offset:g}", rows,
                     case=[10 ** draw.uniform(-6, 6) for _ in rows], regression=[10 ** draw.uniform(-3, 3) for _ in rows])
    for offset in (1e3, 1e6, 1e9):
        rows = [[MISSING if draw.random() < 0.1 else x for x in row] for row in cloud(offset, 1.0)]
        yield Family(f"pairwise, 10 % missing, offset {offset:g}", rows, pairwise=True)
    for offset in (1.0, 1e3, 1e6):
        groups = [draw.randrange(10) for _ in range(usual)]
        in_order = offset > 1e3
        if in_order:
            groups.sort()
        rows = [[x + 2 * offset * group for x in row] for row, group in zip(cloud(offset, 1.0), groups)]
        yield Family(f"10 groups{' in order' if in_order else ''}, offsets {offset:g} to {19 * offset:g}", rows, groups=groups)
    yield Family(f"{10 * usual if short else 4_000_000} rows, offset 1000",
                 list(cloud(1e3, 1.0, 10 * usual if short else 4_000_000)))


class Exact:
    """Exact means and centred sums of every cell of a family."""

    def __init__(self, family):
        known = [[None if x == MISSING else x for x in row] for row in family.rows]
        self.cells = {}
        if family.pairwise:
            for i, j in CELLS:
                self.cells[i, j] = self.of([Sums([(row[i], row[j]) for row in known])], 0, 1)
            return
        if family.groups:
            parts = [Sums([row for row, own in zip(known, family.groups) if own == g]) for g in range(max(family.groups) + 1)]
        else:
            parts = [Sums(known, family.case, family.regression)]
        for i, j in CELLS:
            self.cells[i, j] = self.of(parts, i, j)

    @staticmethod
    def of(parts, i, j):
        """Means of the first part and centred sums of all parts together; with what errors of them are measured by."""
        css = [sum(part.css(k) for part in parts) for k in (i, j)]
        first = parts[0]
        square = [root(first.css(k) / first.reg_weight_sum + first.means[k] ** 2) for k in (i, j)]
        return [(first.means[i], square[0]), (first.means[j], square[1]), (css[0], real(css[0])), (css[1], real(css[1])),
                (sum(part.cell(i, j) for part in parts), root(css[0] * css[1]))]

    def distance(self):
        """The largest distance of a mean from zero, in standard deviations of the variable."""
        means = [self.cells[i, i][0] for i in range(len(NAMES))]
        return max(float(abs(real(mean)) / root(Fraction(square) ** 2 - mean**2)) for mean, square in means)

    def digits(self, cell, found):
        """Correct digits of the worse mean, and of the worst centred sum, of a cell."""
        all_digits = [digits(abs(real(Fraction(value)) - real(exact)), scale) if value == value and abs(value) < 1e308 else 0.0
                      for value, (exact, scale) in zip(found, self.cells[cell])]
        return min(all_digits[:2]), min(all_digits[2:])


CELLS = [(i, j) for i in range(len(NAMES)) for j in range(i + 1)]


def output(*command, **options):
    return subprocess.run([*map(str, command)], check=True, capture_output=True, text=True, **options).stdout


def cells_of(text):
    """The cells in lines `row,column,mean,mean,css,css,cscp`."""
    return {(int(row), int(column)): [float(value) for value in values]
            for row, column, *values in csv.reader(io.StringIO(text)) if row != "row"}


def raw_sums(rows):
    """Σw, Σwx, Σwxy, and the difference of large numbers at the end."""
    weight = sum_x = sum_y = xx = yy = xy = 0.0
    for x, y, w in rows:
        weight += w
        sum_x += w * x
        sum_y += w * y
        xx += w * x * x
        yy += w * y * y
        xy += w * x * y
    return [sum_x / weight, sum_y / weight, xx - sum_x * sum_x / weight, yy - sum_y * sum_y / weight, xy - sum_x * sum_y / weight]


def welford(rows):
    """One row at a time about the mean so far (Welford 1962, with weights by West 1979)."""
    weight = mean_x = mean_y = xx = yy = xy = 0.0
    for x, y, w in rows:
        weight += w
        dx, dy = x - mean_x, y - mean_y
        mean_x += w / weight * dx
        mean_y += w / weight * dy
        xx += w * dx * (x - mean_x)
        yy += w * dy * (y - mean_y)
        xy += w * dx * (y - mean_y)
    return [mean_x, mean_y, xx, yy, xy]


def by_formulas(columns, groups):
    """What programs without a library write. Within groups, whose centred sums come together, the means are the first's."""
    found = {"raw sums": {}, "Welford": {}}
    for i, j in CELLS:
        for name, formula in (("raw sums", raw_sums), ("Welford", welford)):
            first, *others = (formula((row[i], row[j], w * r) for row, w, r, own in zip(*columns)
                                      if own == group and row[i] != MISSING and row[j] != MISSING) for group in range(groups))
            for other in others:
                first[2:] = map(float.__add__, first[2:], other[2:])
            found[name][i, j] = first
    return found


def by_program(program, family, folder):
    """What the program says of the file; within the groups, its means are those of the first."""
    columns = list(zip(*family.rows))
    header = list(NAMES)
    args = ["-c", ",".join(NAMES), "--no-progress"]
    for name, option, values in (("w", "-w", family.case), ("r", "-r", family.regression), ("g", "--by", family.groups)):
        if values:
            header.append(name)
            columns.append(values)
            args += [option, name]
    with open(folder / "data.csv", "w", encoding="utf-8") as file:
        file.write(",".join(header) + "\n")
        file.writelines(",".join("" if x == MISSING else repr(x) for x in row) + "\n" for row in zip(*columns))
    if family.groups:
        page = json.loads(output(program, "groups", *args, "-f", "json", folder / "data.csv"))
        means, within = page["means"]["0"], page["within"]
        return {(i, j): [means[NAMES[i]], means[NAMES[j]], within[NAMES[i]][NAMES[i]], within[NAMES[j]][NAMES[j]],
                         within[NAMES[i]][NAMES[j]]] for i, j in CELLS}
    text = output(program, "sums", "-m", family.kind, *args, "-f", "csv", folder / "data.csv")
    return {(NAMES.index(row["row"]), NAMES.index(row["column"])):
            [float(row[key]) for key in ("mean_row", "mean_column", "css_row", "css_column", "cscp")]
            for row in csv.DictReader(io.StringIO(text))}


def by_peers(family, raw):
    if family.groups:
        return {}
    sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
    import peerdigits
    found = peerdigits.by_numpy(family, MISSING, CELLS)
    cells = cells_of(peerdigits.by_r(raw, len(NAMES)))
    return found | ({"R": cells} if cells else {})


def kept(family, distance, batch_rows):
    """Digits that the accumulators' roundings leave of a centred sum, with means so many standard deviations from zero.

    One rounding is an error of up to u = 2⁻⁵³ of the running sum. Those of s steps fall either way and come to about
    √s u ÷ 4 together; three times √s u is more than anyone will see. Where rows are alike they may all fall the same way,
    and s u it is. Of such steps a sum has as many as the batch has rows, and then one a merge. The mean of a batch has
    them of the distance from zero; that counts twice as much as the batch's mean differs from that of all, √(uneven ÷
    rows) standard deviations where rows come in any order, and with its own square in the batch itself. `uneven` is by
    how much the weights lessen the number of rows (Kish 1965).
    """
    rows = len(family.rows)
    weights = [w * r for w, r in zip(family.case, family.regression)] if family.case else [1.0] * rows
    uneven = rows * math.fsum(w * w for w in weights) / math.fsum(weights) ** 2
    own = min(batch_rows, rows)
    batches = rows / own
    steps = float if family.alike else math.sqrt
    roundings = steps(own) + steps(batches)
    if batches > 1:
        roundings += distance * math.sqrt(uneven / own) * (steps(own) * steps(batches) / batches + 1.0)
    return -math.log10(3.0 * ROUNDOFF * roundings + (ROUNDOFF * distance * steps(own)) ** 2)


def measure(family, tools, folder):
    """Of every formula the digits of its worst mean and of its worst centred sum; and what `kept` says of the library."""
    raw = folder / "data.raw"
    ones = [1.0] * len(family.rows)
    columns = (family.rows, family.case or ones, family.regression or ones, family.groups or [0] * len(ones))
    with open(raw, "wb") as file:
        array.array("d", (x for row, w, r, g in zip(*columns) for x in (*row, w, r, g))).tofile(file)
    exact = Exact(family)
    least = {} if family.groups else {name: kept(family, exact.distance(), rows) for name, rows in BATCHES.items()}
    groups = max(columns[3]) + 1
    found = by_formulas(columns, groups)
    for name, rows in BATCHES.items():
        found[name] = cells_of(output(tools.accumulators, raw, len(NAMES), groups, rows, family.kind))
    found["program"] = by_program(tools.program, family, folder)
    if not tools.short:
        found |= by_peers(family, raw)
    worst = {}
    for formula, cells in found.items():
        all_digits = []
        for cell, values in cells.items():
            # What a peer does not tell is no error; of the program it is one.
            unknown = [real(value) if formula in PEERS else math.nan for value, _ in exact.cells[cell]]
            told = [unknown[k] if value is None else value for k, value in enumerate(values)]
            all_digits.append(exact.digits(cell, told))
        worst[formula] = tuple(min(own) for own in zip(*all_digits))
    return worst, least


def promises(family, worst, least):
    """What the project says of itself, about the centred sums and the program's means; yields what does not hold."""
    def at_least(who, least, why, which=1):
        if worst[who][which] < min(least, DECIMAL_DIGITS):
            yield f"{family.name}: {who} has {worst[who][which]:.1f} digits, {why} {least:.1f}"

    yield from at_least("program", 13.5, "promised are")
    yield from at_least("program", 13.5, "promised of means are", which=0)
    for library, digits_kept in least.items():
        yield from at_least(library, digits_kept, "its roundings leave")
        for other in ("raw sums", "Welford"):
            yield from at_least(library, worst[other][1] - CHANCE, f"{other} has but for chance")
    for other in ("numpy", "pandas"):
        if other in worst:
            yield from at_least("program", worst[other][1], other)


def promises_of_all(results):
    """Of two formulas that lose like digits, which one is nearer in one family is chance; in all together it is not."""
    for library in BATCHES:
        for other in ("raw sums", "Welford"):
            pairs = [(worst[library][1], worst[other][1]) for _, worst, least in results if least]
            more = sum(own - others for own, others in pairs) / len(pairs)
            if more < 0.0:
                yield f"over all families {library} has {-more:.2f} digits less than {other}"


def table(title, results, which):
    shown = [formula for formula in FORMULAS if any(formula in worst for _, worst, _ in results)]
    lines = [f"| {title} | " + " | ".join(shown) + " |", "|---|" + "--:|" * len(shown)]
    for family, worst, _ in results:
        cells = (f"{max(0.0, worst[formula][which]):.1f}" if formula in worst else "–" for formula in shown)
        lines.append(f"| {family} | " + " | ".join(cells) + " |")
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--short", action="store_true", help="a tenth of the rows, and no peers")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", default="", metavar="TEXT", help="only families with this in their name")
    parser.add_argument("accumulators")
    parser.add_argument("program")
    tools = parser.parse_args()
    results, broken = [], []
    with tempfile.TemporaryDirectory() as name:
        for family in families(random.Random(tools.seed), tools.short):
            if tools.only not in family.name:
                continue
            worst, least = measure(family, tools, pathlib.Path(name))
            results.append((family.name, worst, least))
            broken += promises(family, worst, least)
            print(f"precision: {family.name}", file=sys.stderr, flush=True)
    if not tools.only:
        broken += promises_of_all(results)
    print(table("centred sums", results, 1), table("means", results, 0), sep="\n\n")
    for line in broken:
        print(f"precision: broken promise: {line}", file=sys.stderr)
    sys.exit(bool(broken))


if __name__ == "__main__":
    main()
