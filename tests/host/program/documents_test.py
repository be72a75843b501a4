"""documents_test.py PROGRAM: what the documents show is what the program does, and what the examples say.

Every `$ command` in a console block is run by a shell in a folder with data/, and what follows it is its output, both
streams together. Every cpp block stands in an example, line by line.
"""

import os
import re
import subprocess

import running

DOCUMENTS = [running.TREE / "README.md", *sorted((running.TREE / "docs").glob("*.md"))]


def blocks(document, language):
    """The text of each block of a language."""
    return re.findall(rf"^```{language}\n(.*?)^```$", document.read_text(encoding="utf-8"), re.DOTALL | re.MULTILINE)


def sessions(document):
    """The commands of the console blocks, each with the output that is shown for it."""
    for block in blocks(document, "console"):
        for command in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
            yield command.split("\n", 1)


class Documents(running.ProgramTest):
    def test_commands_give_what_is_shown(self):
        os.symlink(running.DATA, self.folder / "data")
        environment = {**running.ENVIRONMENT, "PATH": f"{os.path.dirname(running.PROGRAM)}:{os.environ['PATH']}"}
        commands = 0
        for document in DOCUMENTS:
            for command, shown in sessions(document):
                with self.subTest(f"{document.name}: {command}"):
                    run = subprocess.run(["sh", "-c", command], cwd=self.folder, env=environment, text=True,
                                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
                    self.assertEqual(run.stdout, shown)
                    commands += 1
        self.assertGreater(commands, 5)

    def test_excerpts_stand_in_the_examples(self):
        examples = "".join(path.read_text(encoding="utf-8") for path in (running.TREE / "examples").glob("*.cpp"))
        excerpts = [block for document in DOCUMENTS for block in blocks(document, "cpp")]
        self.assertGreater(len(excerpts), 5)
        for excerpt in excerpts:
            self.assertIn(excerpt, examples)


if __name__ == "__main__":
    running.main()
