"""Communities and lists as gdb prints them, in a process or in a core dump: `source tools/gdb/velbgp.py`, then
`print path`, `print *community`. Nothing of the program is called; values are as `velbgp decode` reads them."""
import struct

import gdb

SLAB_UNIT = 8
MOST_VALUES_INSIDE = 2048 - 28


def address(value):
    return int(value.address if value.address is not None else value)


def octets(at, count):
    return gdb.selected_inferior().read_memory(at, count).tobytes()


def kind(value):
    return value.dynamic_type.strip_typedefs().unqualified().name.rpartition("::")[2]


class Community:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{kind(self.value)} {self.text()}, references: {int(self.value['count_'])}"

    def text(self):
        return f"0x{int(self.value['content_']['value_']):016x}"


class Ip6Community(Community):
    def text(self):
        content = octets(address(self.value["content_"]), 20)
        return "0x" + (content[:18] + struct.pack("!H", *struct.unpack("=H", content[18:]))).hex()


class List:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{kind(self.value)} of {' '.join(self.values()) or 'none'}, references: {self.references()}"

    def references(self):
        return int(self.value.cast(gdb.lookup_type("Keel::DedupHandleBase"))["count_"])


class ExtendedList(List):
    def values(self):
        word = int(self.value["comms_"]["word_"])
        community = gdb.lookup_type("Routing::Bgp::ExtComm").pointer()
        if word & 1 == 0:
            places = [] if word == 2**64 - 2 else [word]
        else:
            base = int.from_bytes(octets(address(gdb.parse_and_eval("&Keel::detail::slabBase").dereference()), 8), "little")
            count, = struct.unpack("=I", octets(word & ~3, 4))
            places = [base + SLAB_UNIT * ref for ref in struct.unpack(f"={count}I", octets((word & ~3) + 4, 4 * count))]
        return [Community(gdb.Value(place).cast(community).dereference()).text() for place in places]


class Ip6List(List):
    def values(self):
        start = self.value["comms_"]["_M_impl"]["_M_start"]
        count = self.value["comms_"]["_M_impl"]["_M_finish"] - start
        return [Ip6Community((start + i).dereference()["px"].dereference()).text() for i in range(int(count))]


class PlainList(List):
    numbers = 1

    def values(self):
        count, each = int(self.value["count_"]), 4 * self.numbers
        at = address(self.value["room_"])
        if count * each > MOST_VALUES_INSIDE:
            at, = struct.unpack("=Q", octets(at, 8))
        words = struct.unpack(f"={count * self.numbers}I", octets(at, count * each))
        return ["0x" + "".join(f"{word:08x}" for word in words[i:i + self.numbers]) for i in range(0, len(words), self.numbers)]


class LargeList(PlainList):
    numbers = 3


class Pointer:
    def __init__(self, value):
        self.value = value["px"]

    def to_string(self):
        if int(self.value) == 0:
            return "null"
        printer = gdb.default_visualizer(self.value.dereference())
        return printer.to_string() if printer else str(self.value)


def fitting(value):
    """The printer of an object, by its own class or one that it is derived from."""
    kinds = [value.type.strip_typedefs().unqualified()]
    if kinds[0].code != gdb.TYPE_CODE_STRUCT or not kinds[0].name:
        return None
    if kinds[0].name.startswith("boost::intrusive_ptr<"):
        return Pointer(value)
    kinds = [value.dynamic_type.strip_typedefs().unqualified()] if "Routing::Bgp::" in kinds[0].name else []
    for one in kinds:
        if one.name in PRINTERS:
            return PRINTERS[one.name](value.cast(one))
        kinds += [field.type.strip_typedefs() for field in one.fields() if field.is_base_class]
    return None


PRINTERS = {f"Routing::Bgp::{name}": printer for name, printer in (
    ("ExtComm", Community), ("ExtCommIp6", Ip6Community), ("ExtCommList", ExtendedList), ("ExtCommIp6List", Ip6List),
    ("CommList", PlainList), ("LargeCommList", LargeList))}
gdb.pretty_printers.append(fitting)
