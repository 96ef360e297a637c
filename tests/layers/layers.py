#!/usr/bin/env python3
"""Compares every #include of ours with the rows of who may include whom. Usage: layers.py [ROOT]

A folder sees the folders that its row names, sources look only at their own height of the library or below it, and what
an XImpl.h holds stays among our own sources. Prints one line for each include that breaks a rule; status 1 if any does.
"""
import fnmatch
import pathlib
import re
import sys

PLATFORM = {"Keel", "Store", "Policy", "Multipath", "Toggle", "Addr"}
LIBRARY = PLATFORM | {"Tyr", "BgpCommon", "VelBgp", "show"}
# Includer's folder: the folders (beside itself) whose headers it may include. First match counts.
ROWS = {
    "platform/Tyr": set(),
    **{f"platform/{name}": {"Tyr"} for name in PLATFORM},
    "BgpCommon": {"Tyr", "Keel"},
    "VelBgp": PLATFORM | {"Tyr", "BgpCommon"},
    "show": {"Keel", "Tyr", "VelBgp"},
    "tools/velbgp": LIBRARY,
    "bench": LIBRARY | {"examples"},
    "examples": LIBRARY,
    "tests": LIBRARY | {"tools", "bench", "fuzz"},
    "fuzz": LIBRARY | {"tools", "tests"},
}
# Programs that are never installed may write their own includes from their own folder.
OWN_ROOTS = {"examples": ("examples/",), "tests": ("tests/",), "fuzz": ("fuzz/", "tests/"), "bench": ("bench/",)}
# Folders that see what users see: no XImpl.h.
OUTSIDE = ("show", "tools/velbgp", "bench", "examples")
# Units of VelBgp/, lowest first. Units that match one pattern are side by side and do not include each other.
ORDER = (
    "Version", "Forward", "VelBgpMiscTypes", "BgpPathAttributeEnums", "VelBgpSerialize", "VelBgpCommunityPacketTypes",
    "NotifyingRouteTargetList", "RouteTargetPrefix", "VelBgpCommunity", "ExtCommText", "ExtCommIp6",
    "Stash", "InternedExtComm",
    "ExtCommIp6DedupTable", "Parse/ExtComm", "Parse/ExtComm?*", "CommVector", "CommVectorContent", "DedupBatch", "MatchReason", "MatchTexts", "ValueCommList", "CommList",
    "LargeCommList", "VelBgpCommunityList", "ExtCommIp6List",
    "PathLists", "CommunityTables", "ListText", "TableView", "ReceivedAttributes", "AttributeWriter", "MakeValue", "TypedComm", "ValueText",
    "EditList", "CommListSnapshot", "ListPublisher", "StashedPaths", "VelBgp",
)  # fmt: skip
# Units whose header, or whose sources, are split over several.
PARTS = {
    **{f"Parse/ExtComm{part}": "Parse/ExtComm" for part in ("Kind", "Plugin", "Rule", "RuleCollections")},
    **{f"Ext{part}": "VelBgpCommunityList"
       for part in ("CommList", "CommListContent", "CommListDedupTable", "CommListFormat", "CommClassificationList")},
    **{part: "ListPublisher" for part in ("PublishedAttributes", "PublishedPaths", "PublisherNotes", "PublisherRecords",
                                          "StashedPath")},
    "ValueTextTables": "ValueText",
}  # fmt: skip
# Interning needs decoding, decoding makes interned types: only these sources may look upward.
UPWARD = (
    "VelBgp/VelBgpCommunity.cpp", "VelBgp/ExtCommIp6*.cpp", "VelBgp/NotifyingRouteTargetList.cpp",
    "VelBgp/RouteTargetPrefix.cpp", "VelBgp/Parse/ExtCommContainer.cpp",
)  # fmt: skip
# Headers of others that are not open to everyone (tests and fuzzers may use any).
FOREIGN = {
    "lmdb.h": ("platform/Store", "bench"), "re2/*": ("platform/Policy",),
    "gtest/*": (), "gmock/*": (), "benchmark/*": ("bench",),
    "CLI/*": ("tools/velbgp",), "zlib.h": ("tools/velbgp",), "bzlib.h": ("tools/velbgp",),
}  # fmt: skip

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def row_of(path):
    """The row that a file belongs to, None for files that are no business of ours."""
    return next((row for row in ROWS if path.startswith(row + "/")), None)


def folder_of(path):
    """How the file's folder is called in includes: Tyr, VelBgp, tools, ..."""
    parts = path.split("/")
    return parts[1] if parts[0] == "platform" else parts[0]


def is_impl(path):
    return path.endswith("Impl.h")


def unit_of(path):
    """VelBgp/Parse/ExtCommColorImpl.h -> Parse/ExtCommColor"""
    name = re.sub(r"(Impl)?\.\w+$", "", path.removeprefix("VelBgp/"))
    return PARTS.get(name, name)


def rank_of(unit):
    return next((rank for rank, pattern in enumerate(ORDER) if fnmatch.fnmatchcase(unit, pattern)), None)


class Checker:
    def __init__(self, root):
        self.root = pathlib.Path(root)
        self.files = sorted(
            str(file.relative_to(self.root))
            for top in {row.split("/")[0] for row in ROWS}
            for file in (self.root / top).rglob("*")
            if file.suffix in {".h", ".cpp", ".def"} and row_of(str(file.relative_to(self.root)))
        )
        self.known = set(self.files)
        self.includes = {file: list(self.read(file)) for file in self.files}
        self.complaints = []

    def read(self, file):
        for number, line in enumerate((self.root / file).read_text().splitlines(), 1):
            if match := INCLUDE.match(line):
                yield number, match[1] == '"', match[2]

    def resolve(self, name, row):
        """The file of ours that an include names, written from one of the roots."""
        roots = ("", "platform/") + OWN_ROOTS.get(row, ())
        return next((root + name for root in roots if root + name in self.known), None)

    def run(self):
        for file in self.files:
            for number, quoted, name in self.includes[file]:
                for what in self.check(file, quoted, name):
                    self.complaints.append(f"{file}:{number}: {name}: {what}")
        return self.complaints

    def check(self, file, quoted, name):
        row = row_of(file)
        target = self.resolve(name, row)
        if ".." in name.split("/"):
            yield "write includes from the root, without '..'"
        elif target is None:
            if quoted:
                yield "no header of ours; others' headers stand in angle brackets"
            yield from self.check_foreign(row, name)
        else:
            if not quoted:
                yield "our own headers stand in quotes"
            yield from self.check_rows(file, row, target)
            if row == row_of(target) == "VelBgp":
                yield from self.check_order(file, target)

    def check_foreign(self, row, name):
        for pattern, rows in FOREIGN.items():
            if fnmatch.fnmatchcase(name, pattern) and row not in rows + ("tests", "fuzz"):
                yield f"not open to {row}"

    def check_rows(self, file, row, target):
        folder = folder_of(target)
        if row != row_of(target) and folder not in ROWS[row]:
            yield f"{row} may not include {folder}"
        if target.endswith(".cpp"):
            yield "a source is not to be included"
        public_header = file.endswith(".h") and not is_impl(file) and row not in ("tests", "fuzz")
        if is_impl(target) and (row in OUTSIDE or public_header):
            yield "an XImpl.h is for our own sources only"

    def check_order(self, file, target):
        if target.endswith(".def"):
            return
        unit, other = self.unit_of_includer(file), unit_of(target)
        rank, other_rank = rank_of(unit), rank_of(other)
        if rank is None or other_rank is None:
            yield f"{unit if rank is None else other} has no place in the order of tests/layers/layers.py"
        elif any(fnmatch.fnmatchcase(file, pattern) for pattern in UPWARD):
            return
        elif other_rank > rank:
            yield f"looks upward: {other} stands above {unit}"
        # What a group shares among its sources is no member of the group.
        elif other_rank == rank and other != unit and not (is_impl(target) and self.is_shared(target)):
            yield f"{unit} and {other} are side by side"

    def is_shared(self, impl):
        return impl.removesuffix("Impl.h") + ".h" not in self.known

    def unit_of_includer(self, file):
        """A source without a header of its name belongs to the unit whose header it includes first."""
        unit = unit_of(file)
        if not file.endswith(".cpp") or f"VelBgp/{unit}.h" in self.known:
            return unit
        targets = (self.resolve(name, "VelBgp") for _, _, name in self.includes[file])
        return next((unit_of(t) for t in targets if t and t.startswith("VelBgp/") and t.endswith(".h")), unit)


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parents[2]
    checker = Checker(root)
    complaints = checker.run()
    print("\n".join(complaints + [f"{len(checker.files)} files, {len(complaints)} includes that break a rule"]))
    return 1 if complaints or not checker.files else 0


if __name__ == "__main__":
    sys.exit(main())
