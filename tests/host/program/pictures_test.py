"""pictures_test.py PROGRAM: pictures of every command in every form, and when there is none."""

import re
import xml.etree.ElementTree

import running

HOSTILE = 'x,"<b>&amp;",Größe 漢字,"two\nlines",constant\n' + "".join(f"{i},{i * i % 7},{-i},{i % 3},5\n" for i in range(9))
IRIS = running.DATA / "iris.csv"


class Pictures(running.ProgramTest):
    COMMANDS = {
        "describe": ["describe", "given.csv"],
        "describe groups": ["describe", "--by", "Species", IRIS],
        "regress": ["regress", "-y", "x", "given.csv"],
        "three groups": ["groups", "--by", "Species", IRIS],
        "two groups": ["groups", "--by", "Species", "--levels", "setosa,virginica", IRIS],
        "corr": ["corr", "given.csv"],
        "cov by similarity": ["cov", "--order", "cluster", "given.csv"],
        "a rectangle by similarity": ["corr", "--rows", "1:2", "--cols", "3:5", "--order", "cluster", "given.csv"],
    }

    def test_each_command_and_form(self):
        self.write("given.csv", HOSTILE)
        for name, args in self.COMMANDS.items():
            plain = self.succeed(*(arg for arg in args if arg not in ("--order", "cluster")))
            for ending, start in ((".svg", b"<?xml"), (".PNG", b"\x89PNG"), (".pdf", b"%PDF")):
                with self.subTest(name + ending):
                    run = self.succeed(*args, "--plot", "a" + ending)
                    self.assertEqual((run.out, run.err), (plain.out, plain.err))
                    picture = (self.folder / ("a" + ending)).read_bytes()
                    self.assertEqual(picture[:len(start)], start)
                    self.assertNotIn(b"CreationDate", picture)
                    self.succeed(*args, "-t", "3", "--plot", "b" + ending)
                    self.assertEqual((self.folder / ("b" + ending)).read_bytes(), picture)
            xml.etree.ElementTree.parse(self.folder / "a.svg")
        self.assertEqual(len(self.left_behind("given.csv")), 6)

    def test_colours_tell_correlations(self):
        self.write("given.csv", HOSTILE)
        for command in ("corr", "cov"):
            self.succeed(command, "--order", "cluster", "given.csv", "--plot", "a.svg")
            fills = re.findall(r"fill:rgb\((\d+)[.\d]*%,(\d+)[.\d]*%,(\d+)[.\d]*%\)", (self.folder / "a.svg").read_text())
            ends = {"blue": ("1", "18", "38"), "red": ("40", "0", "12"), "grey": ("74", "74", "74")}
            # Four variables with themselves, two that are each other's negative, and one that has none, in the legend too.
            self.assertEqual({name: fills.count(colour) for name, colour in ends.items()}, {"blue": 4, "red": 2, "grey": 10})

    def test_no_picture(self):
        self.write("given.csv", "x,y\n1,2\n3,5\n2,2\n")
        self.write("wide.csv", ",".join(f"v{i}" for i in range(1001)) + "\n" + ("0" + ",1" * 1000 + "\n") * 2 + "0,1\n")
        self.write("broken.csv", "x,y\n1,2\n3,?\n")
        (self.folder / "ahead.svg").symlink_to("b.svg")
        (self.folder / "first.svg").symlink_to("given.csv")
        same = "--plot and --output name the same file"
        for args, code, told in (
                ("cov --plot a.gif given.csv", 1, '--plot: takes a file that ends in .svg, .png or .pdf, not "a.gif"'),
                ("cov --plot .svg given.csv", 1, "--plot: takes a file that ends in"),
                ("cov --plot a.svg -o ./a.svg given.csv", 1, same),
                (f"cov --plot {self.folder}/a.svg -o a.svg given.csv", 1, same),
                ("cov --plot ahead.svg -o b.svg given.csv", 1, same),
                ("cov --plot b.svg -o ahead.svg given.csv", 1, same),
                ("cov --plot first.svg given.csv", 1, "--plot would overwrite the input given.csv"),
                ("cov --plot a.svg wide.csv", 1, "--plot shows up to 1000 variables, not 1001"),
                ("regress -y v0 --plot a.svg wide.csv", 2, "row of 2 cells where there are 1001 columns"),
                ("describe --by v0 -c 2:502 --levels 0,1 --plot a.svg wide.csv", 1,
                 "--plot shows up to 1000 rows, one for each variable and group, not 1002"),
                ("groups --by x -c y --plot a.svg given.csv", 2, "a.svg: there is nothing to draw, as the covariance matrix"),
                ("groups --by y -c x --levels 2 --plot a.svg given.csv", 2, "a.svg: there is nothing to draw, as there is one group only"),
                ("cov -c x,y --plot a.svg broken.csv", 2, "not a number"),
                ("cov --order cluster given.csv", 1, "--order is that of a picture"),
                ("cov --plot none/a.svg given.csv", 2, "none/a.svg: cannot be written")):
            run = self.run_program(*args.split())
            self.assertEqual((run.code, bool(run.out)), (code, "nothing to draw" in told), run.err)
            self.assertIn(told, run.err)
        self.assertEqual(self.left_behind("given.csv", "wide.csv", "broken.csv", "ahead.svg", "first.svg"), [])


if __name__ == "__main__":
    running.main()
