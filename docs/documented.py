"""documented.py LOG: Doxygen's warnings that stand. All do but for "is not documented" of what its name or its place says.

So demanded are comments for each class, function, constant and enumeration of the public headers, except as said below.
"""
import re
import sys

# Rules of (kinds, pattern of the name, of the scope, why no comment is asked for).
NAMED = [
    (".*", r".*", r"::(detail|making|visiting)\b", "not for users, though headers need it"),
    ("function", r"(?P<class>~?\w+)\(.*", r".*\b(?P=class)\b.*", "made and destroyed as the class's comment says"),
    ("function|friend", r"operator\W.*|operator (bool|T).*", r".*", "operators mean what they mean elsewhere"),
    ("function", r"(begin|end|size|empty|hash|compare|swap)\(.*", r".*", "as in any container or interned object"),
    ("function", r"\w+\(.*\).*\b(override|final)\b.*", r".*", "as the base says"),
    ("function", r"\w+\(\) const\b.*", r".*", "reads the attribute that it is named after"),
    ("function", r"\w+(Is|Del|DelAll|Factory)\(.*", r".*", "sets, removes or makes what it is named after"),
    ("function|friend", r"(valueToStrep|strepToValue|sequenceToValue|min|max|dumpState)\(.*", r".*", "one of the set that each value or table has"),
    ("function", r"\w+\(.*\) -> .*", r".*", "tells the compiler which class is meant"),
    ("function|typedef|variable", r".*", r".*(Traits|Form|EditKind|EditValueKind)\b[^:]*", "asked for by the template that takes it, which says what it means"),
    ("typedef", r".*", r".*", "names a type for templates and callers"),
    ("variable", r".*", r"struct .*", "a field, of which the struct's comment speaks"),
    ("variable", r"\w+_", r".*", "for derived classes of our own"),
    ("variable", r"labels|\w+(Factory|Is)", r".*", "of each kind, as VelBgp/Parse/ExtCommKind.h says"),
    ("function", r"(KindRule|BgpParseExtCommKindSm|ExtComm|ExtCommIp6)\(.*", r".*", "constructors of a base"),
    ("enumvalue", r".*", r".*", "its name is its text"),
    ("macro definition", r".*", r".*", "told of where the header tells how it is used"),
    ("variable|enumeration", r"(default|least|most|max)\w+|Durability", r"namespace Routing::Store", "the head of the store's headers tells of them"),
    (".*", r".*", r"file \w+\.def", "rows, told of at their head"),
]


def is_named(kind, name, scope):
    for kinds, names, scopes, _ in NAMED:
        found = re.fullmatch(kinds, kind) and re.fullmatch(names, name, re.S)
        if not found:
            continue
        if "(?P=class)" in scopes:
            scopes = scopes.replace("(?P=class)", re.escape(found["class"].lstrip("~")))
        if re.search(scopes, scope) if scopes.startswith("::") else re.fullmatch(scopes, scope):
            return True
    return False


standing = set()
for line in open(sys.argv[1]):
    found = re.match(r".*: warning: Member (.*) \(([\w ]+)\) of (.*) is not documented\.", line)
    if found and is_named(found[2], found[1], found[3]):
        continue
    found = re.match(r".*: warning: Compound (.*) is not documented\.", line)
    if found and re.search(r"::(detail|making|visiting)::|^std::hash|::Options$", found[1]):
        continue
    if line.strip():
        standing.add(line.strip())
print("\n".join(sorted(standing)) or "every public class, function, constant and enumeration has its comment")
sys.exit(bool(standing))
