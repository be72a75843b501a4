"""same_bytes_test.py PROGRAM: large inputs say the same on any number of threads, in little memory, whole, compressed or cut.

That the bytes of results depend on neither threads nor instruction sets is held by tests/bytes.
"""

import itertools
import lzma
import random

import running

ROWS = 300_000
MOST_MEMORY = 200 << 20
WEIGHTS = ("-w", "w", "-r", "r")


def lines():
    """16 numeric columns, 3 % missing, weights that are 0 or missing among them, and a quoted text."""
    draw = random.Random(20)
    number = lambda col: draw.choice(["NA", ""]) if draw.random() < 0.03 else f"{draw.gauss(10.0 ** (col % 5), 1 + col):.{2 + col % 7}f}"
    weight = lambda: draw.choice(["1", "2", "0.5", "0", "1e-3", "."])
    return [",".join(['"say ""x"",\nor y"', *map(number, range(16)), weight(), weight()]) + "\n" for _ in range(997)]


class SameBytes(running.ProgramTest):
    def setUp(self):
        super().setUp()
        pool = lines()
        for name, rows in (("big.csv", ROWS), ("head.csv", ROWS // 3)):
            with open(self.folder / name, "w", encoding="utf-8") as file:
                file.write(",".join(['"text, one"', *(f"x{col}" for col in range(16)), "w", "r"]) + "\n")
                # In pieces, since the memory that a process has before it becomes another one counts as that one's.
                file.writelines(itertools.islice(itertools.cycle(pool), rows))

    def test_any_number_of_threads(self):
        for args in ("sums -m pairwise", "describe -f html", "describe --by 1", "sums --max-rows 100000"):
            form = [] if "-f" in args else ["-f", "csv"]
            runs = [self.succeed(*args.split(), *form, *WEIGHTS, "big.csv", "-t", threads) for threads in running.THREADS]
            for threads, run in zip(running.THREADS, runs):
                self.assertEqual((run.out, run.err), (runs[0].out, runs[0].err), (args, threads))
                self.assertLess(run.peak, MOST_MEMORY, (args, threads))
            self.assertRegex(runs[0].err, r"\d00,000 rows read, .* with a weight of zero")
        self.assertIn("not numeric, left out: text, one (", runs[0].err)

    def test_compressed_and_first_rows(self):
        sums = lambda *args: self.succeed("sums", *WEIGHTS, "-f", "csv", *args).out
        (self.folder / "big.xz").write_bytes(lzma.compress((self.folder / "big.csv").read_bytes(), preset=0))
        self.assertEqual(sums("big.xz"), sums("big.csv"))
        # The first rows are what a file with just them would be, over the files together.
        self.assertEqual(sums("--max-rows", ROWS // 3, "big.csv"), sums("head.csv"))
        self.assertEqual(sums("--max-rows", ROWS * 2 // 3, "head.csv", "head.csv", "big.csv"), sums("head.csv", "head.csv"))


if __name__ == "__main__":
    running.main()
