"""reports_test.py PROGRAM: HTML pages in a browser.

Each command's page says nothing to the console, requests nothing, shows names as text, sorts, copies what CSV holds, and
does not scroll sideways on a phone.
"""

import csv
import io
import json
import shlex
import subprocess
import tempfile

import running
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

HOSTILE = "<script>alert(1)</script>"
FLAGS = ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
         "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage")
PHONE = {"width": 390, "height": 844, "deviceScaleFactor": 1, "mobile": True}


class Reports(running.ProgramTest):
    COMMANDS = {
        "describe": ("describe",),
        "corr": ("corr", "--missing", "pairwise"),
        "cov": ("cov", "--order", "cluster", "-c", f"x,{HOSTILE},long"),
        "sums": ("sums",),
        "regress": ("regress", "-y", "x", "-x", f"{HOSTILE},long"),
        "groups": ("groups", "--by", "group", "-c", f"x,{HOSTILE},long"),
        "groups without functions": ("groups", "--by", HOSTILE, "-c", "constant"),
    }

    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        cls.addClassCleanup(profile.cleanup)
        for flag in (*FLAGS, f"--user-data-dir={profile.name}"):
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", PHONE)

    def write_input(self):
        rows = [(i, i * 7 % 11, 5, "" if i == 4 else i * i, "</td>a&b"[i % 2:]) for i in range(30)]
        text = io.StringIO()
        csv.writer(text, lineterminator="\n").writerows([("x", HOSTILE, "constant", "long", "group"), *rows])
        self.write("given.csv", text.getvalue().replace("long", "long" * 40, 1))

    def open(self, args):
        args = [arg.replace("long", "long" * 40) for arg in args]
        self.succeed(*args, "--format", "html", "-o", "page.html", "given.csv")
        self.browser.get_log("performance")
        url = (self.folder / "page.html").as_uri()
        self.browser.get(url)
        requests = [json.loads(entry["message"])["message"] for entry in self.browser.get_log("performance")]
        return args, url, {message["params"]["request"]["url"] for message in requests
                           if message["method"] == "Network.requestWillBeSent"}

    def column(self, table, place):
        return self.browser.execute_script(
            "return [...arguments[0].tBodies[0].rows].map(row => row.cells[arguments[1]].dataset.v)", table, place)

    def test_each_command(self):
        self.write_input()
        run = self.browser.execute_script
        for name, command in self.COMMANDS.items():
            with self.subTest(name):
                args, url, requests = self.open(command)
                self.assertEqual({address for address in requests if not address.startswith("data:")}, {url})
                self.assertEqual(run("return document.scripts.length"), 1, "names are no scripts")
                if "constant" not in command:  # which does not have it
                    self.assertIn(HOSTILE, run("return document.querySelector('main').innerText"))
                self.assertEqual(run("return document.querySelectorAll('svg').length"),
                                 0 if name in ("sums", "groups without functions") else 1)
                self.assertEqual(run("return document.documentElement.scrollWidth"), PHONE["width"])
                self.assertEqual(run("return [...document.querySelectorAll('[id]')].length"),
                                 run("return new Set([...document.querySelectorAll('[id]')].map(e => e.id)).size"))
                self.check_sorting(self.browser.find_element(By.TAG_NAME, "table"))
                self.assertEqual([entry["message"] for entry in self.browser.get_log("browser")], [])
                self.check_printing()
                self.check_command()
                if name in ("corr", "cov"):
                    self.check_pointing()
                    self.check_copy(args)

    def check_sorting(self, table):
        number = lambda text: (text == "NA", 0.0 if text == "NA" else float(text))
        for place, head in list(enumerate(table.find_elements(By.CSS_SELECTOR, "thead th")))[1:]:
            given = self.column(table, place)
            for state, expected in (("ascending", sorted(given, key=number)),
                                    ("descending", sorted(given, key=lambda text: (text == "NA", -number(text)[1]))),
                                    ("none", given)):
                self.browser.execute_script("arguments[0].scrollIntoView({block: 'center', inline: 'center'})", head)
                head.find_element(By.TAG_NAME, "button").click()
                self.assertEqual((head.get_attribute("aria-sort"), self.column(table, place)), (state, expected))

    def check_printing(self):
        """Paper gets every column of every table, in parts where it is too narrow."""
        heads = "[...document.querySelectorAll('{}')].map(table => [...table.tHead.rows[0].cells].map(head => head.innerText))"
        run = self.browser.execute_script
        given = run("return " + heads.format("table"))
        run("window.dispatchEvent(new Event('beforeprint'))")
        whole, parts = run("return " + heads.format("table:not(.part, .folded)")), run("return " + heads.format(".part"))
        if any("long" in name for table in given for name in table):
            self.assertTrue(parts)
        for table in given:
            self.assertTrue(table in whole or all([table[0], name] in parts or any(name in part for part in parts)
                                                  for name in table), table)
        run("window.dispatchEvent(new Event('afterprint'))")
        self.assertEqual(run("return " + heads.format("table")), given)

    def check_command(self):
        """The command that the page shows writes the page, wherever its output goes."""
        command = self.browser.find_element(By.TAG_NAME, "code").text
        again = subprocess.run(["sh", "-c", command.replace("vexa-stats", shlex.quote(running.PROGRAM), 1)], cwd=self.folder,
                               check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.assertEqual((self.folder / "page.html").read_bytes(), again.stdout)

    def check_pointing(self):
        """Each cell of the heat map tells what the table has."""
        told, held = self.browser.execute_script("""
            const picture = document.querySelector('svg'), grid = JSON.parse(picture.dataset.grid), told = [], held = [];
            const [rows, heads] = [document.querySelector('tbody').rows, document.querySelector('thead tr').cells];
            const at = (start, size, place, count) => start + size * (place + 0.5) / count;
            grid.rows.forEach((row, y) => grid.cols.forEach((col, x) => {
              const point = new DOMPoint(at(grid.left, grid.width, x, grid.cols.length), at(grid.top, grid.height, y, grid.rows.length))
                .matrixTransform(picture.getScreenCTM());
              picture.dispatchEvent(new PointerEvent('pointermove', {clientX: point.x, clientY: point.y}));
              told.push(document.querySelector('.tip').innerText);
              held.push(`${rows[row].cells[0].innerText}, ${heads[col + 1].innerText}: ${rows[row].cells[col + 1].innerText.trim()}`);
            }));
            return [told, held];""")
        self.assertEqual(told, held)
        self.assertGreaterEqual(len(told), 9)

    def check_copy(self, args):
        self.browser.execute_script(
            "Object.defineProperty(navigator, 'clipboard', {value: {writeText: (text) => { window.copied = text; }}});"
            "document.querySelector('section button').click()")
        copied = [line.split("\t") for line in self.browser.execute_script("return window.copied").splitlines()]
        args = [arg for arg in args if arg not in ("--order", "cluster")]
        table = self.succeed(*args, "--format", "csv", "given.csv").out
        self.assertEqual(copied, [[cell or "NA" for cell in row] for row in csv.reader(io.StringIO(table))])


if __name__ == "__main__":
    running.main()
