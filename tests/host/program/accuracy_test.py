"""accuracy_test.py PROGRAM: the numbers, against exact arithmetic over the doubles of the file."""

import csv
import io
import json
import random
from fractions import Fraction

import running
from exact import Sums, digits, read_table, real, root

LONGLEY = ("GNP.deflator", "GNP", "Unemployed", "Armed.Forces", "Population", "Year", "Employed")
IRIS = ("Sepal.Length", "Sepal.Width", "Petal.Length", "Petal.Width")


def column_of(file, name):
    return [row[0] for row in read_table(file, [name])] if name else None


class Accuracy(running.ProgramTest):
    def records(self, *args):
        return list(csv.DictReader(io.StringIO(self.succeed(*args, "-f", "csv").out)))

    def check(self, least, file, names, *args, weight=None, reg_weight=None, pairwise=False):
        """All cells of cov and corr have at least so many correct digits, and all counts are exact, in CSV and JSON.

        The digits of sums are measured by tests/precision.
        """
        rows = read_table(file, names)
        weights = [column_of(file, name) for name in (weight, reg_weight)]
        pairs = [(i, j) for i in range(len(names)) for j in range(i + 1)]
        # Of each pair the sums that its cell is made of, and the places of its variables in them.
        whole = None if pairwise else Sums(rows, *weights)
        exact = {(i, j): (Sums([[row[i], row[j]] for row in rows], *weights), 0, 1) if pairwise else (whole, i, j)
                 for i, j in pairs}
        args += ("--missing", "pairwise") if pairwise else ()
        tables = {command: self.records(command, *args) for command in ("cov", "corr", "sums")}
        pages = {command: json.loads(self.succeed(command, *args, "-f", "json").out) for command in tables}
        self.assertEqual([{key: str(value).removesuffix(".0") for key, value in row.items()} for row in pages["sums"]["sums"]],
                         tables["sums"])
        counts = [list(csv.DictReader(io.StringIO(self.succeed("cov", *args, "--counts", "-f", "csv").out.split("\n\n")[1]))),
                  json.loads(self.succeed("corr", *args, *([] if pairwise else ["--counts"]), "-f", "json").out)["counts"]]
        worst = {}

        def hold(what, found):
            worst[what] = min(worst.get(what, 99), found)

        self.assertEqual(len(tables["sums"]), len(pairs))
        for (i, j), row in zip(pairs, tables["sums"]):
            sums, x, y = exact[i, j]
            self.assertEqual((row["row"], row["column"], int(row["n"])), (names[i], names[j], sums.n))
            for name, total in (("weight_sum", sums.weight_sum), ("reg_weight_sum", sums.reg_weight_sum)):
                self.assertAlmostEqual(float(row[name]), float(total), delta=1e-13 * total)
            for i, j in {(i, j), (j, i)}:
                for command in ("cov", "corr"):
                    self.assertEqual(tables[command][i]["variable"], names[i])
                    self.assertEqual(pages[command][command][names[i]][names[j]], float(tables[command][i][names[j]]))
                hold("cov", sums.digits(x, y, float(tables["cov"][i][names[j]]), sums.covariance(x, y), sums.weight_sum - 1))
                hold("corr", digits(abs(real(float(tables["corr"][i][names[j]])) - sums.correlation(x, y)), 1))
                self.assertEqual((int(counts[0][i][names[j]]), counts[1][names[i]][names[j]]), (sums.n, sums.n))
        for what, found in worst.items():
            self.assertGreaterEqual(found, least, (what, file, worst))

    def test_shipped_data(self):
        self.check(14, running.DATA / "longley.csv", LONGLEY, running.DATA / "longley.csv")
        self.check(14, running.DATA / "iris.csv", IRIS, running.DATA / "iris.csv")
        chosen = ("Ozone", "Temp", "Wind")
        self.check(14, running.DATA / "airquality.csv", chosen, running.DATA / "airquality.csv", "-c", ",".join(chosen))
        self.check(14, running.DATA / "iris.csv", IRIS[:2], "-c", "1:2", "-w", "Petal.Length", "-r", "4",
                   running.DATA / "iris.csv", weight="Petal.Length", reg_weight="Petal.Width")

    def test_pairwise(self):
        air = running.DATA / "airquality.csv"
        names = ("Ozone", "Solar.R", "Wind", "Temp", "Month", "Day")
        self.check(13.5, air, names, air, pairwise=True)
        self.check(13.5, air, names[:3], "-c", "1:3", "-w", "Wind", "-r", "Day", air, weight="Wind", reg_weight="Day",
                   pairwise=True)

    def test_describe(self):
        air = running.DATA / "airquality.csv"
        layout = "n,missing,weight_sum,mean,sd,variance,se,min,max"
        for args, weight, reg_weight in (((), None, None), (("-w", "Wind", "-r", "Day"), "Wind", "Day")):
            whole = self.records("describe", *args, air)
            by_month = self.records("describe", *args, "-c", "Ozone:Solar.R", "--by", "Month", air)
            self.assertEqual((",".join(whole[0]), ",".join(by_month[0])), ("variable," + layout, "variable,group," + layout))
            self.assertEqual((len(whole), len(by_month)), (4 if weight else 6, 10))
            months = column_of(air, "Month")
            for row in whole + by_month:
                mine = lambda column: column and [x for x, month in zip(column, months) if float(row.get("group", month)) == month]
                column = mine(column_of(air, row["variable"]))
                sums = Sums([[value] for value in column], mine(column_of(air, weight)), mine(column_of(air, reg_weight)))
                self.assertEqual((int(row["n"]), int(row["missing"])), (sums.n, len(column) - sums.n))
                present = [value for value in column if value is not None]
                self.assertEqual((float(row["min"]), float(row["max"])), (min(present), max(present)))
                variance = sums.covariance(0, 0)
                for name, exact in (("weight_sum", sums.weight_sum), ("mean", sums.means[0]), ("variance", variance),
                                    ("sd", root(variance)), ("se", root(variance / sums.reg_weight_sum))):
                    self.assertGreaterEqual(digits(abs(real(float(row[name])) - real(exact)), real(exact)), 13.5, (name, row))
        empty = self.records("describe", "--by", "Month", "--levels", "5,13", "-c", "Temp", air)[1]
        self.assertEqual(list(empty.values()), ["Temp", "13", "0", "0", "0", "", "", "", "", "", ""])

    def test_rectangle(self):
        file = running.DATA / "iris.csv"
        rows, cols = (IRIS[3], IRIS[0]), (IRIS[1], IRIS[3], IRIS[2])
        exact = Sums(read_table(file, [*rows, *cols]))
        args = ("--rows", ",".join(rows), "--cols", ",".join(cols), file)
        for i, (cov, corr) in enumerate(zip(self.records("cov", *args), self.records("corr", *args))):
            self.assertEqual((list(cov), cov["variable"]), (["variable", *cols], rows[i]))
            for j, name in enumerate(cols, len(rows)):
                self.assertGreaterEqual(exact.digits(i, j, float(cov[name]), exact.covariance(i, j), exact.n - 1), 14)
                self.assertGreaterEqual(digits(abs(real(float(corr[name])) - exact.correlation(i, j)), 1), 14)
        for wrong in (["--rows", "1:2"], ["--rows", "1:2", "--cols", "3", "-c", "4"], ["--rows", "", "--cols", "3"]):
            self.assertEqual(self.run_program("cov", *wrong, file).code, 1)

    def test_extremes_are_the_inputs_own(self):
        # An origin of about 1e9, and later values that lose digits when it is subtracted.
        draw = random.Random(4)
        values = [[1e9 + draw.random(), draw.gauss(0, 1)] for _ in range(20_000)]
        values[15_000][0], values[17_000][0] = 0.1, 3e9 + 1 / 3
        self.write("a.csv", "x,y\n" + "".join(f"{x!r},{y!r}\n" for x, y in values))
        wanted = {name: [min(column), max(column)] for name, column in zip("xy", zip(*values))}
        for row in self.records("describe", "a.csv"):
            self.assertEqual([float(row["min"]), float(row["max"])], wanted[row["variable"]])
        plain = self.records("sums", "a.csv")
        for row, without in zip(self.records("sums", "--extremes", "a.csv"), plain):
            for side in ("row", "column"):
                self.assertEqual([float(row[f"{end}_{side}"]) for end in ("min", "max")], wanted[row[side]])
            # The symmetric block pools as the full matrix does, to the bit.
            self.assertEqual({key: row[key] for key in without}, without)

    def test_account_of_rows_in_json(self):
        page = json.loads(self.succeed("cov", "-f", "json", "-c", "Ozone:Temp", "-w", "Wind", running.DATA / "airquality.csv").out)
        self.assertEqual((page["rows_read"], page["rows_used"], page["rows_left_out"]["missing_value"]), (153, 111, 42))
        self.assertEqual((page["complete"], page["weight"], page["reg_weight"]), (True, "Wind", None))


if __name__ == "__main__":
    running.main()
