#!/usr/bin/env python3
"""Holds the documents against the project.

    documents.py check              links, headings, names of files, functions and classes, and
                                    blocks without a kind
    documents.py run KIND FOLDER    the command blocks of a kind, each document in a copy of FOLDER
    documents.py list               the command blocks that nothing runs

A block's kind stands in its info string: "sh test" is quick and needs a build, "sh long" builds or
takes minutes, "sh manual WHY" needs a person or their machine. A block "c file=NAME" (any language)
is written to the folder, "hex file=NAME" as the bytes that it lists. Sources in tests/docs include
those whose name ends in .inc, and are compiled as quick blocks. Each block that runs is named with
its seconds, and with the word X of a tag "name=X".
"""

import fnmatch
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TIME_LIMITS = {"test": 120, "long": 3600}
COMMANDS = ("bash", "python", "sh")

# Where builds and installations put things.
OUTSIDE = ("bin", "build", "demo", "include", "lib", "lib64", "share")


def tracked(*patterns):
    command = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", *patterns]
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True,
                          check=True).stdout.splitlines()


class Block:
    def __init__(self, document, line, info, text):
        self.where = f"{document}:{line}"
        self.language, *self.tags = info.split() or [""]
        self.text = text

    def tag(self, key):
        return next((tag[len(key) + 1:] for tag in self.tags if tag.startswith(f"{key}=")), None)

    def file_name(self):
        return self.tag("file")

    def is_used(self):
        """Whether it is run, or written for one that is run."""
        return bool(self.language == "sh" and set(TIME_LIMITS) & set(self.tags) or self.file_name())

    def reason(self):
        """Why it isn't used, or nothing."""
        return " ".join(self.tags[1:]) if self.tags[:1] == ["manual"] else ""

    def contents(self):
        if self.language != "hex":
            return self.text.encode()
        return bytes.fromhex(" ".join(line.split("#")[0] for line in self.text.splitlines()))


def split(document):
    """The prose of a document, blocks left out but their lines kept, and its blocks."""
    prose, blocks, inside = [], [], None
    for number, line in enumerate((ROOT / document).read_text().splitlines(), 1):
        if line.startswith("```"):
            if inside is None:
                inside = (number, line[3:], [])
            else:
                blocks.append(Block(document, *inside[:2], "\n".join(inside[2]) + "\n"))
                inside = None
            prose.append("")
        elif inside is not None:
            inside[2].append(line)
            prose.append("")
        else:
            prose.append(line)
    if inside is not None:
        raise SystemExit(f"{document}:{inside[0]}: block without an end")
    return prose, blocks


def anchors(document):
    headings = (line.lstrip("#").strip() for line in split(document)[0] if line.startswith("#"))
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def link_fault(document, target):
    path, _, anchor = target.partition("#")
    resolved = os.path.normpath(os.path.join(os.path.dirname(document), path)) if path else document
    if not (ROOT / resolved).exists():
        return f"no file {resolved}"
    if anchor and anchor not in anchors(resolved):
        return f"no heading {anchor} in {resolved}"
    return None


class Names:
    """What the project's files and their words are called."""

    def __init__(self):
        self.files = tracked()
        self.tails = set()
        for path in self.files:
            parts = path.split("/")
            self.tails.update("/".join(parts[first:last]) for first in range(len(parts))
                              for last in range(first + 1, len(parts) + 1))
        sources = (p for p in self.files if not p.endswith((".md", ".json", ".png", ".model")))
        self.words = set()
        for path in sources:
            self.words.update(re.findall(r"\w+", (ROOT / path).read_text(errors="replace")))

    def fault(self, token):
        path = re.fullmatch(r"[\w.*-]+(/[\w.*-]+)*/?", token)
        extension = re.search(r"\.(h|cpp|c|md|sh|py|txt|conf|cmake|png|in)$", token)
        if path and ("/" in token or extension):
            name = token.rstrip("/")
            outside = name.split("/")[0] in OUTSIDE or "NAME" in name
            return None if outside or self.is_file(name) else f"no file {token}"
        word = re.fullmatch(r"[A-Za-z_]\w*(::[A-Za-z_]\w*)*(\(\))?", token)
        if word and re.search(r"[a-z][A-Z]|[A-Za-z]_[A-Za-z]", token):
            missing = [w for w in re.findall(r"\w+", token) if w not in self.words]
            return f"no source has {missing[0]}" if missing else None
        return None

    def is_file(self, name):
        return name in self.tails or "*" in name and bool(fnmatch.filter(self.tails, name))


def is_command(words):
    """Whether a line of an indented block looks like one for a shell."""
    path = ROOT / words[0]
    known = shutil.which(words[0]) or words[0] in ("cd", "export") or path.is_file()
    return bool(known) and words[1:2] != ["="]


def unnamed_commands(document, prose, blocks):
    """Commands that no kind is given for: in indented blocks, and in fenced ones."""
    for number, (before, line) in enumerate(zip([""] + prose, prose), 1):
        begins = not before.strip() or before.startswith("    ")
        if begins and line.startswith("    ") and is_command(line.split() or ["#"]):
            yield f"{document}:{number}: indented command; a fenced block has a kind"
    for block in blocks:
        if block.language in COMMANDS and not block.is_used() and not block.reason():
            yield f"{block.where}: block without a kind"


def check():
    names = Names()
    faults, links, tokens = [], 0, 0
    for document in tracked("*.md"):
        prose, blocks = split(document)
        faults.extend(unnamed_commands(document, prose, blocks))
        for number, line in enumerate(prose, 1):
            for target in re.findall(r"\]\(([^)\s]+)\)", line):
                if re.match(r"[a-z]+:", target):
                    continue
                links += 1
                if fault := link_fault(document, target):
                    faults.append(f"{document}:{number}: {fault}")
            for token in re.findall(r"`([^`]+)`", line):
                tokens += 1
                if fault := names.fault(token):
                    faults.append(f"{document}:{number}: {fault}")
    print(f"{links} links, {tokens} names, {len(faults)} faults")
    print("".join(fault + "\n" for fault in faults), end="")
    return bool(faults) or links == 0


def compilations(document, blocks):
    """Blocks that compile what includes a part of the document."""
    parts = [block.file_name() for block in blocks if (block.file_name() or "").endswith(".inc")]
    for source in sorted(Path(__file__).parent.glob("*.cpp")):
        if any(f'"{part}"' in source.read_text() for part in parts):
            options = "-std=c++20 -fsyntax-only -Wall -Wextra -Werror -I src -I src/engine -I ."
            yield Block(document, source.name, "sh test", f"c++ {options} {source}")


def run_block(block, kind, folder):
    start = time.monotonic()
    result = subprocess.run(["bash", "-euo", "pipefail", "-c", block.text], cwd=folder,
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, timeout=TIME_LIMITS[kind],
                            check=False)
    name = block.where if block.tag("name") is None else f"{block.where} {block.tag('name')}"
    outcome = "passed" if result.returncode == 0 else "FAILED"
    print(f"{outcome}: {name} {time.monotonic() - start:.1f} s", flush=True)
    if result.returncode != 0:
        print(block.text + result.stdout[-4000:])
    return result.returncode == 0


def write_file(folder, block):
    path = folder / block.file_name()
    if (folder / block.file_name().split("/")[0]).is_symlink():
        raise SystemExit(f"{block.where}: {path} stands for a file of the project")
    path.parent.mkdir(exist_ok=True)
    path.write_bytes(block.contents())


def run(kind, base):
    passed = failed = 0
    # The first that is read runs first, so that its seconds are those of a new user.
    for document in sorted(tracked("*.md"), key=lambda name: name != "README.md"):
        blocks = split(document)[1]
        if kind == "test":
            blocks += compilations(document, blocks)
        if not any(block.language == "sh" and kind in block.tags for block in blocks):
            continue
        with tempfile.TemporaryDirectory() as scratch:
            folder = Path(base)
            if kind == "test":
                folder = Path(scratch) / "project"
                shutil.copytree(base, folder, symlinks=True)
            for block in blocks:
                if block.file_name() and kind == "test":
                    write_file(folder, block)
                elif block.language == "sh" and kind in block.tags:
                    if run_block(block, kind, folder):
                        passed += 1
                    else:
                        failed += 1
    print(f"{passed} blocks passed, {failed} failed")
    return failed > 0 or passed == 0


def list_not_run():
    for document in tracked("*.md"):
        for block in split(document)[1]:
            if block.language in COMMANDS and not block.is_used():
                print(f"not run: {block.where}: {block.reason() or '?'}")
    return False


def main(arguments):
    commands = {"check": check, "run": run, "list": list_not_run}
    if not arguments or arguments[0] not in commands:
        raise SystemExit(__doc__)
    return commands[arguments[0]](*arguments[1:])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
