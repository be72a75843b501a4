"""same_bytes_test.py PROGRAM: the same input gives the same bytes, on any number of threads and from a pipe, in little memory."""

import running

ROWS = 300_000
MOST_MEMORY = 200 << 20


class SameBytes(running.ProgramTest):
    def test_threads_and_standard_input(self):
        file = self.folder / "big.csv"
        running.write_big_file(file, ROWS)
        args = ("-f", "csv", "-w", "w", "-r", "r")
        first = self.succeed("sums", "-t", 1, *args, "big.csv")
        self.assertIn(f"{ROWS // 1000},000 rows read", first.err)
        self.assertIn("with a weight of zero", first.err)
        self.assertIn("not numeric, left out: text, one (", first.err)
        self.assertEqual(len(first.out.splitlines()), 1 + 16 * 17 // 2)
        for threads in running.THREADS[1:]:
            run = self.succeed("sums", "-t", threads, *args, "big.csv")
            self.assertEqual((run.out, run.err), (first.out, first.err), threads)
        self.assertLess(run.peak, MOST_MEMORY, "with 16 threads")
        with open(file, "rb") as given:
            run = self.succeed("sums", *args, input=given)
        self.assertEqual(run.out, first.out)
        feeder = running.subprocess.Popen(["cat", file], stdout=running.subprocess.PIPE)
        run = self.succeed("sums", *args, "-", input=feeder.stdout)
        feeder.stdout.close()
        feeder.wait()
        self.assertEqual(run.out, first.out)


if __name__ == "__main__":
    running.main()
