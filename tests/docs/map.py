#!/usr/bin/env python3
"""Compares docs/map.md with the public headers: every class, struct and enumeration at namespace scope has a row, and
every row is true. Usage: map.py [--write] [COMPILER]; --write puts the table right.

The headers are read as the compiler sees them after its preprocessor, because tables of rows (*.def) declare types too.
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
MAP = ROOT / "docs" / "map.md"
TOPS = ("platform", "BgpCommon", "VelBgp", "show")
TOKEN = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|\w+|::|\S')
MARKER = re.compile(r'^# \d+ "([^"]*)"((?: \d)*)')
HIDDEN = {"detail", ""}


def public_headers():
    headers = (file for top in TOPS for file in (ROOT / top).rglob("*.h"))
    return {str(file): include_name(file) for file in headers if not file.name.endswith("Impl.h")}


def include_name(file):
    return str(file.relative_to(ROOT)).removeprefix("platform/")


def preprocessed(compiler, names):
    source = "".join(f'#include "{name}"\n' for name in sorted(names))
    command = [compiler, "-std=c++20", "-E", "-x", "c++", f"-I{ROOT}", f"-I{ROOT / 'platform'}", "-"]
    # From a folder without headers: those beside the source would be found first, and named without the root.
    done = subprocess.run(command, cwd=MAP.parent, input=source, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(done.stderr)
    return done.stdout


def own_tokens(text, headers):
    """(token, header it counts for): what a table of rows declares counts for the header that includes the table."""
    files = []
    for line in text.splitlines():
        if match := MARKER.match(line):
            file, flags = match[1], match[2].split()
            if "1" in flags:
                files.append(file)
            elif "2" in flags:
                files.pop()
        elif not line.startswith("#") and files and is_own(files[-1]):
            header = next((headers[file] for file in reversed(files) if file in headers), None)
            yield from ((token, header) for token in TOKEN.findall(line))


def is_own(file):
    return file.startswith(f"{ROOT}/")


def skip_brackets(tokens, at, opening, closing):
    """The place after the bracket that closes the one at `at`; round brackets hide what is in them."""
    depth = rounds = 0
    while at < len(tokens):
        token = tokens[at][0]
        rounds += (token == "(") - (token == ")") if opening != "(" else 0
        if rounds == 0:
            depth += (token == opening) - (token == closing)
        at += 1
        if depth == 0 and rounds == 0:
            return at
    return at


def type_name(tokens, at):
    """The name that the definition after class, struct or enum gives, None for a mere mention or a specialisation."""
    name = None
    while at < len(tokens):
        token = tokens[at][0]
        if token in ("__attribute__", "alignas"):
            at = skip_brackets(tokens, at + 1, "(", ")")
        elif token == "[":
            at = skip_brackets(tokens, at, "[", "]")
        elif token == "{":
            return name
        elif token == ":" and name:
            while tokens[at][0] not in ("{", ";"):
                at += 1
            return name if tokens[at][0] == "{" else None
        elif token in ("class", "struct", "final"):
            at += 1
        elif re.match(r"\w", token) and name is None:
            name = token
            at += 1
        else:
            return None
    return None


def types(tokens):
    """Qualified name of each type defined at namespace scope: the header that defines it."""
    found, scopes, at = {}, [], 0
    while at < len(tokens):
        token, header = tokens[at]
        at += 1
        if token == "namespace":
            name = ""
            while tokens[at][0] not in ("{", ";", "="):
                name += tokens[at][0]
                at += 1
            if tokens[at][0] == "{":
                scopes.append(name)
                at += 1
        elif token == "template" and tokens[at][0] == "<":
            at = skip_brackets(tokens, at, "<", ">")
        elif token == "{":
            scopes.append(None)
        elif token == "}":
            scopes.pop()
        elif token in ("class", "struct", "enum") and None not in scopes and header:
            name = type_name(tokens, at)
            names = "::".join(scopes).split("::") if scopes else []
            if name and not HIDDEN & set(names):
                found["::".join(names + [name])] = header
            if token == "enum" and tokens[at][0] in ("class", "struct"):
                at += 1
    return found


def row(name, header):
    return f"| `{name}` | `{header}` |"


def main():
    arguments = sys.argv[1:]
    write = "--write" in arguments
    compiler = next((a for a in arguments if not a.startswith("--")), "c++")
    headers = public_headers()
    tokens = list(own_tokens(preprocessed(compiler, headers.values()), headers))
    wanted = [row(name, header) for name, header in sorted(types(tokens).items())]
    lines = MAP.read_text().splitlines()
    present = [line for line in lines if line.startswith("| `")]
    if write:
        MAP.write_text("\n".join([line for line in lines if not line.startswith("| `")] + wanted) + "\n")
        return 0
    for line in wanted:
        if line not in present:
            print(f"docs/map.md lacks the row  {line}")
    for line in present:
        if line not in wanted:
            print(f"docs/map.md has a row that is not true  {line}")
    print(f"{len(wanted)} types in {len(headers)} headers")
    return 0 if wanted and wanted == present else 1


if __name__ == "__main__":
    sys.exit(main())
