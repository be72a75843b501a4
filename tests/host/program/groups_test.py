"""groups_test.py PROGRAM: the analysis of groups against published results; its digits are measured by tests/precision."""

import csv
import io
import json
import random
import statistics

import running

IRIS = running.DATA / "iris.csv"
MEASURES = ["Sepal.Length", "Sepal.Width", "Petal.Length", "Petal.Width"]


class Groups(running.ProgramTest):
    def analyse(self, *args):
        return json.loads(self.succeed("groups", "-f", "json", *args).out)

    def test_iris(self):
        page = self.analyse(IRIS, "--by", "Species")
        for test, statistic, f, df1, df2 in (("wilks", 0.02343863, 199.145, 8, 288),
                                             ("box", 146.6632, 7.04526, 20, 77566.75)):
            found = page["tests"][test]
            self.assertAlmostEqual(found["statistic"], statistic, delta=5e-5 if statistic > 1 else 5e-9)
            self.assertAlmostEqual(found["f"], f, delta=5e-4 if f > 100 else 5e-6)
            self.assertAlmostEqual(found["df1"], df1)
            self.assertAlmostEqual(found["df2"], df2, delta=5e-3)
            self.assertLess(found["p"], 1e-15)
        for function, eigenvalue, coefficients in (("1", 32.1919, (.426955, .521242, .947257, .575161)),
                                                   ("2", 0.285391, (.012408, .735261, .401038, .581040))):
            self.assertAlmostEqual(page["canonical"][function]["eigenvalue"], eigenvalue, delta=5e-5)
            for name, coefficient in zip(MEASURES, coefficients):
                self.assertAlmostEqual(abs(page["standardised"][name][function]), coefficient, delta=5.1e-7)
        self.assertAlmostEqual(page["univariate"]["Petal.Length"]["f"], 1180.161182252981, delta=1e-8)
        # The functions give every flower but three to its species.
        wrong = 0
        for row in csv.DictReader(io.StringIO(IRIS.read_text(encoding="utf-8"))):
            score = {group: page["groups"][group]["constant"] + sum(
                page["classification"][name][group] * float(row[name]) for name in MEASURES) for group in page["groups"]}
            wrong += max(score, key=score.get) != row["Species"]
        self.assertEqual(wrong, 3)

    def test_weights_count_cases(self):
        header, *rows = csv.reader(io.StringIO(IRIS.read_text(encoding="utf-8")))
        counted = [(row, k * 7 % 4) for k, row in enumerate(rows)]
        lines = {"weighted": [[*row, str(count)] for row, count in counted],
                 "repeated": [[*row, "1"] for row, count in counted for _ in range(count)]}
        pages = {}
        for name, table in lines.items():
            self.write(name, "\n".join(map(",".join, [[*header, "w"], *table])) + "\n")
            pages[name] = self.analyse(name, "--by", "Species", "-w", "w")
        for table in ("tests", "univariate", "canonical", "standardised", "classification", "means", "sds", "within",
                      "between", "total", "covariance"):
            for row, cells in pages["weighted"][table].items():
                for column, value in cells.items():
                    self.assertAlmostEqual(value, pages["repeated"][table][row][column], delta=1e-9 * abs(value), msg=(table, row))

    def test_csv_is_json_in_one_long_table(self):
        args = (IRIS, "--by", "Species", "--priors", "size", "-c", "1:3")
        page = self.analyse(*args)
        for row in csv.DictReader(io.StringIO(self.succeed("groups", "-f", "csv", *args).out)):
            self.assertEqual(page[row["table"]][row["row"]].pop(row["column"]), float(row["value"]))
        left = [cells for table in page.values() if isinstance(table, dict) for cells in table.values()]
        self.assertEqual([cells for cells in left if cells and not isinstance(cells, int)], [])

    def test_file_is_read_twice_wherever_it_comes_from(self):
        names = ["north", "the \"south\"", "east, far", "only in the last rows"]
        quoted = ['"' + name.replace('"', '""') + '"' for name in names]
        draw = random.Random(5)
        # The last group lies 10,000 of its deviations away, and begins with an outlier that weighs nothing.
        late = [draw.gauss(3e4, 3) for _ in range(1_000)]
        line = lambda k: f"{draw.gauss(k % 3, 3) if k < 59_000 else late[k - 59_000]!r},{draw.random():.3f},{quoted[k % 3 if k < 59_000 else 3]},1\n"
        lines = [*map(line, range(59_000)), f"9e9,0.5,{quoted[3]},1e-30\n", *map(line, range(59_000, 60_000))]
        text = "a,b,group,w\n" + "".join(lines) + "1,2,,1\n"
        self.write("big.csv", text)
        args = ("groups", "--by", "group", "-w", "w", "-f", "csv")
        given = (*args, "--levels", ",".join(quoted))
        first = self.succeed(*args, "big.csv", "-t", 1)
        self.assertIn("without a group", first.err)
        self.assertNotIn("digits", first.err)
        deviation = self.records_of(first.out)["sds", names[3], "a"]
        self.assertAlmostEqual(deviation, statistics.stdev(late), delta=1e-13 * deviation)
        self.assertEqual(self.succeed(*given, "big.csv").out, first.out)
        # A pipe is not kept for listed groups.
        once = self.pipe("cat big.csv", *given)
        self.assertIn("Variables whose variance within a group has lost so many of 16 digits in the rounding of its sums: a (8).", once.err)
        self.assertAlmostEqual(self.records_of(once.out)["sds", names[3], "a"], deviation, delta=1e-6 * deviation)
        self.assertEqual(self.succeed(*args, input=text).out, first.out)
        # A file of which something has been read before is read from there.
        self.write("behind.csv", "front\n" + text)
        with open(self.folder / "behind.csv", "rb", buffering=0) as given:
            given.read(len("front\n"))
            self.assertEqual(self.succeed(*args, "-", input=given).out, first.out)
        for threads in (1, 3, 16):
            self.assertEqual(self.pipe("gzip -1 -c big.csv", *args, "-t", threads).out, first.out)
        # What is kept of a pipe is still called what the user calls it.
        self.write("bad.csv", text + "1,2,north,1\n3,x,north,1\n")
        self.assertIn('error: <stdin>:60005: column b: not a number: "x"', self.pipe("cat bad.csv", *args, "-c", "a,b").err)

    @staticmethod
    def records_of(text):
        return {(row["table"], row["row"], row["column"]): float(row["value"] or "nan") for row in csv.DictReader(io.StringIO(text))}

    def pipe(self, command, *args):
        with running.subprocess.Popen(command.split(), stdout=running.subprocess.PIPE, cwd=self.folder) as feeder:
            return self.run_program(*args, "-", input=feeder.stdout)

    def test_what_cannot_be_done_is_named_and_the_rest_is_there(self):
        same = "x,y,g\n" + "".join(f"{k % 7},{0.1 if k % 2 else 0.3},{k % 2}.0\n" for k in range(40))
        large = "x,y,g\n" + "".join(f"{k % 7},{k * k % 11},{'ab'[k % 2]}\n" for k in range(40))
        small = large + "5,6,lonely\n1,,void\n1,2,on a line\n4,8,on a line\n"
        double = "x,y,g\n" + "".join(f"{k * k % 7},{2 * (k * k % 7) + 1},{k % 3}\n" for k in range(40))
        tiny = "x,y,g\n" + "".join(f"{k * k % 7},{'135'[k * k % 7 % 3]}{['', 'e-170'][k % 3 == 1]},{k % 3}\n" for k in range(40))
        huge = tiny.replace("e-170", "e170")
        light = "x,y,g,w\n" + "".join(f"{k % 7}e-165,{k * k % 11},{'ab'[k % 2]},1e40\n" for k in range(40))
        misled = "x,y,g,w\n" + "".join(f"{k * k % 11},{k % 7 + (k < 80) * 10**9},{'ba'[k % 2]},{1 if k % 2 or k >= 80 else 1e-30}\n" for k in range(200))
        no_inverse = ("So the covariance matrix within groups has no inverse: Wilks' lambda, the canonical and the "
                      "classification functions are undefined.")
        too_few = "Box's test is undefined, as fewer than two groups take part."
        singular = "Groups where a variable does not vary or those before it determine it are left out of Box's test: "
        for content, args, notes in (
                (same, [], ["Variables that do not vary within any group: y.", no_inverse,
                            singular + '"0" (y), "1" (y).', too_few]),
                (double, [], ["Variables that those before them determine: y.", no_inverse,
                              singular + '"0" (y), "1" (y), "2" (y).', too_few]),
                (tiny, [], ["Variables whose sums of squares or variances are below the range of a double: y.", no_inverse,
                            "Groups where a sum or a variance is beyond or below the range of a double, or lost in rounding, are left out of Box's test: \"1\" (y)."]),
                (huge, [], ["Variables whose sums of squares or variances are beyond the range of a double: y.", no_inverse,
                            "Groups where a sum or a variance is beyond or below the range of a double, or lost in rounding, are left out of Box's test: \"1\" (y)."]),
                (light, ["-w", "w", "-c", "x,y"],
                 ["Variables whose sums of squares or variances are below the range of a double: x.", no_inverse,
                  'Groups where a sum or a variance is beyond or below the range of a double, or lost in rounding, are left out of Box\'s test: "a" (x), "b" (x).',
                  too_few]),
                (misled, ["-w", "w"],
                 ["Variables whose spread within a group is lost in the rounding of its sums: y.", no_inverse,
                  'Groups where a sum or a variance is beyond or below the range of a double, or lost in rounding, are left out of '
                  'Box\'s test: "b" (y).', too_few]),
                (small, [], ['No row is used of "void".',
                             "Groups without variances, as they weigh no more than 1, are left out of Box's test: \"lonely\".",
                             singular + '"on a line" (y).']),
                (small, ["--levels", "b"], ['There is one group only, "b": nothing to compare it with.'])):
            with self.subTest(notes[0]):
                self.write("a.csv", content)
                run = self.succeed("groups", "--by", "g", "a.csv", *args, "-f", "json")
                self.assertEqual([line.removeprefix("vexa-stats: ") for line in run.err.splitlines()][:-1], notes)
                page = json.loads(run.out)
                self.assertGreater(page["within"]["x"]["x"], 0)
                text = self.succeed("groups", "--by", "g", "a.csv", *args).out
                self.assertEqual(text.splitlines()[-len(notes):], notes)
        self.write("a.csv", small)
        page = self.analyse("--by", "g", "a.csv")
        self.assertEqual(page["sds"]["lonely"], {"x": None, "y": None})
        self.assertEqual((page["rows_left_out"]["missing_value"], page["groups"]["lonely"]["n"]), (1, 1))
        # Box's test is formed anew from the other groups.
        self.write("a.csv", large)
        for name, value in self.analyse("--by", "g", "a.csv")["tests"]["box"].items():
            self.assertAlmostEqual(page["tests"]["box"][name], value, delta=1e-9 * abs(value))

    def test_errors(self):
        self.write("a.csv", "x,g\n" + "".join(f"{k},{k % 30}\n" for k in range(3000)))
        for args, code, message in (
                (["--by", "g", "--max-groups", "29"], 2, "column g: has more than 29 distinct values, too many for groups"),
                (["--by", "g", "--max-groups", "2", "--levels", "1,2,3"], 1,
                 "--levels lists 3 groups, more than --max-groups 2"),
                (["--by", "g", "--levels", "1,1.0"], 2, 'column g: level given twice: "1.0"'),
                (["--by", "g", "--levels", "one"], 2, 'column g: level is not a number, as the column\'s are: "one"'),
                (["--by", "q"], 2, "column q: is not among the 2 columns of the input"),
                (["--by", "x,g"], 1, '--by takes one column, not "x,g"'),
                (["--by", "g", "-r", "x"], 1, "there is no option -r"),
                ([], 1, "--by is required")):
            run = self.run_program("groups", "a.csv", *args)
            self.assertEqual((run.code, run.out, run.err.splitlines()[0]), (code, "", "vexa-stats: error: " + message))


if __name__ == "__main__":
    running.main()
