"""Allocations that fail, one in a run, anywhere in the program and its libraries: a message and no result, or the result.

VEXA_SHORTAGE_STRIDE is the distance from one that fails to the next: 1 for all; without it a few dozen of each command.
"""

import os
import sys

import running

PRELOAD = os.path.abspath(sys.argv.pop(2))


class Shortage(running.ProgramTest):
    COMMANDS = (
        ("describe", "-f", "text", "-t", 1),
        ("cov", "-m", "pairwise", "--counts", "-f", "csv", "-t", 3),
        ("corr", "--p", "-f", "json", "-t", 2),
        ("sums", "-w", "w", "-f", "csv", "-t", 1),
        ("regress", "-y", "a", "-f", "text", "-t", 2),
        ("groups", "--by", "g", "-f", "json", "-t", 3),
    )
    ROWS = "g,a,b,c,w\n" + "".join(f'"x ""{row % 3}""",{row * row % 101},{row % 17},{"NA" if row % 13 == 0 else row * 7 % 23},{1 + row % 2}\n'
                                   for row in range(150))

    def run_short(self, command, at=-1, lasts=False):
        read_end, write_end = os.pipe()
        run = self.run_program(*command, "in.csv", "-o", "out", pass_fds=(write_end,),
                               env={"LD_PRELOAD": PRELOAD, "VEXA_SHORTAGE_AT": str(at),
                                    "VEXA_SHORTAGE_LASTS": str(int(lasts)), "VEXA_SHORTAGE_FD": str(write_end)})
        os.close(write_end)
        with open(read_end, encoding="utf-8") as pipe:
            return run, int(pipe.read() or -1)

    def test_every_command_ends_in_order(self):
        self.write("in.csv", self.ROWS)
        failed = survived = 0
        for command in self.COMMANDS:
            run, count = self.run_short(command)
            self.assertEqual(run.code, 0, run.err)
            self.assertGreater(count, 100, "nothing is counted")
            expected = (self.folder / "out").read_bytes()
            os.remove(self.folder / "out")
            stride = int(os.environ.get("VEXA_SHORTAGE_STRIDE", 0)) or count // 40
            for at in range(0, count, stride):
                for lasts in (False, True):
                    with self.subTest(command=command, at=at, lasts=lasts):
                        run, _ = self.run_short(command, at, lasts)
                        if run.code == 0:
                            survived += 1
                            self.assertEqual((self.folder / "out").read_bytes(), expected)
                            os.remove(self.folder / "out")
                            continue
                        failed += 1
                        self.assertEqual(run.code, 2, run.err)
                        self.assertEqual(run.err.count("vexa-stats: error: "), 1, run.err)
                        self.assertEqual((run.out, self.left_behind("in.csv")), ("", []))
        self.assertGreater(failed, survived, "allocations do not fail")
        print(f"shortages: {failed} told, {survived} survived")


if __name__ == "__main__":
    running.main()
