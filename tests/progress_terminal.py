"""tabrun --csv in a pseudo-terminal that shows both the rows and the progress line: the line is
redrawn on the clock, at most every 0.2 s, not after every row that took it away. A log in a
named pipe, fed after 1.5 s, holds the rows back until the line is due; then 3,000 rows come.
Usage: python3 tests/progress_terminal.py [--emulator 'COMMAND ARGS'] TABRUN"""
import os
import select
import shlex
import subprocess
import sys
import tempfile
import threading
import time

LOG = b" Control file *.pcr: r\n Normal end\n CPU Time: 1\n"
ROWS = 3000
HOLD = 1.5  # seconds; the line is first drawn after 1


def feed(pipe, start):
    with open(pipe, "wb") as writer:  # waits for tabrun to open the pipe
        time.sleep(max(0.0, start + HOLD - time.monotonic()))
        writer.write(LOG)


def run(command):
    """Runs `command` with standard output and error on one pseudo-terminal; returns what it
    wrote there and how long it took."""
    master, slave = os.openpty()
    start = time.monotonic()
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=slave, stderr=slave)
    os.close(slave)
    chunks = []
    while time.monotonic() < start + 120:
        if not select.select([master], [], [], 1)[0]:
            continue
        try:
            chunk = os.read(master, 1 << 16)
        except OSError:  # Linux: the last writer has closed the terminal
            break
        if not chunk:
            break
        chunks.append(chunk)
    process.kill()  # only after the time limit is it still there
    process.wait()
    os.close(master)
    return b"".join(chunks), time.monotonic() - start


def main():
    emulator = shlex.split(sys.argv[2]) if sys.argv[1] == "--emulator" else []
    with tempfile.TemporaryDirectory() as scratch:
        rest = os.path.join(scratch, "rest")
        os.mkdir(rest)
        for i in range(ROWS):
            with open(os.path.join(rest, f"r{i:04}.log"), "wb") as log:
                log.write(LOG)
        pipe = os.path.join(scratch, "held.log")
        os.mkfifo(pipe)
        start = time.monotonic()
        threading.Thread(target=feed, args=(pipe, start), daemon=True).start()
        out, seconds = run(emulator + [sys.argv[-1], "--csv", pipe, rest])
    rows = out.count(b",ok,")
    draws = out.count(b" logs, ")
    most = int(seconds / 0.2) + 2
    print(f"{rows} rows, {draws} progress lines in {seconds:.2f} s (at most {most})")
    if rows != ROWS + 1 or not 1 <= draws <= most:
        sys.exit("progress_terminal: FAILED")


if __name__ == "__main__":
    main()
