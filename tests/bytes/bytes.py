#!/usr/bin/env python3
"""bytes.py [--short] [--renew ENTRY [--without LEVEL]…] BUILD…: the same input gives the bytes of the table, whoever computes them.

Runs the program of every build folder over generated inputs: every number of threads, every instruction set, from a
file and from a pipe, and compares the SHA-256 of the result with table.sha256. Each run must say that it used the threads
and the instruction set that it was to use. --short takes the quick inputs, each alternately from a file and a pipe.

--renew writes the table, of what all configurations agree on. ENTRY is a whole entry of the changelog's unreleased part and
says why results change; the table names it, and no table is good without it. A machine that lacks an instruction set renews
nothing, unless --without names the level that then nobody has verified.
"""

import argparse
import concurrent.futures
import gzip
import hashlib
import itertools
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import typing

TREE = pathlib.Path(__file__).resolve().parents[2]
TABLE = pathlib.Path(__file__).with_name("table.sha256")
THREADS = (1, 2, 3, 7, 16)
LEVELS = ("own", "plain", "baseline", "v3", "v4")  # own: the program as it is, with what the library chooses
# Of a result with several tables, those whose numbers need no more than the four operations and a root.
PLAIN_TABLES = {"means", "sds", "covariance", "within", "between", "total"}
FEW = (1, 2, 23, 24, 25, 257)  # rows around those at which the plain loops hand over
LACKING = 77  # exit code of atlevel.cpp
FEWEST_CHUNKS = 17  # so that each of 16 threads has one
PLAN = re.compile(r"(\d+) threads?, chunks of (\d+) rows, batches of \d+, instruction set (\w+)")
ROWS = re.compile(r"([\d,]+) rows? read")


class Pools:
    """Texts drawn from integers alone, so that neither a locale nor a library of functions has a say in them."""

    def __init__(self):
        self._state = 20_251
        self._sizes = (size for size in itertools.count(401) if all(size % k for k in range(2, 30)))

    def below(self, bound):
        self._state = (self._state * 6364136223846793005 + 1442695040888963407) % 2**64
        return (self._state >> 33) % bound

    def numbers(self, digits, places, offset=0):
        """A column's pool: no two have the same length, so that the rows of their cycles differ."""
        def number():
            value = offset * 10**places + self.below(10**digits)
            sign = "-" if offset == 0 and self.below(2) else ""
            return f"{sign}{value // 10**places}" + (f".{value % 10**places:0{places}d}" if places else "")
        return [number() for _ in range(next(self._sizes))]

    def choices(self, *texts):
        return [texts[self.below(len(texts))] for _ in range(next(self._sizes))]

    def with_gaps(self, pool, one_in):
        return ["NA" if self.below(one_in) == 0 else text for text in pool]


def table(rows, names, pools, delimiter=",", newline="\n"):
    lines = itertools.islice(map(delimiter.join, zip(*map(itertools.cycle, pools))), rows)
    return newline.join([*([delimiter.join(names)] if names else []), *lines, ""]).encode()


def names(pools):
    return [f"x{col}" for col in range(1, len(pools) + 1)]


def inputs():
    """The contents of all input files, by their names."""
    draw = Pools()
    weights = [draw.choices("1", "2", "3.25", "1", "0.001", "12345.5", "0"), draw.choices("0.25", "1e-3", "7", "1", "NA")]
    mixed = [draw.numbers(3, 0), draw.numbers(6, 3), draw.numbers(9, 2), draw.numbers(15, 14), draw.choices("1e-7", "-2.5E+8", "+.5", "4e150")[:7]]
    files = {"plain": table(140_000, names(mixed[:4]), mixed[:4]), "huge": table(300_000, names(mixed), mixed)}
    files["weights"] = table(140_000, ["x1", "x2", "x3", "w", "r"], mixed[1:4] + weights)
    gaps = [draw.with_gaps(draw.numbers(digits, digits // 2), one_in) for digits, one_in in ((3, 10), (4, 3), (5, 100), (6, 2))]
    files["gaps"] = table(140_000, ["w", "r", *names(gaps)], weights + gaps)
    # Columns that are missing together, twelve by four gaps, and lone ones among them.
    together = [[f"{draw.below(1000)}" if text != "NA" else text for text in gaps[col % 4]] for col in range(12)] + gaps + [draw.numbers(4, 1)]
    files["together"] = table(140_000, names(together), together)
    group = draw.choices("north", "south", "east", "west", '"far, far"', "NA")
    files["groups"] = table(140_000, ["g", "w", *names(mixed[:3])], [group, weights[0], *mixed[:3]])
    many = draw.choices(*map(str, range(300)))
    files["many groups"] = table(260_000, ["g", *names(mixed[1:4])], [many, *mixed[1:4]])
    # A mean treats a run of equal values ahead of the others apart; the last column varies in the 15th digit alone.
    offsets = [draw.numbers(3, 3, 10**9), draw.numbers(4, 4, -(10**6)), ["7.25"] * 5000 + draw.numbers(2, 1, 7), draw.numbers(1, 0, 10**14)]
    files["offsets"] = table(140_000, names(offsets), offsets)
    files["offsets with gaps"] = table(140_000, names(offsets), [draw.with_gaps(pool, 8) for pool in offsets])
    wide = [draw.numbers(3, 1) for _ in range(66)]
    files["wide"] = table(18_000, names(wide), wide)
    wider = [draw.with_gaps(draw.numbers(4, 2), 20 + col) for col in range(100)]
    files["wider"] = table(18_000, names(wider), wider)
    for rows in FEW:
        files[f"{rows} rows"] = table(rows, names(wide[:9]), wide[:9])
    comma = [['"' + text.replace(".", ",") + '"' if row % 3 else text.replace(".", ",") for row, text in enumerate(pool)] for pool in mixed[:4]]
    files["quoted"] = table(140_000, ["label", "x1", '"x;2"', '"x""3"', "x4"], [["plain", '"two\r\nlines; one"'] + ["a"] * 9, *comma], ";", "\r\n")
    files["tabs without a header"] = table(140_000, None, mixed[:4], "\t")
    # Groups that begin in late chunks, far from each other.
    apart = [draw.numbers(4, 2, 10**6 * group**2) for group in range(12)]
    in_order = [[f"g{row // 12_000}" for row in range(140_000)], [apart[row // 12_000][row % 400] for row in range(140_000)]]
    files["groups in order"] = table(140_000, ["g", "x1", "x2"], [*in_order, mixed[1]])
    files["compressed"] = gzip.compress(files["plain"], compresslevel=1, mtime=0)
    return files


class Case(typing.NamedTuple):
    input: str
    arguments: str
    quick: bool

    @property
    def name(self):
        return f"{self.input}: {self.arguments}"


# By input, what is asked of it; a star marks the quick ones.
CASES = [Case(name, arguments.removeprefix("* "), arguments.startswith("*")) for name, asked in {
    "plain": ("* sums", "sums --extremes", "sums -m pairwise"),
    "huge": ("sums --extremes",),
    "weights": ("* sums -c x1:x3 -w w -r r --extremes", "sums -c x1:x3 -w w", "sums -c x1:x3 -r r"),
    "gaps": ("sums -c x1:x4 -w w -r r", "* sums -c x1:x4 -m pairwise -w w -r r --extremes", "sums -c x1:x4 -m pairwise -w w",
             "sums -c x1:x4 -m pairwise", "describe -c x1:x4 -w w -r r"),
    "together": ("sums -m pairwise --extremes",),
    "groups": ("describe --by g -w w -c x1:x3", "* groups --by g -w w -c x1:x3"),
    "many groups": ("groups --by g",),
    "groups in order": ("* groups --by g",),
    "offsets": ("* sums",),
    "offsets with gaps": ("* sums -m pairwise",),
    "wide": ("* sums", "cov --rows 1:21 --cols 22:66", "* sums -m pairwise -c 1:24", "cov --rows 60,61,62 --cols 1:59 -m pairwise"),
    "wider": ("sums -m pairwise", "sums -c 1:3,90:100"),
    **{f"{rows} rows": ("sums", "sums -m pairwise") for rows in FEW},
    "quoted": ("* sums --decimal ,",),
    "tabs without a header": ("sums --no-header",),
    "compressed": ("* sums",),
}.items() for arguments in asked]


class Configuration(typing.NamedTuple):
    build: pathlib.Path
    level: str
    threads: int
    piped: bool

    def __str__(self):
        return f"{self.build.name}, {self.level}, {self.threads} threads, {'pipe' if self.piped else 'file'}"


class Fault(Exception):
    """A run that was not what it was to be."""


def result(case, configuration, folder):
    """The SHA-256 of the result, and the instruction set in use; nothing where the machine lacks the one wanted."""
    command = [configuration.build / "host/vexa-stats", *shlex.split(case.arguments), "-f", "csv", "--verbose",
               "-t", str(configuration.threads), "-" if configuration.piped else folder / case.input]
    environment = {"PATH": os.environ["PATH"]}
    if configuration.level != "own":
        environment |= {"LD_PRELOAD": str(configuration.build / "tests/bytes/libatlevel.so"), "VEXA_TEST_LEVEL": configuration.level}
    feeder = subprocess.Popen(["cat", folder / case.input], stdout=subprocess.PIPE) if configuration.piped else None
    run = subprocess.run(command, stdin=feeder.stdout if feeder else subprocess.DEVNULL, env=environment, capture_output=True, check=False)
    if feeder:
        feeder.stdout.close()
        feeder.wait()
    said = run.stderr.decode()
    if run.returncode == LACKING and configuration.level in ("v3", "v4"):
        return None, None
    if run.returncode != 0:
        raise Fault(f"exit code {run.returncode}\n{said}")
    plan, rows = PLAN.search(said), ROWS.search(said)
    if not plan or not rows:
        raise Fault(f"it tells no plan\n{said}")
    threads, chunk, level = plan.groups()
    if int(threads) != configuration.threads or configuration.level not in ("own", level):
        raise Fault(f"ran on {threads} threads and instruction set {level}")
    if not case.input.endswith(" rows") and int(rows[1].replace(",", "")) < FEWEST_CHUNKS * int(chunk):
        raise Fault(f"{rows[1]} rows in chunks of {chunk} are too few for {THREADS[-1]} threads")
    lines = run.stdout.splitlines(True)
    if case.arguments.startswith("groups"):
        tables = PLAIN_TABLES | ({"groups"} if case.input == "groups" else set())
        lines = [line for line in lines if line.split(b",")[0].decode() in tables]
        if {line.split(b",")[0].decode() for line in lines} != tables:
            raise Fault("lacks a table")
    return hashlib.sha256(b"".join(lines)).hexdigest(), level


def configurations(builds, short):
    """All there are of the first build. Of others, and in short, each is either from a file or from a pipe, in turn."""
    for build in builds:
        for number, (level, threads) in enumerate(itertools.product(LEVELS, THREADS)):
            for piped in (number % 2 == 1,) if short or build != builds[0] else (False, True):
                yield Configuration(build, level, threads, piped)


def read_table():
    """The entry of the changelog, and the digests by case."""
    first, *lines = TABLE.read_text(encoding="utf-8").splitlines()
    return first.removeprefix("# "), {name: digest for digest, name in (line.split("  ", 1) for line in lines)}


def changelog_entries(unreleased):
    """All, or those of the part that is not released: each on one line."""
    text = (TREE / "CHANGELOG.md").read_text(encoding="utf-8")
    if unreleased:
        text = re.search(r"^## Unreleased\n(.*?)(?=^## |\Z)", text, re.M | re.S)[1]
    return {" ".join(entry.split()) for entry in re.findall(r"^- (.*(?:\n  .*)*)", text, re.M)}


def run_all(cases, wanted):
    """By case the digests, each with the configurations that gave it; the levels lacking and those chosen; the faults."""
    digests, lacking, chosen, faults = {case.name: {} for case in cases}, set(), set(), []
    with tempfile.TemporaryDirectory() as name, concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        folder = pathlib.Path(name)
        for file, content in inputs().items():
            if any(case.input == file for case in cases):
                (folder / file).write_bytes(content)
        jobs = {pool.submit(result, case, configuration, folder): (case, configuration)
                for case, configuration in itertools.product(cases, wanted)}
        for job in concurrent.futures.as_completed(jobs):
            case, configuration = jobs[job]
            try:
                digest, level = job.result()
            except Fault as fault:
                faults.append(f"{case.name} [{configuration}]: {fault}")
                continue
            if digest is None:
                lacking.add(configuration.level)
                continue
            digests[case.name].setdefault(digest, []).append(configuration)
            if configuration.level == "own":
                chosen.add(level)
    return digests, lacking, chosen, faults


def differences(digests, right):
    """The cases that gave other bytes than those that are right."""
    for case, found in digests.items():
        if case not in right:
            yield f"{case}: not in the table"
            continue
        for digest, who in found.items():
            if digest != right[case]:
                yield (f"{case}: other bytes in {len(who)} of {sum(map(len, found.values()))} runs: "
                       + "; ".join(map(str, who[:4])) + ("; …" if len(who) > 4 else ""))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--renew", metavar="ENTRY", type=lambda text: " ".join(text.split()))
    parser.add_argument("--without", metavar="LEVEL", action="append", default=[], choices=("v3", "v4"))
    parser.add_argument("builds", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    if options.renew is not None and options.short:
        parser.error("--renew takes all cases")
    before, expected = read_table()
    entry = before if options.renew is None else options.renew
    if entry not in changelog_entries(unreleased=options.renew is not None):
        print(f'bytes: the changelog has no such entry, which is to tell why results change: "{entry}"')
        return 1
    cases = [case for case in CASES if case.quick or not options.short]
    wanted = list(configurations([build.resolve() for build in options.builds], options.short))
    digests, lacking, chosen, faults = run_all(cases, wanted)
    best = [level for level in LEVELS if level not in lacking][-1]
    if chosen != {best}:
        faults.append(f"the library chooses {', '.join(sorted(chosen))}, the best is {best}")
    right = expected
    if options.renew is not None:
        right = {case: max(found, key=lambda digest: len(found[digest])) for case, found in digests.items() if found}
        faults += [f"{level}: its instructions are not verified here; --without {level} renews all the same"
                   for level in sorted(lacking.difference(options.without))]
        if entry == before:
            faults += [f"{case}: changed since the entry was written: it takes another one"
                       for case in right if expected.get(case, right[case]) != right[case]]
    elif not options.short:
        faults += [f"{case}: in the table, and no case" for case in expected.keys() - digests.keys()]
    faults += differences(digests, right)
    for level in sorted(lacking):
        print(f"bytes: not checked, as this machine lacks its instructions: {level}")
    print(*faults, sep="\n", end="\n" if faults else "")
    runs = sum(len(who) for found in digests.values() for who in found.values())
    print(f"bytes: {len(cases)} results, {len(wanted)} configurations, {runs} runs, {len(faults)} faults")
    if faults:
        print("bytes: a change of bits is a defect, or the changelog says why and the table is renewed: scripts/verify-bytes --renew")
        return 1
    if options.renew is not None:
        TABLE.write_text("\n".join([f"# {entry}", *(f"{digest}  {case}" for case, digest in right.items()), ""]), encoding="utf-8")
        print(f"bytes: wrote {TABLE.relative_to(TREE)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
