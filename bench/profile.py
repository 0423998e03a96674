#!/usr/bin/env python3
"""Counts the instructions of a busy and of an idle second of the daemon, under valgrind.

Usage: profile.py DAEMON LOAD > PROFILE.json
LOAD is a program that is given the board's directory and a number of seconds, and keeps the daemon busy for so long.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

SECONDS = 1
START_SECONDS = 60


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=True, **options).stdout


def short(name):
    """A function's name without its arguments."""
    name = re.sub(r"@@?GLIBC\S*|'2|\(anonymous namespace\)::|TIRK_MCUC::", "", name)
    return re.split(r"[(<]", name)[0].split()[-1]


def functions(dump):
    """The ten most expensive functions of a dump, and the instructions of all."""
    text = run("callgrind_annotate", "--threshold=100", str(dump))
    counts = [(int(count.replace(",", "")), short(name))
              for count, name in re.findall(r"^\s*([\d,]+) \(.*?\)\s+\S*?:(.+?)(?: \[.*)?$", text, re.M)]
    total = sum(count for count, _ in counts)
    return total, [(f"{100 * count / total:.1f} %", name) for count, name in counts[:10]]


def until_answers(load, board):
    for _ in range(START_SECONDS * 5):
        time.sleep(0.2)
        if subprocess.run([load, board, "0"], capture_output=True).returncode == 0:
            return
    sys.exit("profile.py: the daemon does not answer")


def measure(name, pid, directory, warm_up, work):
    """Instructions are counted only while `work` runs."""
    run("callgrind_control", "-i", "on", str(pid))
    warm_up()
    run("callgrind_control", "-d", str(pid))  # what was counted so far
    work()
    run("callgrind_control", "-i", "off", str(pid))
    run("callgrind_control", "-d", str(pid))
    dumps = sorted(directory.glob("callgrind.out.*"), key=lambda path: path.stat().st_mtime)
    total, rows = functions(dumps[-1])
    return {"name": name, "instructions": total, "functions": rows}


def main(daemon, load):
    with tempfile.TemporaryDirectory(prefix="kadrend-profile-") as scratch:
        directory = pathlib.Path(scratch)
        board = str(directory / "board")
        out = f"--callgrind-out-file={directory}/callgrind.out.%p"
        valgrind = subprocess.Popen(["valgrind", "--tool=callgrind", "--instr-atstart=no", out, daemon],
                                    env={**os.environ, "KADREND_BOARD": board}, cwd=scratch,
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            until_answers(load, board)
            time.sleep(5)  # past what follows a start
            busy = measure("A busy second (reads and writes in turn, one client)", valgrind.pid, directory,
                           lambda: run(load, board, "1"), lambda: run(load, board, str(SECONDS)))
            time.sleep(1)
            idle = measure("An idle second", valgrind.pid, directory, lambda: time.sleep(1),
                           lambda: time.sleep(SECONDS))
        finally:
            valgrind.terminate()
            valgrind.wait()
    print(json.dumps([busy, idle]))


if __name__ == "__main__":
    main(*map(os.path.abspath, sys.argv[1:]))
