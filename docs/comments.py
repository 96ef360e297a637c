"""comments.py FILE: the file as Doxygen reads it. Headings of documents get the anchors that other readers give them. A
header's first comment becomes its page; other comments that stand on their own lines document what follows: up to an
empty line all declarations, but for attributes of another type and those with a comment behind them, which is theirs;
behind a body of several lines just those of the same name. What stands above a forward declaration is about more than
that. A class without any refers to the page; what looks like code in a comment is code."""
import pathlib
import re
import sys

text = open(sys.argv[1]).read()
if sys.argv[1].endswith(".md"):
    name = pathlib.Path(sys.argv[1]).stem.lower()
    anchor = lambda heading: re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
    text = re.sub(r"^(##+ )(.*)$", lambda m: f"{m[1]}{m[2]} {{#{name}_{anchor(m[2])}}}", text, flags=re.M)
    print(re.sub(r"\]\(#([^)]+)\)", rf"](#{name}_\1)", text), end="")
    sys.exit()


def literal(line):
    """Nothing in a comment is a command or a tag of Doxygen's."""
    return re.sub(r"([@\\<>#&%$])", r"\\\1", line).replace("::", "\\::")


def page(lines):
    """A comment's lines; those that are indented by two more are shown as they are."""
    shown, code = [], False
    for line in lines:
        indented = line.startswith("  ") and line.strip()
        if indented and not code:
            shown.append("@code{.unparsed}")
        if not indented and code and line.strip():
            shown.append("@endcode")
        code = bool(indented) or (code and not line.strip())
        shown.append(line if code else literal(line))
    return shown + ["@endcode"] * code


# Of these a class's own comment speaks, if any.
SPECIAL = re.compile(r"~|= (default|delete);|\boperator\b|^\s*(friend|using|static_assert)\b|(\w+)\(const \3&")


class Group:
    """The declarations that one comment stands above. A declaration begins at the comment's column, after one that has
    ended."""

    def __init__(self, column, text):
        self.column, self.text, self.depth, self.ended, self.bodies = column, text, 0, False, False
        self.kind = self.name = None

    def comment(self, line, declared, trailing):
        """What is to be said above this line once more; None when the line ends the group."""
        column = len(line) - len(line.lstrip())
        if self.depth == 0 and (not line.strip() or column < self.column or line.lstrip()[0] in "}#"):
            return None
        begins = self.depth == 0 and column == self.column
        kind, name = (re.findall(r"^\s*(.*?)(\w+)(?:\(|;| =|\{)", declared) or [(None, None)])[0]
        reads = re.search(r"\w+\(\) const", declared)  # an attribute: it may be another one altogether
        alike = name == self.name or (not self.bodies and (kind == self.kind or not reads))
        again = begins and self.ended and alike and not trailing and not SPECIAL.search(line)
        if self.name is None:
            self.kind, self.name = kind, name
        code = line.split("//")[0].rstrip()
        self.bodies = self.bodies or code.count("{") > code.count("}")
        self.depth += code.count("{") + code.count("(") - code.count("}") - code.count(")")
        self.ended = self.depth == 0 and code.endswith((";", "}"))
        return self.text if again else []


out, lines, at, first, groups = [], text.splitlines(), 0, True, []
while at < len(lines):
    comment = re.match(r"(\s*)// ?(.*)", lines[at])
    if not comment:
        declared = next((line for line in lines[at:] if not re.match(r"\s*(template|requires)\b", line)), "")
        trailing = re.search(r"\S  // (?!namespace)", lines[at])
        again = [(group, group.comment(lines[at], declared, trailing)) for group in groups]
        groups = [group for group, said in again if said is not None]
        out += [line for _, said in again for line in said or []]
        # What a header's head describes has no comment of its own.
        if re.match(r"(class|struct) [^;]*$", declared) and not (out and re.match(r"\s*///|template", out[-1])):
            out.append(f"/// See the page of {pathlib.Path(sys.argv[1]).name}.")
        out.append(re.sub(r"(\S.*?)  // (?!namespace)(.*)$", lambda m: f"{m[1]}  ///< {literal(m[2])}", lines[at]))
        at += 1
        continue
    block = []
    while at < len(lines) and (more := re.match(r"\s*//( ?)(.*)", lines[at])):
        block.append(more[2])
        at += 1
    head = ["@file"] if first else []
    # A comment that an empty line follows is about a section, not about what comes next.
    loose = not first and at < len(lines) and not lines[at].strip()
    loose = loose or re.match(r"(template <[^\n]*\n)?\s*(class|struct) \w+;", "\n".join(lines[at:at + 2]))
    marker = "//" if loose else "///"
    said = [f"{comment[1]}{marker} {line}".rstrip() for line in (block if loose else head + page(block))]
    out += said
    groups = [group for group in groups if group.depth]
    if not loose and not first:
        groups.append(Group(len(comment[1]), said))
    first = False
print("\n".join(out))
