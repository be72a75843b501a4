"""options_test.py PROGRAM: what each option does to a small table, to the byte."""

import running

PLAIN = "x,y,w,t\n1,2,1,a\n2,1,2,b\n4,6,0.5,c\n"


class Options(running.ProgramTest):
    #   what it is about: standard input, arguments, standard output, standard error without "vexa-stats: "
    CASES = {
        "columns in the order given": (PLAIN, "cov -f csv -c y,1", "variable,y,x\ny,7,3.5\nx,3.5,2.3333333333333335\n",
                                       "3 rows read, all used"),
        "columns given twice over": ('"y,,",x\n2,1\n1,2\n6,4\n', 'cov -f csv -c "y,," -c x',
                                     'variable,"y,,",x\n"y,,",7,3.5\nx,3.5,2.3333333333333335\n', "3 rows read, all used"),
        "a list of nothing": (PLAIN, "cov -c ,", None, 'error: list of columns with an empty item: ","'),
        "all numeric ones but the weights": (
            PLAIN, "cov -f csv -w w", "variable,x,y\nx,1.2,1.6\ny,1.6,4\n", 'not numeric, left out: t ("a" in line 2)\n3 rows read, all used'),
        "saved row names": ('"",x,y\n1,1,2\n2,2,1\n3,4,6\n', "cov -f csv", "variable,x,y\nx,2.3333333333333335,3.5\ny,3.5,7\n",
                            "without a name, left out: column 1\n3 rows read, all used"),
        "weights that cancel out": ("x,w,r\n1,2,0.5\n3,0.5,2\n5,,1\n7,1,0\n", "sums -f csv -c x -w w -r r",
                                    "row,column,n,weight_sum,reg_weight_sum,mean_row,mean_column,css_row,css_column,cscp\n"
                                    "x,x,2,2.5,2,2,2,2,2,2\n", "4 rows read, 2 used, 2 left out: 1 with a missing weight; "
                                    "1 with a weight of zero"),
        "other missing tokens": ("x,y\n1,2\n-9,3\n2,none\n,1\n3,4\n", "cov -f csv --na -9.0,NONE",
                                 "variable,x,y\nx,2,2\ny,2,2\n",
                                 "5 rows read, 2 used, 3 left out: 3 with a missing value (x 2, y 1)"),
        "small sums of few rows": ("x,y,w\n1,5,1e-295\n3,1,1e-295\n7,1,1e-295\n", "corr -f csv -w w",
                                   "variable,x,y\nx,1,-0.7559289460184543\ny,-0.7559289460184543,1\n", "3 rows read, all used"),
        "values in rows left out alone": ("x,w\n,1\n5,\n", "describe -f csv -w w",
                                          "variable,n,missing,weight_sum,mean,sd,variance,se,min,max\nx,0,1,0,,,,,,\n",
                                          "2 rows read, 1 used, none with a value (missing values: x 1), "
                                          "1 left out: 1 with a missing weight"),
        "missing tokens among groups": ("k,x\n-9,1\na,2\na,4\n-9.0,5\n", "describe -f csv --by k --na -9",
                                        "variable,group,n,missing,weight_sum,mean,sd,variance,se,min,max\n"
                                        "x,a,2,0,2,3,1.4142135623730951,2,1,2,4\n",
                                        "4 rows read, 2 used, 2 left out: 2 without a group"),
        "tabs and decimal commas": ("x\ty\n1,5\t2\n2,5\t4\n", "cov -f csv -d tab --decimal ,",
                                    "variable,x,y\nx,0.5,1\ny,1,2\n", "2 rows read, all used"),
        "no header": ("1 2\n2 4\n", "cov -f csv --no-header -d _", None,
                      'not numeric, left out: V1 ("1 2" in line 1)\nerror: <stdin>: has no numeric column'),
        "no header, blanks between": ("1 2\n2 4\n", ["cov", "-f", "csv", "--no-header", "-d", " "],
                                      "variable,V1,V2\nV1,0.5,1\nV2,1,2\n", "2 rows read, all used"),
        "digits": ("x\n1\n2\n4\n", "cov --digits 3",
                   "Covariances of 1 variable, over the rows where it is present\n3 rows read, all used\n\n      x\nx  2.33\n", ""),
        "text of everything": (
            "x,y,w\n1,1,2\n2,1,1\n3,1,2\n\n,1,1\n", "corr -w w -c x,y",
            "Correlations of 2 variables, over the rows where both are present\n"
            "4 rows read (1 blank line skipped), 3 used, 1 left out: 1 with a missing value (x 1)\n"
            "Case weight w: the rows used weigh 5\n\n           x   y\nx   1.000000  NA\ny  NA         NA\n\n"
            "NA: undefined, as a variable does not vary in its rows, or a sum is beyond or below the range of a double.\n", ""),
        "descriptions for people": (
            "x,y\n1.50,100\n2,-1e-7\n4,", "describe --digits 3",
            "Statistics of 2 variables, each over its rows without a missing value\n"
            "3 rows read, all used (missing values: y 1)\n\n"
            "variable  n  missing   mean     sd  variance      se       min  max\n"
            "x         3        0   2.50   1.32      1.75   0.764       1.5    4\n"
            "y         2        1  50.0   70.7    5000     50.0    -1e-07    100\n", ""),
        "variables with few values": (
            "x,y,z,v,u,w\n,1e9,-0,0,5,2\n,,0,-0,5,1\n,,,,5,0.5\n", "describe -w w -f csv",
            "variable,n,missing,weight_sum,mean,sd,variance,se,min,max\nx,0,3,0,,,,,,\n"
            "y,1,2,2,1000000000,0,0,0,1000000000,1000000000\nz,2,1,3,0,0,0,0,-0,0\nv,2,1,3,0,0,0,0,-0,0\nu,3,0,3.5,5,0,0,0,5,5\n",
            "3 rows read, all used (missing values: x 3, y 2, z 1 and 1 more)"),
        "weights whose product is too small": (
            "x,w\n1,1e-200\n3,1e-200\n", "describe -w w -r w -c x -f csv",
            "variable,n,missing,weight_sum,mean,sd,variance,se,min,max\nx,2,0,2e-200,,,,,1,3\n", "2 rows read, all used"),
        "squares that are too small": (
            "x,y,z\n1e-200,1,5\n2e-200,3,5\n3e-200,2,5\n", "describe -f csv",
            "variable,n,missing,weight_sum,mean,sd,variance,se,min,max\nx,3,0,3,2e-200,,,,1e-200,3e-200\n"
            "y,3,0,3,2,1,1,0.5773502691896258,1,3\nz,3,0,3,5,0,0,0,5,5\n", "3 rows read, all used"),
        "small squares beside others": ("x,y,k\n1e-200,1,7\n2e-200,3,7\n3e-200,2,7\n", "cov -f csv",
                                        "variable,x,y,k\nx,,5e-201,0\ny,5e-201,1,0\nk,0,0,0\n", "3 rows read, all used"),
        "variances that are too small": (
            "x,y,w\n1e-165,1,1e40\n3e-165,3,1e40\n", "describe -w w -f csv -c x,y",
            "variable,n,missing,weight_sum,mean,sd,variance,se,min,max\nx,2,0,2e+40,2e-165,,,,1e-165,3e-165\n"
            "y,2,0,2e+40,2,1,1,7.071067811865475e-21,1,3\n", "2 rows read, all used"),
        "small squares of pairs": ("x,y,z\n1e-200,1,\n2e-200,1,\n2e-200,2,3\n2e-200,2,1\n", "cov -m pairwise -f csv",
                                   "variable,x,y,z\nx,,,\ny,,0.3333333333333333,0\nz,,0,2\n", "4 rows read, all used (missing values: z 2)"),
        "squares of two halves": ("x\n" + "1e-200\n" * 30_000 + "2e-200\n" * 30_000, "corr -f csv", "variable,x\nx,\n",
                                  "60,000 rows read, all used"),
        "a pair without common rows": (
            "x,y,z\n1,,2\n2,,1\n,3,\n,5,4\n", "cov -m pairwise --counts -f csv",
            "variable,x,y,z\nx,0.5,,-0.5\ny,,2,\nz,-0.5,,2.3333333333333335\n\nvariable,x,y,z\nx,2,0,2\ny,0,2,1\nz,2,1,3\n",
            "4 rows read, all used (missing values: x 2, y 2, z 1)"),
        "pairs that do not fit together": (
            "x,y,z\n1,1,\n2,2,\n1,,2\n2,,1\n,1,1\n,2,2\n", "corr -m pairwise --rows x --cols y,z,x -f csv",
            "variable,y,z,x\nx,0.9999999999999999,-0.9999999999999999,1\n", "6 rows read, all used (missing values: x 2, y 2, z 2)"),
        "pairs that fit no data": (
            "x,y,z\n1,1,\n2,2,\n1,,2\n2,,1\n,1,1\n,2,2\n", "corr -m pairwise -f csv",
            "variable,x,y,z\nx,1,0.9999999999999999,-0.9999999999999999\ny,0.9999999999999999,1,0.9999999999999999\n"
            "z,-0.9999999999999999,0.9999999999999999,1\n",
            "6 rows read, all used (missing values: x 2, y 2, z 2)\n"
            "the correlations are not positive semidefinite: their smallest eigenvalue is -1"),
        "the first rows": (PLAIN, "cov -f csv -c x,y --max-rows 2", "variable,x,y\nx,0.5,-0.5\ny,-0.5,0.5\n",
                           "only the first 2 rows are read, as --max-rows says\n2 rows read, all used"),
        "the first row": ("x,y\n1,2\n2,3\n", "corr --max-rows 1 --rows x --cols y --digits 9",
                          "Correlations of 1 with 1 variable, over the rows where all are present\n1 row read, all used\n\n    y\nx  NA\n\n"
                          "NA: undefined, as a variable does not vary in its rows, or a sum is beyond or below the range of a double.\n",
                          "only the first row is read, as --max-rows says"),
        "no value": ("x,y\nNA,\n,NA\n", "cov -m pairwise -f csv", "variable,x,y\nx,,\ny,,\n",
                     "2 rows read, none with a value (missing values: x 2, y 2)"),
        "a tail too small for a double": (
            "x,y,z\n1,-2,0\n-1,2,5\n1,-2,1\n-1,2,3\n", "corr --p --digits 3 --rows x --cols y,z",
            "Correlations of 1 with 2 variables, over the rows where all are present\n4 rows read, all used\n\n        y       z\n"
            "x  -1.000  -0.911\n\nTwo-sided p values of no correlation\n\n         y       z\nx  <1e-307  0.0887\n", ""),
        "progress, forced and not": ("x\n1\n3\n", "cov -f csv --progress --no-progress", "variable,x\nx,2\n", "2 rows read, all used"),
        "progress, forced": ("x\n1\n3\n", "cov -f csv --progress", "variable,x\nx,2\n", None),
        "verbose": ("x\n1\n3\n", "cov -f csv --verbose --no-progress", "variable,x\nx,2\n", None),
    }

    def test_each_option(self):
        for name, (given, args, out, err) in self.CASES.items():
            with self.subTest(name):
                run = self.run_program(*(args.split() if isinstance(args, str) else args), input=given)
                self.assertEqual(run.out, out or "", run.err)
                self.assertEqual(run.code, 0 if out else 2)
                if err is not None:
                    self.assertEqual(run.err, "".join(f"vexa-stats: {line}\n" for line in err.splitlines()))

    def test_standard_error_of_a_watched_run(self):
        run = self.succeed("cov", "-f", "csv", "--no-progress", "--progress", input="x\n1\n3\n")
        self.assertRegex(run.err, r"vexa-stats: 100 %: 2 rows, 6 B of 6 B, .*/s\nvexa-stats: 2 rows read, all used\n")
        run = self.succeed("cov", "-f", "csv", "--verbose", "-t", 1, input="x;y\n2;-2\n3;4\n")
        self.assertIn('vexa-stats: 2 columns, separated by ";"; 2 variables: x, y\n', run.err)
        for part in ("origins: x 3; of the others 0\n", "1 thread, chunks of "):
            self.assertIn("vexa-stats: " + part, run.err)
        self.assertRegex(run.err, r"reading and summing: \d+\.\d{3} s\n")


if __name__ == "__main__":
    running.main()
