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
    with tempfile.TemporaryDirectory(prefix="tabrun-rows.") as files:
        out = {mode: over_logs(mode) for mode in ("csv", "json", "html")}
        status, wrong = out["csv"][1], []
        for source in ("csv", "json"):
            path = os.path.join(files, f"all.{source}")
            with open(path, "wb") as f:
                f.write(out[source][0])
            for mode in ("csv", "json"):
                want = out[mode][0]
                if source == "json" and mode == "csv":  # JSON holds U+FFFD for broken bytes
                    want = want.decode("utf-8", "replace").encode()
                if run(tabrun + [f"--{mode}", "--from-rows", path], files, env) != (want, status):
                    wrong.append(f"--{mode} of the {source} rows")
            page = run(tabrun + ["--html", "--from-rows", path], files, env)
            if page[1] != status or page_parts(page[0]) != page_parts(out["html"][0]):
                wrong.append(f"--html of the {source} rows")
            # Rows of 1.3.0, through standard input: today's, their last three columns empty.
            got = run(tabrun + ["--csv", "--from-rows"], files, env,
                      (old_csv if source == "csv" else old_json)(out[source][0]))
            rows = out["csv"][0].decode("utf-8", "replace").encode() if source == "json" \
                else out["csv"][0]
            if got[1] != status or parsed(got[0])[1:] != [row[:OLD_COLUMNS] + [""] * 3
                                                         for row in parsed(rows)[1:]]:
                wrong.append(f"the {source} rows of 1.3.0")
    if wrong or not out["csv"][0]:
        sys.exit(f"rows round trip: {name}: {', '.join(wrong) or 'no rows'} differ")
    return out["csv"][0].count(b"\n") - 1


def over_case(case, command, env):
    """Runs `command` in a fresh copy of the case's work directory, as the case runner does."""
    with tempfile.TemporaryDirectory(prefix="tabrun-case.") as scratch:
        work = os.path.join(scratch, "work")
        if os.path.isdir(case("work")):
            shutil.copytree(case("work"), work, symlinks=True)
        else:
            os.mkdir(work)
        if os.path.exists(case("setup")):
            subprocess.run(["bash", case("setup")], cwd=work, check=True)
        try:
            return run(command, work, env)
        finally:
            subprocess.run(["chmod", "-R", "u+rwX", scratch])


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
    options = dict(zip(argv[:-1:2], argv[1:-1:2]))  # --emulator 'COMMAND ARGS', --platform NAME
    tabrun = shlex.split(options.get("--emulator", "")) + [os.path.abspath(argv[-1])]
    platform = options.get("--platform", "linux")
    env = {"PATH": "/usr/bin:/bin", "LC_ALL": "C", "SOURCE_DATE_EPOCH": "0"}
    checked = 0
    for name in sorted(os.listdir(CASES)):
        case = lambda file: os.path.join(CASES, name, file)
        text = lambda file: open(case(file), encoding="utf-8", newline="").read() \
            if os.path.exists(case(file)) else ""
        args, modes = text("args").split("\n")[:-1], ("--csv", "--c", "--json", "--html")
        if (text("expect/status") == "2\n" or args[:1] not in [[m] for m in modes]
                or {"--from-rows", "--compare", "--watch"} & set(args)
                or platform not in (text("platforms") or platform).split()):
            continue
        paths = [a for a in args if not (a.startswith("--c") and "--csv".startswith(a))
                 and a not in modes]  # the case's mode options give way to each mode in turn
        case_env = dict(env, **dict(line.split("=", 1) for line in text("env").splitlines()))
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
