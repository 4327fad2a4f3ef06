"""What the corpus checks against reference dumps share: running the program and reading
the dump (plain or gzipped JSON) kept for a file in CORPUS/oracle."""
import gzip
import json
import os
import subprocess


def run(program, *args):
    done = subprocess.run([program, *args], capture_output=True, timeout=300)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def read_dump(corpus, name):
    base = os.path.join(corpus, "oracle", name + ".json")
    if os.path.exists(base):
        with open(base, encoding="utf-8") as f:
            return json.load(f)
    with gzip.open(base + ".gz", "rt", encoding="utf-8") as f:
        return json.load(f)
