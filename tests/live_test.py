"""What tabrun writes while runs go on, against logs written during the test.
`progress`: --csv in a pseudo-terminal that shows both the rows and the progress line: the line
is redrawn on the clock, at most every 0.2 s, not after every row that took it away; a log in a
named pipe, fed after 1.5 s, holds the rows back until the line is due, then 3,000 rows come.
`view`: --watch in a pseudo-terminal, whose screen is rebuilt from what tabrun writes and checked
as text, through a run that finishes, one that dies, one cut in the middle of its CPU line, one
that stops changing, a resize and Ctrl-C. `rows`: --watch --csv into a pipe: the runs already
ended first in natural order, then each as it ends, once, and a rewritten one again. `page`:
--html --watch, rewritten as runs change, and at its end the very page --html writes of the logs
as they stand, with no run running.
Usage: python3 tests/live_test.py progress|view|rows|page [--emulator 'COMMAND ARGS'] TABRUN"""
import fcntl
import os
import re
import select
import shlex
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import time

OK = b" Control file *.pcr: r\n Chi2: 1.5 Rp: 2\n Normal end\n CPU Time: 12.5 s\n"
RUNS = b" Control file *.pcr: r\n cycle 1\n"
DIES = b" Control file *.pcr: d\n => Abnormal end\n"
WAIT = 20  # seconds for anything to show


def write(folder, name, data, mode="wb"):
    with open(os.path.join(folder, name), mode) as log:
        log.write(data)


def until(process, ready, what):
    """Waits up to WAIT seconds for ready(), which waits a moment itself; else kills `process`
    and fails with what()."""
    end = time.monotonic() + WAIT
    while not ready():
        if time.monotonic() > end:
            process.kill()
            sys.exit(f"live_test: {what()}")


def terminal(command, folder, columns):
    """`command` in `folder` on a new pseudo-terminal of 20 rows; returns it and the process."""
    master, slave = os.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 20, columns, 0, 0))
    process = subprocess.Popen(command, cwd=folder, stdin=slave, stdout=slave, stderr=slave)
    os.close(slave)
    return master, process


def drain(master, seconds, chunks):
    """Adds to `chunks` what the terminal shows until its last writer closes it, for at most
    `seconds`; then closes it."""
    end = time.monotonic() + seconds
    try:
        while (left := end - time.monotonic()) > 0:
            if select.select([master], [], [], left)[0]:
                if not (chunk := os.read(master, 1 << 16)):
                    break
                chunks.append(chunk)
    except OSError:  # Linux: the last writer has closed the terminal
        pass
    os.close(master)


class Screen:
    """The text a VT terminal shows for what tabrun writes: the cursor moves, line ends and
    erasures that the view uses, the rest ignored."""

    def __init__(self, rows, columns):
        self.rows, self.columns, self.pending = rows, columns, ""
        self.cells = [[" "] * columns for _ in range(rows)]
        self.row = self.column = 0

    def feed(self, data):
        text = self.pending + data.decode("utf-8", "replace")
        parts = re.split(r"(\x1b\[[?0-9;]*[A-Za-z])", text)
        cut = parts[-1].find("\x1b") % (len(parts[-1]) + 1)  # a sequence's rest comes later
        self.pending, parts[-1] = parts[-1][cut:], parts[-1][:cut]
        for part in parts:
            argument, final = (part[2:-1], part[-1]) if part.startswith("\x1b[") else ("", "")
            if final == "H":
                self.row = self.column = 0
            elif final == "K" or final == "J" and argument != "2":  # to the end of the line
                self.cells[self.row][self.column:] = [" "] * (self.columns - self.column)
            if final == "J":  # and the lines below, or every line
                for r in range(0 if argument == "2" else self.row + 1, self.rows):
                    self.cells[r] = [" "] * self.columns
            for char in part if not final else "":
                if char == "\r":
                    self.column = 0
                elif char == "\n":
                    self.row = min(self.row + 1, self.rows - 1)
                elif self.column < self.columns:
                    self.cells[self.row][self.column] = char
                    self.column += 1

    def text(self):
        return "\n".join("".join(r).rstrip() for r in self.cells)


def progress(command, folder):
    log, rows, hold = b" Control file *.pcr: r\n Normal end\n CPU Time: 1\n", 3000, 1.5
    os.mkdir(os.path.join(folder, "rest"))
    for i in range(rows):
        write(folder, f"rest/r{i:04}.log", log)
    os.mkfifo(os.path.join(folder, "held.log"))
    start = time.monotonic()

    def feed():  # the line is first drawn after 1 s
        with open(os.path.join(folder, "held.log"), "wb") as writer:  # once tabrun opens it
            time.sleep(max(0.0, start + hold - time.monotonic()))
            writer.write(log)

    threading.Thread(target=feed, daemon=True).start()
    master, process = terminal(command + ["--csv", "held.log", "rest"], folder, 80)
    chunks = []
    drain(master, 120, chunks)
    process.kill()
    process.wait()
    seconds, out = time.monotonic() - start, b"".join(chunks)
    most = int(seconds / 0.2) + 2
    print(f"{out.count(b',ok,')} rows, {out.count(b' logs, ')} progress lines in {seconds:.2f} s"
          f" (at most {most})")
    if out.count(b",ok,") != rows + 1 or not 1 <= out.count(b" logs, ") <= most:
        sys.exit("live_test: the progress line FAILED")


def view(command, folder):
    write(folder, "done.log", OK)
    write(folder, "dies.log", b" Control file *.pcr: d\n => Abnormal end of run: singular matrix\n")
    write(folder, "runs.log", RUNS)
    write(folder, "cut.log", b" Control file *.pcr: c\n Normal end\n CPU Time: 12")
    master, process = terminal(command + ["--watch", "--running-for", "3", "."], folder, 100)
    screen = Screen(20, 100)
    seen = []

    def shown(*wanted):
        def ready():
            if select.select([master], [], [], 0.2)[0]:
                seen.append(os.read(master, 1 << 16))
                screen.feed(seen[-1])
            return all(w in screen.text() for w in wanted)
        until(process, ready, lambda: f"not on the screen: {wanted}\n{screen.text()}")

    shown("4 logs: 2 running, 1 ok, 1 failed", "failed: bad_end 1",
          "bad_end dies.log: => Abnormal end of run: singular matrix", "best chi2 1.5 done.log")
    write(folder, "runs.log", b" Normal end\n CPU Time: 30 s\n", "ab")
    write(folder, "cut.log", b".5 s\n", "ab")
    write(folder, "stalls.log", b" Control file *.pcr: s\n cycle 1\n")
    shown("5 logs: 1 running, 3 ok, 1 failed", "ended: 2 in the last minute, 2 since the start")
    # It stopped changing: after 3 s it is the failure it is.
    shown("5 logs: 0 running, 3 ok, 2 failed", "bad_end stalls.log: stopped before")
    lines = screen.text().splitlines()
    if lines.index("newest failures:") + 1 != lines.index(
            'bad_end stalls.log: stopped before "Normal end" without an error message'):
        sys.exit("live_test: the newest failure is not first\n" + screen.text())
    fcntl.ioctl(master, termios.TIOCSWINSZ, struct.pack("HHHH", 20, 12, 0, 0))
    screen = Screen(20, 12)
    shown("5 logs: 0 ru")
    if any(len(line) > 12 for line in screen.text().splitlines()):
        sys.exit("live_test: a line is wider than the terminal\n" + screen.text())
    process.send_signal(signal.SIGINT)
    status = process.wait(timeout=WAIT)
    drain(master, 2, seen)
    tail = b"".join(seen)[-400:]
    clean = b"\x1b[?25h\x1b[?1049l" in tail and b"5 logs: 0 running, 3 ok, 2 failed\r\n" in tail
    if status != 0 or not clean:
        sys.exit(f"live_test: status {status}, end of output {tail!r}")


def rows(command, folder):
    for name, text in (("T10K.log", OK), ("T5K.log", OK), ("T2K.log", DIES), ("runs.log", RUNS)):
        write(folder, name, text)
    process = subprocess.Popen(command + ["--watch", "--csv", "--running-for", "5", "."],
                               cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    got, partial = [], [b""]

    def ready(count):
        if select.select([process.stdout], [], [], 0.2)[0]:
            data = partial[0] + os.read(process.stdout.fileno(), 1 << 16)
            *lines, partial[0] = data.split(b"\n")
            got.extend(line.decode() + "\n" for line in lines)
        return len(got) >= count

    until(process, lambda: ready(4), lambda: f"{len(got)} rows of 4: {got}")
    write(folder, "runs.log", b" Normal end\n CPU Time: 30 s\n", "ab")  # ends
    write(folder, "T10K.log", b"\n", "ab")  # changed, still ok: no second row
    write(folder, "new.log", OK)  # replaces T5K, and ends
    os.rename(os.path.join(folder, "new.log"), os.path.join(folder, "T5K.log"))
    write(folder, "cut.log", b" Control file *.pcr: c\n Normal end\n CPU Time: 1")
    until(process, lambda: ready(6), lambda: f"{len(got)} rows of 6: {got}")
    time.sleep(5)  # cut.log stopped changing
    until(process, lambda: ready(7), lambda: f"{len(got)} rows of 7: {got}")
    process.send_signal(signal.SIGTERM)
    rest, errors = process.communicate(timeout=WAIT)
    got += (partial[0] + rest).decode().splitlines(keepends=True)
    names = [row.split(",")[0] + "," + row.split(",")[2] for row in got]
    wanted = ["log,status", "T2K.log,bad_end", "T5K.log,ok", "T10K.log,ok"]
    if names[:4] != wanted or sorted(names[4:6]) != ["T5K.log,ok", "runs.log,ok"] or \
            names[6:] != ["cut.log,ok"] or process.returncode != 0 or errors:
        sys.exit(f"live_test: rows {names}, status {process.returncode}, {errors!r}")


def page(command, folder):
    for name, text in (("T5K.log", OK), ("T2K.log", DIES), ("runs.log", RUNS)):
        write(folder, name, text)
    live = os.path.join(folder, "live.html")
    epoch = dict(os.environ, SOURCE_DATE_EPOCH="1700000000")
    process = subprocess.Popen(command + ["--html", "--watch", "--output", live, "."], cwd=folder,
                               stderr=subprocess.PIPE, env=epoch)

    def holds(*wanted):
        def ready():
            time.sleep(0.2)
            return os.path.exists(live) and all(w in open(live, "rb").read() for w in wanted)
        until(process, ready, lambda: f"the page never held {wanted}")

    running = b'data-status="running">running <b>%d</b>'
    holds(b'id="live"', b"3 logs:", running % 1)
    write(folder, "new.log", RUNS)
    write(folder, "T5K.log", OK.replace(b"1.5", b"0.25"))
    holds(b"4 logs:", running % 2)
    process.send_signal(signal.SIGINT)
    errors = process.communicate(timeout=WAIT)[1]
    with open(live, "rb") as f:
        last = f.read()
    plain = subprocess.run(command + ["--html", "."], cwd=folder, env=epoch,
                           stdout=subprocess.PIPE, check=False).stdout
    if last != plain or process.returncode != 0 or errors or os.path.exists(live + ".part"):
        sys.exit(f"live_test: the last page is not that of --html ({len(last)} and "
                 f"{len(plain)} bytes), status {process.returncode}, {errors!r}")
    if b'id="live"' in last or b'data-status="running">' in last or b'bad_end <b>3</b>' not in last:
        sys.exit("live_test: the last page is live, or still has running runs")


def main():
    emulator = shlex.split(sys.argv[3]) if sys.argv[2] == "--emulator" else []
    with tempfile.TemporaryDirectory() as folder:
        {"progress": progress, "view": view, "rows": rows, "page": page}[sys.argv[1]](
            emulator + [os.path.abspath(sys.argv[-1])], folder)
    print(f"live_test {sys.argv[1]}: passed")


if __name__ == "__main__":
    main()
