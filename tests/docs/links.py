#!/usr/bin/env python3
"""Checks what the documents point to: relative links and their anchors, paths, and members of classes ("A::b"); and
that README.md, where a reader begins, links every page of docs/."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = "bench|cmake|docs|fuzz|platform|scripts|src|tests|tools|packaging"

SOURCES = "".join(file.read_text() for file in ROOT.glob("src/**/*.[ch]*"))


def prose(document):
    """The text without its code blocks."""
    return re.sub(r"^```.*?^```$", "", document.read_text(), flags=re.MULTILINE | re.DOTALL)


def anchors(document):
    headings = re.findall(r"^#+ (.*)$", prose(document), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def links(document):
    return [link for link in re.findall(r"\]\(([^)\s]+)\)", prose(document)) if "://" not in link]


def faults_of(document):
    for link in links(document):
        path, _, anchor = link.partition("#")
        target = (document.parent / path).resolve() if path else document
        if not target.exists():
            yield f"{document.name}: no {link}"
        elif anchor and anchor not in anchors(target):
            yield f"{document.name}: {path or document.name} has no heading #{anchor}"
    for path in re.findall(rf"`((?:{FOLDERS})/[^`\s]*)`", prose(document)):
        named = [path] + [f"{path}.{ending}" for ending in ("h", "cpp")]
        if not any(any(ROOT.glob(name)) for name in named):
            yield f"{document.name}: no {path}"
    for name in set(re.findall(r"\b[A-Z]\w+::(\w+)", document.read_text())):
        if not re.search(rf"\b{name}", SOURCES):
            yield f"{document.name}: no source has {name}"


def pages_that_nobody_finds(readme, pages):
    linked = {(readme.parent / link.partition("#")[0]).resolve() for link in links(readme)}
    return [f"{readme.name} has no link to docs/{page.name}" for page in pages if page not in linked]


def main():
    readme, pages = ROOT / "README.md", sorted((ROOT / "docs").glob("*.md"))
    documents = [readme, *pages]
    faults = [fault for document in documents for fault in faults_of(document)] + pages_that_nobody_finds(readme, pages)
    print("\n".join(faults))
    print(f"{len(documents)} documents, {sum(len(links(d)) for d in documents)} links, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
