"""pages_test.py PROGRAM: the help, the manual page and the completions, which are made from one definition."""

import pathlib
import re
import shutil
import subprocess

import running

COMMANDS = ("describe", "cov", "corr", "sums", "regress", "groups")
COMPLETE = """
source "$0"
compopt() { :; }  # which bash has only while it completes
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
_vexa_stats
printf '%s\\n' "${COMPREPLY[@]}"
"""


class Pages(running.ProgramTest):
    @property
    def pages(self):
        return pathlib.Path(running.PROGRAM).parent / "pages"

    def test_help_fits_the_terminal_and_ends_with_examples(self):
        for command in ((), *((name,) for name in COMMANDS)):
            page = self.succeed(*command, "--help").out
            self.assertLessEqual(max(map(len, page.splitlines())), 80, page)
            if command:
                self.assertRegex(page, rf"\nExamples:\n(  .*vexa-stats {command[0]}.*\n)+$")

    def test_every_option_is_in_the_manual_and_used_by_a_test_or_a_document(self):
        others = [path for path in pathlib.Path(__file__).parent.glob("*.py") if path != pathlib.Path(__file__)]
        used = "".join(path.read_text() for path in others)
        for document in (running.TREE / "docs").glob("*.md"):
            used += "".join(re.findall(r"^\$ .*\n", document.read_text(), re.MULTILINE))
        manual = (self.pages / "vexa-stats.1").read_text().replace("\\", "")
        options = {tuple(re.findall(r"--?[a-z][\w-]*", line[:26])) for name in COMMANDS
                   for line in self.succeed(name, "--help").out.splitlines() if line.startswith("  -")}
        self.assertGreater(len(options), 20)
        for names in options - {("-h", "--help")}:
            self.assertRegex(used, rf"(?<![\w-])({'|'.join(names)})(?![\w-])", names)
            self.assertIn(", ".join(f"fB{name}fR" for name in names), manual)

    def test_manual_is_clean(self):
        manual = (self.pages / "vexa-stats.1").read_text()
        self.assertNotRegex(manual, r"@\w+@")
        for section in ("NAME", "SYNOPSIS", "COMMANDS", "OPTIONS", "EXIT STATUS", "EXAMPLES"):
            self.assertIn(f"\n.SH {section}\n", manual)
        if shutil.which("groff"):
            run = subprocess.run(["groff", "-man", "-Tutf8", "-K", "utf8", "-ww", self.pages / "vexa-stats.1"],
                                 capture_output=True, text=True, check=False)
            self.assertEqual((run.returncode, run.stderr), (0, ""))

    def test_completions(self):
        self.write("data.csv", "x\n1\n")
        for words, expected in {
            "co": ["cov", "corr"],
            "--v": ["--version"],
            "cov --form": ["--format"],
            "corr --p": ["--p", "--plot", "--progress"],
            "regress -x x --no-i": ["--no-intercept"],
            "groups --priors ": ["equal", "size"],
            "cov -m p": ["pairwise"],
            "cov --format = cs": ["csv"],
            "cov -o d": ["data.csv"],
            "cov -f csv d": ["data.csv"],
            "cov -c d": [],
            "nothing d": [],
        }.items():
            with self.subTest(words):
                run = subprocess.run(["bash", "-c", COMPLETE, self.pages / "vexa-stats.bash", "vexa-stats",
                                      *words.split(" ")], cwd=self.folder, capture_output=True, text=True, check=False)
                self.assertEqual((sorted(run.stdout.split()), run.stderr), (sorted(expected), ""))
        if shutil.which("zsh"):
            run = subprocess.run(["zsh", "-n", self.pages / "_vexa-stats"], capture_output=True, text=True, check=False)
            self.assertEqual((run.returncode, run.stderr), (0, ""))


if __name__ == "__main__":
    running.main()
