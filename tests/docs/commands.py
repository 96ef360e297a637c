"""commands.py ROOT BUILD TOOL: no command in a document is one that nothing checks.

Those of the tool that stand on a line of their own are run by docs.py. Here is what else is typed: indented lines, ```sh
blocks, and commands within a sentence. Scripts exist, have the options that they are given, and are run by .ci/run; presets,
targets, tests and fuzzers exist; programs of tests, benchmarks and fuzzers do, with their options; lines of README.md's
"Five minutes" are run by ci/package.sh. What cannot be checked is listed below with the reason; what is in no list is a fault.
"""
import json
import pathlib
import re
import shlex
import subprocess
import sys

root, build, tool = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
faults, checked, unchecked = [], 0, []

# The first words of what is not run, and why.
UNCHECKED = {
    "apt-get install gcovr": "changes the machine",
    "apt-cache show": "needs the packages in a repository",
    "gcovr": "not installed by scripts/setup",
    "git push": "leaves the machine",
    "git grep": "needs a repository, an archive has none",
}
# Tools beside ours in a pipeline.
OTHERS = {"cd", "cp", "cut", "grep", "head", "jq", "sort", "tail", "umask", "uniq", "wc", "zcat"}
PLACEHOLDERS = {"P", "NAME", "FILE", "VERSION", "..."}
TYPED = re.compile(r"(\./|\.?ci/|scripts/|build/|VELBGP_\w+=\S* |(velbgp|cmake|ctest|gdb|g\+\+|apt-get|apt-cache|gcovr|git|pkg-config|dpkg|man) )")


def read(name):
    return (root / name).read_text()


presets = {preset["name"] for preset in json.loads(read("CMakePresets.json"))["configurePresets"] if not preset.get("hidden")}
five_minutes = re.search(r"^## Five minutes(.*?)^## ", read("README.md"), re.S | re.M)[1]
run_in_ci = re.findall(r"[\w-]+", re.search(r"^pass scripts/setup.*\Z", read(".ci/run"), re.S | re.M)[0])
scripts_text = "\n".join(path.read_text() for path in [root / ".ci/run", *(root / "ci").glob("*.sh")])


def files_say(word, *folders):
    return any(word in path.read_text(errors="replace") for folder in folders for path in (root / folder).rglob("*")
               if path.suffix in (".cpp", ".h"))


def output(command):
    return subprocess.run(command, text=True, capture_output=True, stdin=subprocess.DEVNULL, timeout=60).stdout


def check_script(name, arguments):
    path = root / name
    if not path.is_file():
        return f"no {name}"
    if name.startswith("ci/") and path.stem not in run_in_ci or name.startswith("scripts/") and name not in scripts_text:
        return f"{name} is not run by .ci/run"
    known = {"ci/fuzz.sh": {path.name for path in (root / "fuzz/corpus").iterdir()},
             "scripts/setup": set(re.findall(r"^(\w+) ", read("scripts/packages.txt"), re.M))}.get(name)
    if known is not None:
        return next((f"{name} knows no {word}" for word in arguments if not word.isdigit() and word not in known), None)
    if name == "scripts/test":
        return check_tests(arguments)
    return next((f"{name} has no {word}" for word in arguments if word.startswith("-") and f"{word})" not in path.read_text()
                 and f"= {word} ]" not in path.read_text()), None)


def check_tests(arguments):
    if "-R" in arguments:
        pattern = arguments[arguments.index("-R") + 1]
        if not re.search(r"Total Tests: [1-9]", output(["ctest", "--test-dir", str(build), "-N", "-R", pattern])):
            return f"no test matches {pattern}"
    return None


def check_cmake(arguments):
    for option, value in zip(arguments, arguments[1:] + [""]):
        if option == "--preset" and value not in presets | PLACEHOLDERS:
            return f"no preset {value}"
        if option == "--target" and not list(root.glob(f"*/{value.removeprefix('bench_').removeprefix('test_')}/CMakeLists.txt")):
            return f"no target {value}"
        if option.startswith("-") and not option.startswith("-D") and option not in ("--preset", "--build", "--target", "--install", "--prefix", "-j", "-S", "-B"):
            return f"{option} of cmake is not known here"
    return None


def check_program(path, arguments):
    preset, kind, _, name = re.fullmatch(r"build/(\w+)/(\w+)/(?:(\w+)/)?(\w+)", path).groups()
    if preset not in presets:
        return f"no preset {preset}"
    folder, word = name.split("_", 1)
    if word not in PLACEHOLDERS and not ((root / kind / word).is_dir() or (root / kind / f"{word}.cpp").is_file()):
        return f"no {name}"
    if folder == "test":
        program = build / kind / word / name
        chosen = [argument for argument in arguments if argument.startswith("--gtest_filter")]
        if program.exists() and chosen and not output([str(program), *chosen, "--gtest_list_tests"]):
            return f"{name} has no {chosen[0]}"
        return None
    return next((f"{name} has no {word}" for word in arguments if word.startswith("--") and not word.startswith("--benchmark_")
                 and not files_say(word.split("=")[0], kind)), None)


def check_tool(arguments):
    subcommand = arguments[:1] if arguments and re.fullmatch(r"[a-z]+", arguments[0]) else []
    help_text = output([str(tool), *subcommand, "--help"])
    if not help_text:
        return f"no subcommand {subcommand[0]}"
    return next((f"{subcommand} has no {word}" for word in arguments
                 if re.fullmatch(r"--?[a-z][\w-]*", word) and not re.search(rf"(?<![\w-]){word}(?![\w-])", help_text)), None)


def fault_of(piece, document):
    """What is wrong with one command, or None."""
    global checked
    reason = next((reason for words, reason in UNCHECKED.items() if piece.startswith(words)), None)
    if reason:
        unchecked.append(f"{document}: {piece}: {reason}")
        return None
    checked += 1
    words = shlex.split(re.sub(r"[<>]\S*\s*\S+", "", piece).replace("$(", "").replace(")", ""), comments=True)
    while words and (variable := re.fullmatch(r"(VELBGP_\w+)=.*", words[0])):
        if not files_say(variable[1], "tests", "platform", "VelBgp", "tools"):
            return f"nobody reads {variable[1]}"
        words.pop(0)
    if not words or words[0] in OTHERS:
        return None
    first, rest = words[0], [word for word in words[1:] if word not in PLACEHOLDERS]
    if first == "velbgp":
        return check_tool(words[1:])
    if first == ".ci/run" or re.match(r"(ci|scripts)/.", first):
        return check_script(first, rest)
    if re.fullmatch(r"build/\w+/\w+/(\w+/)?(test|bench|fuzz)_\w+", first):
        return check_program(first, rest)
    if first == "cmake":
        return check_cmake(words[1:])
    if first == "ctest":
        preset = words[words.index("--preset") + 1] if "--preset" in words else "dev"
        return check_cmake(["--preset", preset]) or check_tests(rest)
    if first == "gdb":
        return fault_of(" ".join(rest[1:]), document)
    if first == "man":
        return None if piece in scripts_text else "ci/package.sh does not look at it"
    # These are of "Five minutes", or differ from it in a program's name alone.
    typed = re.compile(re.escape(piece).replace(re.escape(words[-1].removeprefix("./")), r"\w+") if first.startswith("./")
                       else re.sub(r"\b\w+\\\.cpp|(?<=-o\\ )\w+", r"[\\w.]+", re.escape(piece)))
    if first in ("apt-get", "g++") or first.startswith("./"):
        if re.search(typed, five_minutes):
            return None
    return "nothing checks it"


def commands_of(text):
    # A line ends in what it shows behind blanks and "#". C++ is for others, the tool for docs.py.
    lines = [line for block in re.findall(r"^```sh\n(.*?)^```$", text, re.S | re.M) for line in block.splitlines()]
    text = re.sub(r"^```.*?^```$", "", text, flags=re.S | re.M)
    lines += [line for line in re.findall(r"^    (\S.*)$", text, re.M)
              if not re.search(r";$|::|\w\)\.|^velbgp ", line)]
    text = re.sub(r"^    .*$", "", text, flags=re.M)
    lines += [span for span in re.findall(r"`([^`\n]+)`", text)
              if TYPED.match(span) and not re.fullmatch(r"(ci|scripts)/|build/(?!.*(test|bench|fuzz)_).*|scripts/\w+\.txt", span)]
    return [re.sub(r"\s#\s.*", "", line).strip() for line in lines]


for path in sorted([*root.glob("*.md"), *(root / "docs").glob("*.md"), *(root / "examples").glob("*.md")]):
    name = path.relative_to(root)
    for line in commands_of(path.read_text()):
        for piece in re.split(r"&&|\|\||[|;&](?=\s|$)", re.sub(r"'[^']*'|\"[^\"]*\"", lambda quoted: re.sub("[|;&<>]", "_", quoted[0]), line)):
            try:
                wrong = fault_of(piece.strip(), name) if piece.strip() else None
            except ValueError as error:
                wrong = str(error)
            if wrong:
                faults.append(f"{name}: {line}: {wrong}")

# A document names the packages and the package for CMake by the version that is.
version = re.search(r'VELBGP_VERSION "((\d+)\.(\d+)\.(\d+))"', read("VelBgp/Version.h"))
number = int(version[2]) * 10000 + int(version[3]) * 100 + int(version[4])
if f"VELBGP_VERSION_NUMBER {number}\n" not in read("VelBgp/Version.h"):
    faults.append(f"VelBgp/Version.h: VELBGP_VERSION_NUMBER is not {number}")
for path in [*root.glob("*.md"), *(root / "docs").glob("*.md"), *(root / "examples").glob("*.*")]:
    if path.name == "CHANGELOG.md":
        continue
    for named in re.findall(r"(?:libvelbgp|find_package\(VelBgp )(\d[\d.]*)", path.read_text(errors="replace")):
        if named.rstrip(".") != f"{version[2]}.{version[3]}":
            faults.append(f"{path.relative_to(root)}: names version {named}")

print("\n".join(faults) or "\n".join([*unchecked, f"{checked} commands checked, {len(unchecked)} not"]))
sys.exit(bool(faults) or checked == 0)
