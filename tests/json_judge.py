"""Python's json module judges tabrun --json on logs whose names and control file names are
random bytes: every line must parse, and every string must be what Python makes of the same
bytes (UTF-8, one U+FFFD per broken stretch).
Usage: python3 tests/json_judge.py [--emulator 'COMMAND ARGS'] TABRUN"""
import json
import os
import random
import shlex
import subprocess
import sys
import tempfile

PIECES = [b"\xe2\x82", b"\xe2\x82\xac", b"\xf0\x9f\x98\x80", b"\xed\xa0\x80", b"\xc0\xaf",
          b"\xf4\x90\x80\x80", b"\\", b'"', b"\x7f", b"\x1b", b"\r", b"\n", b"\t"]
BYTES = [bytes([b]) for b in range(1, 256) if b != ord("/")]


def noise(rng, length):
    return b"".join(rng.choice(PIECES if rng.random() < 0.3 else BYTES) for _ in range(length))


def main():
    rng = random.Random(16)
    expected = {}
    with tempfile.TemporaryDirectory() as batch:
        for _ in range(300):
            name = noise(rng, rng.randint(1, 30)).lstrip(b".") + b".log"
            control = noise(rng, rng.randint(1, 20)).translate(bytes.maketrans(b"\r\n", b"__"))
            control = control.strip(b" ")
            with open(os.path.join(batch.encode(), name), "wb") as log:
                log.write(b" Control file *.pcr: " + control + b"\n Normal end\n CPU Time: 2\n")
            expected[name] = control + b".pcr"  # a name drawn twice is written twice
        emulator = shlex.split(sys.argv[2]) if sys.argv[1] == "--emulator" else []
        out = subprocess.run(emulator + [sys.argv[-1], "--json", batch], capture_output=True,
                             check=True).stdout
    # The rows come sorted by the bytes of the names.
    want = [(f"{batch}/{os.fsdecode(name)}".encode("utf-8", "surrogateescape")
             .decode("utf-8", "replace"), control.decode("utf-8", "replace"))
            for name, control in sorted(expected.items())]
    got = [(row["log"], row["control_file"]) for row in map(json.loads, out.splitlines())]
    wrong = [pair for pair in zip(want, got) if pair[0] != pair[1]]
    if wrong or len(got) != len(want):
        sys.exit(f"json_judge: {len(got)} rows for {len(want)} logs; first wrong: {wrong[:1]!r}")
    print(f"json_judge: {len(got)} rows parse and hold the expected strings")


main()
