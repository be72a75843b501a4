"""same_bytes_test.py PROGRAM: the same input gives the same bytes, on any number of threads and from a pipe, in little memory."""

import csv
import itertools
import lzma

import running

ROWS = 300_000
MOST_MEMORY = 200 << 20


class SameBytes(running.ProgramTest):
    def same_on_any_number_of_threads(self, *args):
        runs = [self.succeed(*args, "-t", threads) for threads in running.THREADS]
        for threads, run in zip(running.THREADS, runs):
            self.assertEqual((run.out, run.err), (runs[0].out, runs[0].err), (args, threads))
            self.assertLess(run.peak, MOST_MEMORY, (args, threads))
        return runs[0]

    def test_threads_and_standard_input(self):
        file = self.folder / "big.csv"
        running.write_big_file(file, ROWS)
        args = ("-f", "csv", "-w", "w", "-r", "r")
        self.same_on_any_number_of_threads("sums", "-m", "pairwise", *args, "big.csv")
        self.same_on_any_number_of_threads("describe", *args, "big.csv")
        self.same_on_any_number_of_threads("describe", *args, "--by", "more", "-c", "x0:x2", "big.csv")
        first = self.same_on_any_number_of_threads("sums", *args, "big.csv")
        self.assertIn(f"{ROWS // 1000},000 rows read", first.err)
        self.assertIn("with a weight of zero", first.err)
        self.assertIn("not numeric, left out: text, one (", first.err)
        self.assertEqual(len(first.out.splitlines()), 1 + 16 * 17 // 2)
        with open(file, "rb") as given:
            run = self.succeed("sums", *args, input=given)
        self.assertEqual(run.out, first.out)
        (self.folder / "big.xz").write_bytes(lzma.compress(file.read_bytes(), preset=0))
        self.assertEqual(self.succeed("sums", *args, "big.xz").out, first.out)
        # The first rows are what a file with just them would be, over the files together.
        with open(file, encoding="utf-8", newline="") as given, open(self.folder / "head.csv", "w", encoding="utf-8", newline="") as first_rows:
            csv.writer(first_rows).writerows(itertools.islice(csv.reader(given), ROWS // 3 + 1))
        head = self.same_on_any_number_of_threads("sums", *args, "--max-rows", ROWS // 3, "big.csv")
        self.assertEqual(self.succeed("sums", *args, "head.csv").out, head.out)
        self.assertEqual(self.succeed("sums", *args, "--max-rows", ROWS * 2 // 3, "head.csv", "head.csv", "big.csv").out,
                         self.succeed("sums", *args, "head.csv", "head.csv").out)
        feeder = running.subprocess.Popen(["cat", file], stdout=running.subprocess.PIPE)
        run = self.succeed("sums", *args, "-", input=feeder.stdout)
        feeder.stdout.close()
        feeder.wait()
        self.assertEqual(run.out, first.out)


if __name__ == "__main__":
    running.main()
