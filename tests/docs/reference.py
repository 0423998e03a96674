#!/usr/bin/env python3
"""Compares what kadctl's help offers with what its page, its manual page and its completion know, and checks the roff.

    reference.py --kadctl PROGRAM
"""
import argparse
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
VALUES = {"card": ["recv", "0", "0"]}  # positional values that come before a command's own subcommands


def help_of(kadctl, words):
    text = subprocess.run([kadctl, *words, "--help"], check=True, capture_output=True, text=True).stdout
    options = set(re.findall(r"^\s+(?:-\w,)?(--[\w-]+)", text, re.MULTILINE)) - {"--help"}
    commands = re.findall(r"^  (\w+)(?: .*)?$", text.partition("Subcommands:")[2], re.MULTILINE)
    return options, commands


def interface(kadctl):
    """Every path of commands ("rv put") with its options; "" for those of kadctl itself."""
    options, commands = help_of(kadctl, [])
    found = {"": options}
    for command in commands:
        found[command], below = help_of(kadctl, [command])
        for name in below:
            found[f"{command} {name}"], _ = help_of(kadctl, [command, *VALUES.get(command, []), name])
    return found


def missing_words(found, name, text):
    for path, options in found.items():
        for word in [*path.split(), *options]:
            if not re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text):
                yield f"{name} does not know {path} {word}".replace("  ", " ")


def completions(words):
    """What bash offers for the last of the words."""
    script = f"""source {ROOT}/tools/kadctl/completion/kadctl
COMP_WORDS=({" ".join(f"'{word}'" for word in words)}); COMP_CWORD={len(words) - 1}
$(complete -p kadctl | sed 's/.*-F \\([^ ]*\\).*/\\1/') kadctl '{words[-1]}' '{words[-2]}'
printf '%s\\n' "${{COMPREPLY[@]}}" """
    return set(subprocess.run(["bash", "-c", script], check=True, capture_output=True, text=True).stdout.split())


def completion_faults(found):
    for path, options in found.items():
        words = path.split()
        given = ["kadctl", *words[:1], *(VALUES.get(words[0], []) if len(words) > 1 else []), *words[1:]]
        for option in options:
            if option not in completions([*given, "--"]):
                yield f"no completion of {' '.join(given)} {option}"
        if words and words[-1] not in completions([*given[:-1], words[-1][:1]]):
            yield f"no completion of {path}"


def roff_faults(page, version):
    if f'"kadrend {version}"' not in page.read_text():
        yield f"{page.name} is not of version {version}"
    if not shutil.which("groff"):
        return
    run = subprocess.run(["groff", "-ww", "-man", "-Tutf8", "-z", page], capture_output=True, text=True)
    if run.returncode != 0 or run.stderr:
        yield f"{page.name}: {run.stderr}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--kadctl", required=True)
    kadctl = parser.parse_args().kadctl
    found = interface(kadctl)
    version = subprocess.run([kadctl, "--version"], check=True, capture_output=True, text=True).stdout.split()[1]
    manual = ROOT / "docs/man/kadctl.1"
    faults = [*missing_words(found, "docs/kadctl.md", (ROOT / "docs/kadctl.md").read_text()),
              *missing_words(found, "docs/man/kadctl.1", re.sub(r"\\f[A-Z]", "", manual.read_text()).replace("\\-", "-")),
              *completion_faults(found), *roff_faults(manual, version),
              *roff_faults(ROOT / "docs/man/kadrend.8", version)]
    print("\n".join(faults))
    print(f"{len(found)} commands, {sum(map(len, found.values()))} options, {len(faults)} faults")
    return 1 if faults or len(found) < 15 else 0


if __name__ == "__main__":
    sys.exit(main())
