#!/usr/bin/env python3
"""Checks what the documents point to: relative links and their anchors, and the paths that they name.

Every document must be reached from README.md.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = "bench|cmake|docs|fuzz|platform|scripts|src|tests|tools|packaging"


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


def main():
    documents = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]
    faults = [fault for document in documents for fault in faults_of(document)]
    reached, new = set(), {ROOT / "README.md"}
    while new:
        reached |= new
        new = {(d.parent / link.partition("#")[0]).resolve() for d in new if d.suffix == ".md" for link in links(d)} - reached
        new = {path for path in new if path.suffix == ".md" and path.exists()}
    faults += [f"{document.name} is reached from no document" for document in documents if document not in reached]
    print("\n".join(faults))
    print(f"{len(documents)} documents, {sum(len(links(d)) for d in documents)} links, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
