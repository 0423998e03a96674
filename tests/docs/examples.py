#!/usr/bin/env python3
"""Runs the commands of a document and compares what they print with what the document shows.

    examples.py --build DIR DOCUMENT

A ```sh block is a list of commands. A ```console block is a transcript: `$ ` begins a command, the lines below it are its
output, `...` stands for any lines. One bash runs a whole document, in an empty directory that has the project's scripts
and, as build/release, the build under test. A command must succeed unless `$ echo $?` follows it.

Commands that build or test the whole project are not run again from within its tests: their script is checked for
bash's syntax, their CMake presets and options for being known. The list of those is printed.
"""
import argparse
import json
import os
import pathlib
import re
import select
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
ONLY_CHECKED = ("scripts/test", "scripts/bench", "scripts/check", "scripts/document", "cmake", "cpack", "apt")
MARK = "---examples-end---"
VARIES = [  # what no two runs have in common
    (re.compile(r"\x1b\[[0-9;]*m"), ""),
    (re.compile(r"\b20\d\d-\d\d-\d\d\b"), "DATE"),
    (re.compile(r"\b(Mon|Tue|Wed|Thu|Fri|Sat|Sun)\b"), "DAY"),
    (re.compile(r"\b\d\d:\d\d:\d\d(\.\d+)?\b"), "TIME"),
    (re.compile(r'"time":"[^"]*"'), '"time":""'),
    (re.compile(r"^\[[0-9/]+ TIME pid=\d+"), "[LOGGED"),
    (re.compile(r"\.cpp : \d+ "), ".cpp : LINE "),
]


class Failure(Exception):
    pass


def normal(line):
    for pattern, text in VARIES:
        line = pattern.sub(text, line)
    return line.rstrip()


def commands_of(document):
    """(line number, command, expected output or None) of each command, in order."""
    found, block, pending = [], None, ""
    for number, line in enumerate(document.read_text().splitlines(), 1):
        if block is None:
            if match := re.match(r"```(sh|console)$", line):
                block = match[1]
            continue
        if line == "```":
            block = None
        elif block == "console" and not line.startswith("$ ") and not pending:
            if not found or found[-1][2] is None:
                raise Failure(f"{document.name}:{number}: output before any command")
            found[-1][2].append(line)
        else:
            text = pending + (line[2:] if block == "console" and not pending else line)
            pending = text[:-1] if text.endswith("\\") else ""
            if not pending and text.strip() and not text.startswith("#"):
                found.append((number, text, [] if block == "console" else None))
    return found


def matches(shown, printed):
    """Whether the printed lines are the shown ones, where "..." stands for any number of lines."""
    if not shown:
        return not printed
    if shown[0] == "...":
        return any(matches(shown[1:], printed[skip:]) for skip in range(len(printed) + 1))
    return bool(printed) and shown[0] == printed[0] and matches(shown[1:], printed[1:])


def check_only(command):
    words = command.split(" #")[0].split()
    if words[0].startswith("scripts/"):
        script = ROOT / words[0]
        if not os.access(script, os.X_OK):
            raise Failure(f"{words[0]} is no program")
        if script.read_text().startswith("#!/usr/bin/env bash"):
            subprocess.run(["bash", "-n", script], check=True)
        return
    presets = {entry["name"] for entry in json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]}
    options = (ROOT / "CMakeLists.txt").read_text()
    for before, word in zip(words, words[1:]):
        if before == "--preset" and word not in presets:
            raise Failure(f"there is no preset {word}")
        if (match := re.match(r"-D(KADREND_\w+)=", word)) and match[1] not in options:
            raise Failure(f"there is no option {match[1]}")


class Shell:
    def __init__(self, directory, build):
        environment = {**os.environ, "KADREND_BUILD": "build/release", "NO_COLOR": "1", "LC_ALL": "C.UTF-8", "COLUMNS": "100",
                       "PATH": f"{build}:{build}/tools/kadctl:{os.environ['PATH']}"}
        environment.pop("KADREND_BOARD", None)
        (directory / "build").mkdir()
        (directory / "build/release").symlink_to(build)
        for name in ("scripts", "src", "platform", "docs"):
            (directory / name).symlink_to(ROOT / name)
        self.bash = subprocess.Popen(["bash"], cwd=directory, env=environment, stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        os.set_blocking(self.bash.stdout.fileno(), False)
        self.status = 0

    def run(self, command, seconds=180):
        self.bash.stdin.write(f"(exit {self.status})\n{command}\nprintf '\\n{MARK} %d\\n' $?\n".encode())
        self.bash.stdin.flush()
        output, end = b"", time.monotonic() + seconds
        while not (match := re.search(rb"\n" + MARK.encode() + rb" (\d+)\n", output)):
            if not select.select([self.bash.stdout], [], [], max(0, end - time.monotonic()))[0]:
                raise Failure(f"{command}: not done after {seconds} s")
            piece = self.bash.stdout.read()
            if piece == b"":
                raise Failure(f"{command}: ended the shell")
            output += piece or b""
        self.status = int(match[1])
        return output[: match.start()].decode().splitlines()

    def close(self):
        os.killpg(self.bash.pid, signal.SIGKILL)
        self.bash.wait()


def run_document(document, build):
    commands = commands_of(document)
    if not commands:
        raise Failure(f"{document.name} has no command")
    failures, checked = [], []
    with tempfile.TemporaryDirectory(prefix="kadrend-docs-") as directory:
        shell = Shell(pathlib.Path(directory), build)
        try:
            for index, (number, command, shown) in enumerate(commands):
                where = f"{document.name}:{number}: {command}"
                plain = re.sub(r"^(\w+=\S* )+", "", command.split("  #")[0]).strip()
                if plain.startswith(ONLY_CHECKED) or plain == "scripts/run":
                    check_only(plain)
                    checked.append(plain)
                    continue
                printed = shell.run(command)
                if plain.endswith("&"):
                    continue
                judged = index + 1 < len(commands) and commands[index + 1][1] == "echo $?"
                if shell.status != 0 and not judged:
                    failures.append(f"{where}\n  status {shell.status}\n  " + "\n  ".join(printed))
                elif shown is not None:
                    left, right = [normal(x) for x in shown], [normal(x) for x in printed]
                    while right and not right[-1]:
                        right.pop()
                    while left and not left[-1]:
                        left.pop()
                    if not matches(left, right):
                        failures.append(f"{where}\n  prints\n    " + "\n    ".join(printed))
        finally:
            shell.close()
    if checked:
        print("checked, not run: " + "; ".join(checked))
    print(f"{document.name}: {len(commands) - len(checked)} commands run, {len(failures)} failed")
    return failures


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("document", type=pathlib.Path)
    arguments = parser.parse_args()
    try:
        failures = run_document(arguments.document, arguments.build.resolve())
    except Failure as failure:
        failures = [str(failure)]
    print("\n".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
