"""documents_test.py PROGRAM: what the documents show is what the program does.

Every `$ command` in a console block is run by a shell in a folder with data/, and what follows it is its output, both
streams together.
"""

import os
import subprocess

import running

DOCUMENTS = [running.TREE / "README.md", *sorted((running.TREE / "docs").glob("*.md"))]


def sessions(document):
    """The commands of the console blocks, each with the output that is shown for it."""
    shown = None
    for line in document.read_text(encoding="utf-8").splitlines():
        if line.startswith("```"):
            if shown is not None:
                yield from shown
            shown = [] if line == "```console" else None
        elif shown is not None and line.startswith("$ "):
            shown.append([line[2:], ""])
        elif shown is not None:
            shown[-1][1] += line + "\n"


class Documents(running.ProgramTest):
    def test_commands_give_what_is_shown(self):
        os.symlink(running.DATA, self.folder / "data")
        path = f"{os.path.dirname(running.PROGRAM)}:{os.environ['PATH']}"
        commands = 0
        for document in DOCUMENTS:
            for command, shown in sessions(document):
                with self.subTest(f"{document.name}: {command}"):
                    run = subprocess.run(["sh", "-c", command], cwd=self.folder, env={"PATH": path}, text=True,
                                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
                    self.assertEqual(run.stdout, shown)
                    commands += 1
        self.assertGreater(commands, 5)


if __name__ == "__main__":
    running.main()
