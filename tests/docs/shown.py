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


def printed_by(what, command, folder, **options):
    """What the command prints, or nothing where it failed."""
    done = subprocess.run(command, cwd=folder, text=True, capture_output=True, stdin=subprocess.DEVNULL, timeout=120, **options)
    if done.returncode == 0:
        return done.stdout
    faults.append(f"{what}: {done.returncode} {done.stderr.strip()}")
    return None


def compare(what, shown, printed):
    pieces = [re.escape(line) if line != "..." else "@" for line in shown.rstrip("\n").split("\n")]
    pattern = "\n".join(pieces).replace("\n@", "(\n.*)*?").replace("@", "(.*\n)*?.*")
    if not re.fullmatch(pattern, "\n".join(line.rstrip() for line in printed.rstrip("\n").split("\n"))):
        faults.append(f"{what} prints not\n{shown}but\n{printed}")


def check_program(what, code, shown, folder):
    pathlib.Path(folder, "program.cpp").write_text(code)
    build_it = [*compiler, "program.cpp", "-o", "program", f"-L{build}", "-lVelBgp", f"-Wl,-rpath,{build}"]
    if printed_by(what, build_it, folder) is not None:
        printed = printed_by(what, ["./program"], folder)  # the next one finds the files that it leaves
        if printed is not None:
            compare(what, shown, printed)


def check_code(name, text, folder):
    definitions, steps = [], []
    for code, shown in re.findall(r"^```cpp\n(.*?)^```$(?:\n\n(?:[^\n`]+\n\n)?```text\n(.*?)^```$)?", text, re.S | re.M):
        if is_in_example(code):
            continue
        if "int main(" in code:
            check_program(f"{name}: program", code, shown, folder)
        else:
            (definitions if DEFINITION.match(code) else steps).append(code)
    if definitions or steps:
        source = PRELUDE + "".join(definitions) + "[[maybe_unused]] static void document() {\n" + "".join(steps) + "}\n"
        pathlib.Path(folder, "steps.cpp").write_text(source)
        printed_by(f"{name}: steps", [*compiler, "-Wno-unused", "-fsyntax-only", "steps.cpp"], folder)


def check_commands(name, text, folder):
    environment = dict(os.environ, PATH=f"{tool.parent}:{os.environ['PATH']}", COLUMNS="80")
    commands = re.findall(r"^    (velbgp [^\n]*)$(?:\n\n```text\n(.*?)^```$)?", text, re.S | re.M)
    for command, shown in commands if any(shown for _, shown in commands) else []:
        printed = printed_by(f"{name}: {command}", ["bash", "-o", "pipefail", "-c", command], folder, env=environment)
        if shown and printed is not None:
            compare(f"{name}: {command}", shown, printed)


def check(document):
    text = document.read_text()
    for check_kind in check_code, check_commands:
        with tempfile.TemporaryDirectory() as folder:
            check_kind(document.relative_to(root), text, folder)


documents = [root / "README.md", *sorted((root / "docs").glob("*.md"))]
with ThreadPoolExecutor(2) as pool:
    list(pool.map(check, documents))
print("\n".join(faults) or f"{len(documents)} documents show what there is")
sys.exit(bool(faults))
