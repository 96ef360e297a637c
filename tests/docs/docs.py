"""docs.py ROOT TOOL: the documents keep what they promise.

Links to files and headings of the tree resolve. Every indented line of a document that begins with the tool's name is
run, each document's in a folder of its own, in their order; it must succeed, and say nothing but notes on standard error.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

root, tool = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
documents = sorted([*root.glob("*.md"), *(root / "docs").glob("*.md")])
faults = []


def prose(text):
    return re.sub(r"^```.*?^```$", "", text, flags=re.S | re.M)


def headings(path):
    return {re.sub(r"[^\w\- ]", "", line.lstrip("# ").lower()).replace(" ", "-")
            for line in prose(path.read_text()).splitlines() if line.startswith("#")}


def check_links(document):
    for target in re.findall(r"\]\(([^)\s]+)\)", prose(document.read_text())):
        if re.match(r"[a-z]+:", target):
            continue
        name, _, heading = target.partition("#")
        path = (document.parent / name).resolve() if name else document
        if not path.exists() or (heading and heading not in headings(path)):
            faults.append(f"{document.relative_to(root)}: no {target}")


def run_commands(document):
    commands = re.findall(r"^    (velbgp .*)$", document.read_text(), flags=re.M)
    with tempfile.TemporaryDirectory() as folder:
        for command in commands:
            environment = dict(os.environ, PATH=f"{tool.parent}:{os.environ['PATH']}", COLUMNS="80")
            done = subprocess.run(["bash", "-o", "pipefail", "-c", command], cwd=folder, env=environment, text=True,
                                  capture_output=True, stdin=subprocess.DEVNULL, timeout=60)
            told = [line for line in done.stderr.splitlines() if not line.startswith("velbgp: note: ")]
            if done.returncode != 0 or told:
                faults.append(f"{document.relative_to(root)}: {command}: {done.returncode} {done.stderr.strip()}")
    return len(commands)


for document in documents:
    check_links(document)
commands = sum(map(run_commands, documents))
print("\n".join(faults) or f"{len(documents)} documents, {commands} commands")
sys.exit(bool(faults) or commands == 0)
