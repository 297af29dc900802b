"""tabrun --watch against logs written during the test. `view`: in a pseudo-terminal, whose
screen is rebuilt from what tabrun writes and checked as text, through a run that finishes, one
that dies, one cut in the middle of its CPU line, one that stops changing, a resize and Ctrl-C.
`rows`: --watch --csv into a pipe: the runs already ended first in natural order, then each as it
ends, once, and a rewritten one again. `page`: --html --watch, rewritten as runs change, and at
its end the very page --html writes of the logs as they stand, with no run running.
Usage: python3 tests/watch_test.py view|rows|page [--emulator 'COMMAND ARGS'] TABRUN"""
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
import time

OK = b" Control file *.pcr: r\n Chi2: 1.5 Rp: 2\n Normal end\n CPU Time: 12.5 s\n"
WAIT = 20  # seconds for anything to show


def write(folder, name, data, mode="wb"):
    with open(os.path.join(folder, name), mode) as log:
        log.write(data)


class Screen:
    """The text a VT terminal shows for what tabrun writes: the cursor moves, line ends and
    erasures that the view uses, the rest ignored."""

    def __init__(self, rows, columns):
        self.rows, self.columns = rows, columns
        self.cells = [[" "] * columns for _ in range(rows)]
        self.row = self.column = 0
        self.pending = ""

    def feed(self, data):
        text = self.pending + data.decode("utf-8", "replace")
        self.pending = ""
        i = 0
        while i < len(text):
            match = re.compile(r"\x1b\[([?0-9;]*)([A-Za-z])").match(text, i)
            if text[i] == "\x1b" and not match:
                self.pending = text[i:]  # the rest of the sequence comes later
                return
            if match:
                self.escape(match.group(1), match.group(2))
                i = match.end()
                continue
            self.put(text[i])
            i += 1

    def escape(self, argument, final):
        if final == "H":
            self.row = self.column = 0
        elif final == "K":
            self.cells[self.row][self.column:] = [" "] * (self.columns - self.column)
        elif final == "J":
            first = 0 if argument == "2" else self.row + 1
            if argument != "2":
                self.escape("", "K")
            for r in range(first, self.rows):
                self.cells[r] = [" "] * self.columns

    def put(self, char):
        if char == "\r":
            self.column = 0
        elif char == "\n":
            self.row = min(self.row + 1, self.rows - 1)
        elif self.column < self.columns:
            self.cells[self.row][self.column] = char
            self.column += 1

    def text(self):
        return "\n".join("".join(r).rstrip() for r in self.cells)


def view(command, folder):
    master, slave = os.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 20, 100, 0, 0))
    process = subprocess.Popen(command + ["--watch", "--running-for", "3", "."], cwd=folder,
                               stdin=slave, stdout=slave, stderr=slave)
    os.close(slave)
    screen = Screen(20, 100)
    seen = []

    def until(*wanted):
        end = time.monotonic() + WAIT
        while time.monotonic() < end:
            if all(w in screen.text() for w in wanted):
                return
            if select.select([master], [], [], 0.2)[0]:
                data = os.read(master, 1 << 16)
                seen.append(data)
                screen.feed(data)
        process.kill()
        sys.exit(f"watch_test: not on the screen: {wanted}\n{screen.text()}")

    until("4 logs: 2 running, 1 ok, 1 failed", "failed: bad_end 1",
          "bad_end dies.log: => Abnormal end of run: singular matrix", "best chi2 1.5 done.log")
    write(folder, "runs.log", b" Normal end\n CPU Time: 30 s\n", "ab")
    write(folder, "cut.log", b".5 s\n", "ab")
    write(folder, "stalls.log", b" Control file *.pcr: s\n cycle 1\n")
    until("5 logs: 1 running, 3 ok, 1 failed", "ended: 2 in the last minute, 2 since the start")
    # It stopped changing: after 3 s it is the failure it is.
    until("5 logs: 0 running, 3 ok, 2 failed", "bad_end stalls.log: stopped before")
    lines = screen.text().splitlines()
    if lines.index("newest failures:") + 1 != lines.index(
            'bad_end stalls.log: stopped before "Normal end" without an error message'):
        sys.exit("watch_test: the newest failure is not first\n" + screen.text())
    fcntl.ioctl(master, termios.TIOCSWINSZ, struct.pack("HHHH", 20, 12, 0, 0))
    screen = Screen(20, 12)
    until("5 logs: 0 ru")
    if any(len(line) > 12 for line in screen.text().splitlines()):
        sys.exit("watch_test: a line is wider than the terminal\n" + screen.text())
    process.send_signal(signal.SIGINT)
    status = process.wait(timeout=WAIT)
    try:
        while select.select([master], [], [], 0.5)[0]:
            seen.append(os.read(master, 1 << 16))
    except OSError:  # Linux: the last writer has closed the terminal
        pass
    os.close(master)
    tail = b"".join(seen)[-400:]
    clean = b"\x1b[?25h\x1b[?1049l" in tail and b"5 logs: 0 running, 3 ok, 2 failed\r\n" in tail
    if status != 0 or not clean:
        sys.exit(f"watch_test: status {status}, end of output {tail!r}")


def rows(command, folder):
    process = subprocess.Popen(command + ["--watch", "--csv", "--running-for", "5", "."],
                               cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    got = []
    partial = [b""]

    def until(count):
        end = time.monotonic() + WAIT
        while len(got) < count and time.monotonic() < end:
            if select.select([process.stdout], [], [], 0.2)[0]:
                *lines, partial[0] = (partial[0] + os.read(process.stdout.fileno(), 1 << 16)
                                      ).split(b"\n")
                got.extend(line.decode() + "\n" for line in lines)
        if len(got) < count:
            process.kill()
            sys.exit(f"watch_test: {len(got)} rows of {count}: {got}")

    until(4)
    write(folder, "runs.log", b" Normal end\n CPU Time: 30 s\n", "ab")  # ends
    write(folder, "T10K.log", b"\n", "ab")  # changed, still ok: no second row
    write(folder, "new.log", OK)  # replaces T5K, and ends
    os.rename(os.path.join(folder, "new.log"), os.path.join(folder, "T5K.log"))
    write(folder, "cut.log", b" Control file *.pcr: c\n Normal end\n CPU Time: 1")
    until(6)
    time.sleep(5)  # cut.log stopped changing
    until(7)
    process.send_signal(signal.SIGTERM)
    rest, errors = process.communicate(timeout=WAIT)
    got += (partial[0] + rest).decode().splitlines(keepends=True)
    names = [row.split(",")[0] + "," + row.split(",")[2] for row in got]
    wanted = ["log,status", "T2K.log,bad_end", "T5K.log,ok", "T10K.log,ok"]
    if names[:4] != wanted or sorted(names[4:6]) != ["T5K.log,ok", "runs.log,ok"] or \
            names[6:] != ["cut.log,ok"] or process.returncode != 0 or errors:
        sys.exit(f"watch_test: rows {names}, status {process.returncode}, {errors!r}")


def page(command, folder):
    live = os.path.join(folder, "live.html")
    epoch = dict(os.environ, SOURCE_DATE_EPOCH="1700000000")
    process = subprocess.Popen(command + ["--html", "--watch", "--output", live, "."], cwd=folder,
                               stderr=subprocess.PIPE, env=epoch)

    def until(wanted):
        end = time.monotonic() + WAIT
        while time.monotonic() < end:
            if os.path.exists(live):
                with open(live, "rb") as f:
                    text = f.read()
                if all(w in text for w in wanted):
                    return
            time.sleep(0.2)
        process.kill()
        sys.exit(f"watch_test: the page never held {wanted}")

    running = b'data-status="running">running <b>%d</b>'
    until([b'id="live"', b"3 logs:", running % 1])
    write(folder, "new.log", b" Control file *.pcr: n\n cycle 1\n")
    write(folder, "T5K.log", OK.replace(b"1.5", b"0.25"))
    until([b"4 logs:", running % 2])
    process.send_signal(signal.SIGINT)
    errors = process.communicate(timeout=WAIT)[1]
    with open(live, "rb") as f:
        last = f.read()
    plain = subprocess.run(command + ["--html", "."], cwd=folder, env=epoch,
                           stdout=subprocess.PIPE, check=False).stdout
    if last != plain or process.returncode != 0 or errors or os.path.exists(live + ".part"):
        sys.exit(f"watch_test: the last page is not that of --html ({len(last)} and "
                 f"{len(plain)} bytes), status {process.returncode}, {errors!r}")
    if b'id="live"' in last or b'data-status="running">' in last or b'bad_end <b>3</b>' not in last:
        sys.exit("watch_test: the last page is live, or still has running runs")


def main():
    emulator = shlex.split(sys.argv[3]) if sys.argv[2] == "--emulator" else []
    with tempfile.TemporaryDirectory() as folder:
        if sys.argv[1] == "view":
            write(folder, "done.log", OK)
            write(folder, "dies.log", b" Control file *.pcr: d\n => Abnormal end of run: "
                  b"singular matrix\n")
            write(folder, "runs.log", b" Control file *.pcr: r\n cycle 1\n")
            write(folder, "cut.log", b" Control file *.pcr: c\n Normal end\n CPU Time: 12")
            view(emulator + [sys.argv[-1]], folder)
        elif sys.argv[1] == "page":
            write(folder, "T5K.log", OK)
            write(folder, "T2K.log", b" Control file *.pcr: d\n => Abnormal end\n")
            write(folder, "runs.log", b" Control file *.pcr: r\n cycle 1\n")
            page(emulator + [sys.argv[-1]], folder)
        else:
            for name in ["T10K.log", "T5K.log"]:
                write(folder, name, OK)
            write(folder, "T2K.log", b" Control file *.pcr: d\n => Abnormal end\n")
            write(folder, "runs.log", b" Control file *.pcr: r\n cycle 1\n")
            rows(emulator + [sys.argv[-1]], folder)
    print(f"watch_test {sys.argv[1]}: passed")


if __name__ == "__main__":
    main()
