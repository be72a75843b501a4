"""regress_test.py PROGRAM: least squares against exact arithmetic, and what is left out of them."""

import csv
import io
import json
import math
import random

import running
from exact import Regression, digits, read_table, real, root

LONGLEY = ("GNP.deflator", "GNP", "Unemployed", "Armed.Forces", "Population", "Year", "Employed")
AIR = ("Solar.R", "Wind", "Temp", "Ozone")


def two_tails(t, df):
    """P(|T| ≥ |t|) for a whole df: Abramowitz and Stegun (1964), 26.7.3 and 26.7.4."""
    angle = math.atan(abs(t) / math.sqrt(df))
    odd = df % 2
    term = math.cos(angle) if odd else 1.0
    total = 0.0
    for k in range(2 + odd, df + 1, 2):
        total += term
        term *= math.cos(angle) ** 2 * (k - 1) / k
    inner = math.sin(angle) * total
    return 1.0 - (2.0 / math.pi * (angle + inner) if odd else inner)


class Regress(running.ProgramTest):
    def fit(self, *args):
        run = self.succeed("regress", "-f", "json", *args)
        return json.loads(run.out), [line.removeprefix("vexa-stats: ") for line in run.err.splitlines()][:-1]

    def check(self, least, file, names, *args, weight=None, reg_weight=None, level=0.95):
        """Every number has at least so many correct digits, relative to itself."""
        column = lambda name: [row[0] for row in read_table(file, [name])] if name else None
        exact = Regression(read_table(file, names), column(weight), column(reg_weight),
                           intercept="--no-intercept" not in args, pairwise="pairwise" in args)
        weights = [*(["-w", weight] if weight else []), *(["-r", reg_weight] if reg_weight else [])]
        page, _ = self.fit("-y", names[-1], "-x", ",".join(names[:-1]), *weights, *args, "--level", level, file)
        worst = {}

        def hold(what, found, wanted):
            correct = digits(abs(real(found) - real(wanted)), abs(real(wanted)))
            worst[what] = min(worst.get(what, 99), correct)

        fit = page["fit"][names[-1]]
        terms = page["regress"]
        self.assertEqual([term["term"] for term in terms], ["(intercept)", *names[:-1]][-len(exact.estimates):])
        for term, estimate, squared, tolerance in zip(terms, exact.estimates, exact.errors, exact.tolerances):
            hold("estimate", term["estimate"], estimate)
            hold("std_error", term["std_error"], root(squared))
            hold("t", term["t"], real(estimate) / root(squared))
            if tolerance is None:
                self.assertIsNone(term["tolerance"])
            else:
                hold("tolerance", term["tolerance"], tolerance)
                hold("vif", term["vif"], 1 / tolerance)
            if exact.df.denominator == 1:
                self.assertAlmostEqual(term["p"], two_tails(term["t"], int(exact.df)), delta=1e-12)
                for limit in (term["lower"], term["upper"]):
                    width = (limit - term["estimate"]) / term["std_error"]
                    self.assertAlmostEqual(two_tails(width, int(exact.df)), 1 - level, delta=1e-12)
        for name, value in exact.fit.items():
            hold(name, fit[name], value)
        hold("residual_se", fit["residual_se"], root(exact.variance))
        self.assertAlmostEqual(fit["residual_df"], float(exact.df), delta=1e-12)
        self.assertTrue(all(found >= least for found in worst.values()), (args, worst))

    def with_weights(self, name):
        """A shipped file with case and regression weights, 0 and none among them."""
        draw = random.Random(8)
        lines = (running.DATA / name).read_text().splitlines()
        for at, line in enumerate(lines):
            lines[at] = f"{line},{draw.choice([1, 2, 0.5, 3])},{draw.choice([1, 0.25, 1e-3, 7])}" if at else line + ",w,r"
        lines[5] = lines[5].rpartition(",")[0] + ",0"
        return self.folder / self.write(name, "\n".join(lines) + "\n")

    def test_against_exact_arithmetic(self):
        for name, names, least in (("longley.csv", LONGLEY, 10), ("airquality.csv", AIR, 12)):
            file = self.with_weights(name)
            for weights in ({}, {"weight": "w"}, {"reg_weight": "r"}, {"weight": "w", "reg_weight": "r"}):
                for args in ((), ("--no-intercept",), ("-m", "pairwise"), ("-m", "pairwise", "--no-intercept")):
                    with self.subTest(name, weights=weights, args=args):
                        self.check(least, file, names, *args, **weights, level=0.9)

    def test_far_origins(self):
        draw = random.Random(4)
        lines = ["x,z,y"]
        for _ in range(2000):
            x, z = 1e9 + draw.gauss(0, 1), -1e6 + draw.gauss(0, 2)
            lines.append(f"{x!r},{z!r},{1e7 + x - 1e9 + draw.gauss(0, 1)!r}")
        self.check(12, self.folder / self.write("far.csv", "\n".join(lines) + "\n"), ("x", "z", "y"))

    def test_published_longley(self):
        page, notes = self.fit("-y", "Employed", running.DATA / "longley.csv")
        self.assertEqual(notes, [])
        found = {term["term"]: f"{term['estimate']:.7g} {term['std_error']:.3e} {term['p']:.6f}" for term in page["regress"]}
        self.assertEqual(found["Year"], "1.829151 4.555e-01 0.003037")
        self.assertEqual(found["GNP"], "-0.03581918 3.349e-02 0.312681")
        self.assertEqual(f"{page['fit']['Employed']['f']:.1f} {page['fit']['Employed']['p']:.3e}", "330.3 4.984e-10")
        self.assertAlmostEqual(page["fit"]["Employed"]["condition"], 110.5442, delta=1e-4)
        clear = sum(term["p"] < 0.05 for term in page["regress"][1:])
        report = self.succeed("regress", "-y", "Employed", "-f", "html", running.DATA / "longley.csv").out
        self.assertIn(f"confidence limits, which exclude 0 for {clear}.", report)
        table = self.succeed("regress", "-y", "Employed", "-f", "csv", running.DATA / "longley.csv").out
        self.assertTrue(table.startswith("term,estimate,std_error,t,p,lower,upper,tolerance\n(intercept),-3482.2586"))
        for row, term in zip(csv.DictReader(io.StringIO(table)), page["regress"]):
            self.assertEqual(row, {name: "" if term[name] is None else str(term[name]) for name in row})

    def test_p_values_of_correlations_are_those_of_a_single_predictor(self):
        file = self.with_weights("airquality.csv")
        for args in (["-m", "listwise"], ["-m", "pairwise", "-w", "w", "-r", "r"]):
            page = json.loads(self.succeed("corr", "-f", "json", "--p", "-c", "Ozone,Wind", *args, file).out)
            slope = self.fit("-y", "Ozone", "-x", "Wind", *args, file)[0]["regress"][1]
            self.assertAlmostEqual(page["p"]["Wind"]["Ozone"] / slope["p"], 1, delta=1e-10)
            self.assertEqual((page["p"]["Ozone"]["Wind"], page["p"]["Wind"]["Wind"]), (page["p"]["Wind"]["Ozone"], None))
        self.write("a.csv", "x,y,k\n1,-2,1\n-1,2,1\n1,-2,1\n-1,2,1\n5,,1\n")
        run = self.succeed("corr", "-f", "csv", "--p", "--rows", "x", "--cols", "y,k", "a.csv")
        self.assertEqual(run.out, "variable,y,k\nx,-1,\n\nvariable,y,k\nx,0,\n")

    def test_left_out_predictors_change_nothing_else(self):
        draw = random.Random(9)
        rows = [[draw.gauss(5, 1), 0.1, 0, draw.gauss(0, 1)] for _ in range(50)]
        for row in rows:
            row += [2 * row[0] - row[3] / 3 + 7, draw.gauss(row[0], 1)]
        self.write("a.csv", "x,k,zero,z,both,y\n" + "".join(",".join(map(repr, row)) + "\n" for row in rows))
        for missing in ("listwise", "pairwise"):
            page, notes = self.fit("-y", "y", "-m", missing, "a.csv")
            self.assertEqual(notes, ["Left out, as it does not vary: k, zero.", "Left out, as those before it determine it: both."])
            self.assertEqual(page["left_out"], [{"term": "k", "reason": "constant"}, {"term": "zero", "reason": "constant"},
                                                {"term": "both", "reason": "collinear"}])
            self.assertEqual(page["regress"], self.fit("-y", "y", "-m", missing, "-x", "x,z", "a.csv")[0]["regress"])
        # Without an intercept the constant takes its place.
        page, notes = self.fit("-y", "y", "--no-intercept", "a.csv")
        self.assertEqual(notes[0], "Left out, as it is 0 in all rows: zero.")
        self.assertAlmostEqual(page["regress"][1]["estimate"] / 10, self.fit("-y", "y", "-x", "x,z", "a.csv")[0]["regress"][0]["estimate"])

    def test_what_is_undefined_or_refused(self):
        self.write("a.csv", "x,near,k,big,y,tiny,huge\n1,1.0003,3,1e200,2,0,9e307\n2,2,3,-1e200,3,1e-161,9e307\n"
                   "4,4,3,1e199,1,0,9e307\n7,7.0003,3,2,5,2e-163,1\n8,8,3,1,5,0,1\n")
        for args, note in (
                (["-y", "k", "-x", "x"], "k does not vary: nothing to explain."),
                (["-y", "big", "-x", "x"], "The sum of squares of big is beyond the range of a double."),
                (["-y", "y", "-x", "x,big"], "Left out, as the sum of squares is beyond the range of a double: big."),
                (["-y", "tiny", "-x", "x"], "The sum of squares of tiny is below the range of a double."),
                (["-y", "y", "-x", "x,tiny"], "Left out, as the sum of squares is below the range of a double: tiny."),
                (["-y", "y", "-x", "x,tiny", "-w", "huge"], "The sum of the weights is beyond the range of a double: nothing is defined."),
                (["-y", "x", "-x", "near"], None),
                (["-y", "y", "-x", "x,near"], "The predictors are nearly collinear: their condition number 37387 costs the coefficients about 9 of"),
                (["-y", "near", "-x", "x", "-w", "k"], None)):
            page, notes = self.fit(*args, "a.csv")
            if args[1] in ("big", "tiny"):
                self.assertIsNone(page["regress"][1]["standardised"])
            self.assertTrue(notes[0].startswith(note) if note else not notes, (args, notes))
            self.assertEqual(notes, self.succeed("regress", *args, "a.csv").out.splitlines()[-len(notes):] if notes else [])
        self.write("b.csv", "a,b,c,y\n1,2,,1\n2,1,,2\n3,3,,3\n1,,2,1\n2,,1,2\n3,,3,2.5\n,1,3,4\n,2,2,5\n,3,1,6\n,,,\n")
        self.write("c.csv", "a,b,y\n1,,1\n2,,2\n,3,1\n,4,1\n,5,3\n")
        for args, code, message in (
                (["-y", "y", "-m", "pairwise", "b.csv"], 2, "no data could have these correlations, each over its own rows: their "
                 "smallest eigenvalue is -0.482464; --missing listwise takes the rows where all are present"),
                (["-y", "y", "-m", "pairwise", "c.csv"], 2, "a and b have no correlation, as one of them does not vary in the rows "
                 "where both are present, if any, or a sum is beyond or below the range of a double"),
                (["-y", "y", "-w", "a", "-x", "", "c.csv"], 1, "--predictors names no column"),
                (["-y", "y", "-x", "y,a", "c.csv"], 1, '"y" is the response, and no predictor'),
                (["-y", "y", "-r", "b", "-w", "a", "c.csv"], 2, "c.csv: has no numeric column besides the response"),
                (["-y", "a,y", "c.csv"], 1, '--response takes one column, not "a,y"'),
                (["-y", "y", "-c", "a", "c.csv"], 1, "there is no option -c"),
                (["-y", "y", "--level", "1", "c.csv"], 1, '--level: takes a number between 0 and 1, not "1"'),
                (["c.csv"], 1, "--response is required")):
            run = self.run_program("regress", *args)
            self.assertEqual((run.code, run.out, run.err.splitlines()[0]), (code, "", "vexa-stats: error: " + message))
        self.write("d.csv", "x,k,y\n1,3,1\n2,3,3\n")
        for names, estimates in (("x,k", [-1, 2]), ("k", [2])):
            page, notes = self.fit("-y", "y", "-x", names, "d.csv")
            self.assertEqual([term["estimate"] for term in page["regress"]], estimates)
        self.assertAlmostEqual(page["fit"]["y"]["residual_se"], math.sqrt(2))
        page, notes = self.fit("-y", "y", "-x", "x", "d.csv")
        self.assertEqual(notes[1], "The cases weigh 2, no more than there are coefficients: no errors and no tests.")
        self.assertEqual([page["regress"][1][name] for name in ("std_error", "t", "p", "lower")], [None] * 4)


if __name__ == "__main__":
    running.main()
