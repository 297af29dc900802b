"""Rows read back with --from-rows are written as they were. For the logs of every end-to-end case
of --csv, --json or --html, and of a batch of names made of random bytes: --csv and --json of the
rows of --csv and of --json give the bytes that --csv and --json give over the logs (CSV of JSON
rows: with U+FFFD for bytes that are not UTF-8, which JSON cannot hold), rows of the 1.3.0 column
set give today's rows with the three last columns empty, --html of the rows carries the same
columns and counts as --html over the logs, and every exit status is the one over the logs; the
JSON strings of the random names are what Python makes of their bytes.
Usage: python3 tests/rows_round_trip.py [--emulator 'COMMAND ARGS'] [--platform NAME] TABRUN"""
import csv
import io
import json
import os
import random
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

CASES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "cases")
OLD_COLUMNS = 16  # log to last_record: the rows of tabrun 1.3.0


def run(command, cwd, env, stdin=None):
    done = subprocess.run(command, cwd=cwd, env=env, input=stdin, capture_output=True,
                          stdin=subprocess.DEVNULL if stdin is None else None, timeout=300)
    return done.stdout, done.returncode


def page_parts(page):
    """What a page says of its rows: its packed columns and its header's counts, CPU and best."""
    text = page.decode("utf-8")
    columns = re.search(r'"columns":\[.*?\],"tails"', text, re.S)
    header = re.search(r'<p id="counts">.*?</header>', text, re.S)
    return columns and columns.group(0), header and header.group(0)


def parsed(rows):
    return list(csv.reader(io.StringIO(rows.decode("utf-8", "surrogateescape"), newline="")))


def old_csv(rows):
    """The rows cut to the 1.3.0 column set, as Python writes CSV (CR LF line ends)."""
    out = io.StringIO(newline="")
    csv.writer(out).writerows(row[:OLD_COLUMNS] for row in parsed(rows))
    return out.getvalue().encode("utf-8", "surrogateescape")


def old_json(rows):
    """The JSON rows cut to the 1.3.0 column set: no string holds ',"' unescaped."""
    return b"".join(line[:line.index(b',"reason":')] + b"}\n" for line in rows.splitlines())


def check_batch(name, tabrun, over_logs, env):
    """Every check on the rows of a batch; over_logs(mode) runs tabrun over its logs."""
    files = tempfile.mkdtemp(prefix="tabrun-rows.")
    try:
        out = {}
        for mode in ("csv", "json", "html"):
            out[mode] = over_logs(mode)
            with open(os.path.join(files, f"all.{mode}"), "wb") as f:
                f.write(out[mode][0])
        status = out["csv"][1]
        wrong = []
        for source in ("csv", "json"):
            path = os.path.join(files, f"all.{source}")
            for mode in ("csv", "json"):
                want = out[mode][0]
                if source == "json" and mode == "csv":  # JSON holds U+FFFD for broken bytes
                    want = want.decode("utf-8", "replace").encode()
                got = run(tabrun + [f"--{mode}", "--from-rows", path], files, env)
                if got != (want, status):
                    wrong.append(f"--{mode} of the {source} rows")
            page = run(tabrun + ["--html", "--from-rows", path], files, env)
            if page[1] != status or page_parts(page[0]) != page_parts(out["html"][0]):
                wrong.append(f"--html of the {source} rows")
        # Rows of 1.3.0, through standard input: today's, their last three columns empty.
        for source, cut in (("csv", old_csv), ("json", old_json)):
            rows = out["csv"][0]
            if source == "json":
                rows = rows.decode("utf-8", "replace").encode()
            got = run(tabrun + ["--csv", "--from-rows"], files, env, cut(out[source][0]))
            want = [row[:OLD_COLUMNS] + [""] * 3 for row in parsed(rows)[1:]]
            if got[1] != status or parsed(got[0])[1:] != want:
                wrong.append(f"the {source} rows of 1.3.0")
        if wrong or not out["csv"][0]:
            sys.exit(f"rows round trip: {name}: {', '.join(wrong) or 'no rows'} differ")
        return out["csv"][0].count(b"\n") - 1
    finally:
        shutil.rmtree(files)


def over_case(case, command, env):
    """Runs `command` in a fresh copy of the case's work directory, as the case runner does."""
    scratch = tempfile.mkdtemp(prefix="tabrun-case.")
    try:
        work = os.path.join(scratch, "work")
        if os.path.isdir(os.path.join(case, "work")):
            shutil.copytree(os.path.join(case, "work"), work, symlinks=True)
        else:
            os.mkdir(work)
        if os.path.exists(os.path.join(case, "setup")):
            subprocess.run(["bash", os.path.join(case, "setup")], cwd=work, check=True)
        return run(command, work, env)
    finally:
        subprocess.run(["chmod", "-R", "u+rwX", scratch])
        shutil.rmtree(scratch)


def random_names(batch):
    """300 logs whose names and control file names are random bytes, a third with a CPU time
    that is not a number; returns the name and control file name each row must hold in JSON:
    UTF-8, one U+FFFD per broken stretch, as Python decodes them."""
    rng = random.Random(16)
    pieces = [b"\xe2\x82", b"\xe2\x82\xac", b"\xf0\x9f\x98\x80", b"\xed\xa0\x80", b"\xc0\xaf",
              b"\xf4\x90\x80\x80", b"\\", b'"', b",", b"\x7f", b"\x1b", b"\r", b"\n", b"\t"]
    single = [bytes([b]) for b in range(1, 256) if b != ord("/")]
    noise = lambda length: b"".join(rng.choice(pieces if rng.random() < 0.3 else single)
                                    for _ in range(length))
    expected = []
    for i in range(300):
        name = b"%03d" % i + noise(rng.randint(1, 30)) + b".log"
        control = noise(rng.randint(1, 20)).translate(bytes.maketrans(b"\r\n", b"__")).strip(b" ")
        with open(os.path.join(batch.encode(), name), "wb") as log:
            log.write(b" Control file *.pcr: " + control + b"\n Normal end\n"
                      + (b" CPU Time: %d\n" % i if i % 3 else b" CPU Time: x\n"))
        expected.append((name.decode("utf-8", "replace"),
                         (control + b".pcr").decode("utf-8", "replace")))
    return expected


def main():
    argv = sys.argv[1:]
    emulator, platform = [], "linux"
    while argv[0].startswith("--"):
        if argv[0] == "--emulator":
            emulator = shlex.split(argv[1])
        else:
            platform = argv[1]
        argv = argv[2:]
    tabrun = emulator + [os.path.abspath(argv[0])]
    env = {"PATH": "/usr/bin:/bin", "LC_ALL": "C", "SOURCE_DATE_EPOCH": "0"}
    checked = 0
    for name in sorted(os.listdir(CASES)):
        case = os.path.join(CASES, name)
        args = open(os.path.join(case, "args"), "rb").read().decode().split("\n")[:-1] \
            if os.path.exists(os.path.join(case, "args")) else []
        platforms = os.path.join(case, "platforms")
        usage = open(os.path.join(case, "expect", "status")).read().strip() == "2"
        modes = ("--csv", "--c", "--json", "--html")
        if (usage or not args or args[0] not in modes or {"--from-rows", "--compare", "--watch"} & set(args)
                or (os.path.exists(platforms) and platform not in open(platforms).read().split())):
            continue
        case_env = dict(env)
        if os.path.exists(os.path.join(case, "env")):
            case_env.update(line.split("=", 1)
                            for line in open(os.path.join(case, "env")).read().splitlines())
        # The case's mode options give way to each mode in turn.
        paths = [a for a in args if not (a.startswith("--c") and "--csv".startswith(a))
                 and a not in modes]
        checked += check_batch(name, tabrun, lambda mode: over_case(
            case, tabrun + [f"--{mode}"] + paths, case_env), env)
    with tempfile.TemporaryDirectory() as batch:
        expected = random_names(batch)
        checked += check_batch("random names", tabrun,
                               lambda mode: run(tabrun + [f"--{mode}", "."], batch, env), env)
        # Python's json module judges the JSON rows, sorted by the bytes of the names.
        rows = map(json.loads, run(tabrun + ["--json", "."], batch, env)[0].splitlines())
        got = [(row["log"], row["control_file"]) for row in rows]
        if got != expected:
            wrong = [pair for pair in zip(got, expected) if pair[0] != pair[1]]
            sys.exit(f"rows round trip: {len(got)} JSON rows; first wrong: {wrong[:1]!r}")
    print(f"rows round trip: {checked} rows come back as they were, in CSV, JSON and the page")


main()
