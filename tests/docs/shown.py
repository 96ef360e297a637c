"""shown.py ROOT TOOL BUILD CXX INCLUDE ...: what the documents show is what a reader gets.

C++: a block that stands in a program of examples/, is that (indentation aside); one with a main() is compiled, linked with
the library in BUILD and run, and the ```text block behind it is what it prints. All others of a document are the steps of
one program, in their order, and compile: definitions at namespace level, the rest in a function.

Commands: a ```text block behind an indented command of the tool is what it prints. A line "..." stands for any lines.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

root, tool, build = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
cxx = sys.argv[4]
compiler = [cxx, "-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Werror", *(f"-I{root / folder}" for folder in sys.argv[5:])]
faults = []

PRELUDE = """#include <chrono>
#include <functional>
#include <iostream>
#include <string>
#include <vector>
#include "Policy/PosixRegex.h"
#include "Tyr/Trace.h"
#include "VelBgp/MatchReason.h"
#include "VelBgp/NotifyingRouteTargetList.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/Parse/ExtCommKind.h"
#include "VelBgp/VelBgp.h"
using namespace Routing::Bgp;
"""
DEFINITION = re.compile(r"(//[^\n]*\n)*(class|struct|template|#include)\b")


def flat(code):
    return "\n".join(line.strip() for line in code.splitlines() if line.strip())


examples = [flat(path.read_text()) for path in sorted((root / "examples").glob("*.[ch]*"))]


def is_in_example(code):
    return any("\n" + flat(code) + "\n" in "\n" + example + "\n" for example in examples)


def run(what, command, folder, **options):
    done = subprocess.run(command, cwd=folder, text=True, capture_output=True, stdin=subprocess.DEVNULL, timeout=120, **options)
    if done.returncode != 0:
        faults.append(f"{what}: {done.returncode} {done.stderr.strip()}")
    return done.stdout


def compare(what, shown, printed):
    pieces = [re.escape(line) if line != "..." else "@" for line in shown.rstrip("\n").split("\n")]
    pattern = "\n".join(pieces).replace("\n@", "(\n.*)*?").replace("@", "(.*\n)*?.*")
    if not re.fullmatch(pattern, "\n".join(line.rstrip() for line in printed.rstrip("\n").split("\n"))):
        faults.append(f"{what} prints not\n{shown}but\n{printed}")


def check_code(document, text):
    name = document.relative_to(root)
    definitions, steps = [], []
    with tempfile.TemporaryDirectory() as folder:
        for code, prints in re.findall(r"^```cpp\n(.*?)^```$(?:\n\n(?:[^\n`]+\n\n)?```text\n(.*?)^```$)?", text, re.S | re.M):
            if "int main(" in code and not is_in_example(code):
                pathlib.Path(folder, "program.cpp").write_text(code)  # the next one finds the files that it leaves
                run(f"{name}: program", [*compiler, "program.cpp", "-o", "program", f"-L{build}", "-lVelBgp",
                                         f"-Wl,-rpath,{build}"], folder)
                printed = run(f"{name}: program", ["./program"], folder) if not faults else ""
                compare(f"{name}: program", prints, printed)
            elif not is_in_example(code):
                (definitions if DEFINITION.match(code) else steps).append(code)
        if definitions or steps:
            source = PRELUDE + "".join(definitions) + "[[maybe_unused]] static void document() {\n" + "".join(steps) + "}\n"
            pathlib.Path(folder, "steps.cpp").write_text(source)
            run(f"{name}: steps", [*compiler, "-Wno-unused", "-fsyntax-only", "steps.cpp"], folder)


def check_commands(document, text):
    name = document.relative_to(root)
    environment = dict(os.environ, PATH=f"{tool.parent}:{os.environ['PATH']}", COLUMNS="80")
    with tempfile.TemporaryDirectory() as folder:
        for command, shown in re.findall(r"^    (velbgp [^\n]*)$(?:\n\n```text\n(.*?)^```$)?", text, re.S | re.M):
            printed = run(f"{name}: {command}", ["bash", "-o", "pipefail", "-c", command], folder, env=environment)
            if shown:
                compare(f"{name}: {command}", shown, printed)


def check(document):
    text = document.read_text()
    check_code(document, text)
    if "```text" in text:
        check_commands(document, text)


documents = [root / "README.md", *sorted((root / "docs").glob("*.md"))]
with ThreadPoolExecutor(2) as pool:
    list(pool.map(check, documents))
print("\n".join(faults) or f"{len(documents)} documents show what there is")
sys.exit(bool(faults))
