"""What other BGP programs read in the attributes that we write. Usage: decoders.py exabgp|tshark WRITE_ATTRIBUTES

Random values of all four kinds go through our library and out again under every filter. What must come out is worked out
here; header and length are read here, and all the rest by ExaBGP's library, or by tshark from UPDATE messages in a capture
file; tshark does not look into attribute 25. Status 77 (a skipped test) where that program is not installed.
"""
import pathlib
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

EACH = {8: 4, 16: 8, 25: 20, 32: 12}
LARGEST_MESSAGE = 4096  # that tshark takes
SKIPPED = 77


def random_value(code):
    value = random.randbytes(EACH[code])
    if code == 16:
        known = ("0002", "0003", "0009", "0102", "010b", "0202", "030b", "030c", "030d", "4004", "4004", "4300", "4300")
        return bytes.fromhex(random.choice(known)) + value[2:]
    return bytes([random.choice((0x00, 0x40)), 2]) + value[2:] if code == 25 else value


def passes(code, value, filter):
    is_all, transitive, bandwidth, validity = (filter >> bit & 1 for bit in range(4))
    return (
        is_all
        or (transitive and (code in (8, 32) or not value[0] & 0x40))
        or (bandwidth and code == 16 and value[:2] == b"\x40\x04")
        or (validity and code == 16 and value[:2] == b"\x43\x00")
    )


def cases():
    """(code, filter, values as received)"""
    for code, each in EACH.items():
        for filter in range(16):
            for count in (1, 3, 17):
                yield code, filter, [random_value(code) for _ in range(count)]
        around = (255 // each, 255 // each + 1, (LARGEST_MESSAGE - 27) // each, 65535 // each, 65535 // each + 1)
        for count in around:
            yield code, 1, random_values(code, count)


def random_values(code, count):
    values = set()
    while len(values) < count:
        values.add(random_value(code))
    return random.sample(sorted(values), count)


def written(program, received):
    lines = "".join(f"{code} {filter} {b''.join(values).hex()}\n" for code, filter, values in received)
    return subprocess.run([program], input=lines, stdout=subprocess.PIPE, check=True, text=True).stdout.split("\n")[:-1]


def attributes(program):
    """(code, the values that must be in it, the attribute) of all that is sent."""
    received = list(cases())
    sent = written(program, received)
    assert len(sent) == len(received)
    for (code, filter, values), hexed in zip(received, sent):
        expected = b"".join(sorted({value for value in values if passes(code, value, filter)}))
        if len(expected) > 65535:
            assert hexed == "refused", (code, filter, hexed[:80])
        elif not expected:
            assert hexed == "", (code, filter, hexed)
        else:
            yield code, expected, bytes.fromhex(hexed)


def check_octets(code, expected, attribute):
    if len(expected) > 255:
        header = struct.pack("!BBH", 0xD0, code, len(expected))
    else:
        header = struct.pack("!BBB", 0xC0, code, len(expected))
    assert attribute == header + expected, (attribute.hex()[:80], expected.hex()[:80])


def exabgp(all_attributes):
    try:
        from exabgp.configuration.setup import environment
    except ImportError:
        return "ExaBGP"
    environment.setup("")
    from exabgp.bgp.message.direction import Direction
    from exabgp.bgp.message.update.attribute.attributes import Attributes

    class Negotiated:
        asn4, addpath, families = True, None, []

    for code, expected, attribute in all_attributes:
        decoded = Attributes().parse(attribute, Direction.IN, Negotiated())
        assert list(decoded) == [code], (list(decoded), attribute.hex()[:80])
        values = [community.pack() for community in decoded[code].communities]
        assert values == split(expected, EACH[code]), attribute.hex()[:80]
        assert decoded[code].pack() == attribute, attribute.hex()[:80]


def split(octets, each):
    return [octets[at : at + each] for at in range(0, len(octets), each)]


def tshark(all_attributes):
    if shutil.which("tshark") is None:
        return "tshark"
    carried = [row for row in all_attributes if 23 + len(row[2]) <= LARGEST_MESSAGE]
    with tempfile.TemporaryDirectory() as folder:
        capture = pathlib.Path(folder, "updates.pcap")
        capture.write_bytes(capture_of([update(attribute) for _, _, attribute in carried]))
        command = ["tshark", "-n", "-r", str(capture), "-T", "pdml"]
        text = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
    packets = xml.etree.ElementTree.fromstring(text).findall("packet")
    assert len(packets) == len(carried)
    for packet, (code, expected, attribute) in zip(packets, carried):
        check_packet(packet, code, expected, attribute)


def update(attribute):
    return b"\xff" * 16 + struct.pack("!HBHH", 23 + len(attribute), 2, 0, len(attribute)) + attribute


def capture_of(messages):
    """A TCP connection to port 179 in IPv4 packets, a message each."""
    out = struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 101)
    sequence = 1
    for number, message in enumerate(messages):
        tcp = struct.pack("!HHIIHHHH", 40000, 179, sequence, 1, 0x5018, 65535, 0, 0) + message
        ip = struct.pack("!HHHHBBH", 0x4500, 20 + len(tcp), number, 0, 64, 6, 0) + bytes([192, 0, 2, 1, 192, 0, 2, 2])
        out += struct.pack("<IIII", number, 0, len(ip + tcp), len(ip + tcp)) + ip + tcp
        sequence += len(message)
    return out


def check_packet(packet, code, expected, attribute):
    where = attribute.hex()[:80]
    bgp = packet.find("proto[@name='bgp']")
    fields = list(bgp.iter("field"))
    marks = [field.get("showname") for field in fields if field.get("name").startswith("_ws.")]
    marks += [proto.get("name") for proto in packet.findall("proto") if proto.get("name").startswith("_ws.")]
    assert marks == [], (marks, where)
    found = [field for field in fields if field.get("name") == "bgp.update.path_attribute"]
    assert [field.get("size") for field in found] == [str(len(attribute))], where
    codes = [field.get("show") for field in fields if field.get("name") == "bgp.update.path_attribute.type_code"]
    assert codes == [str(code)], (codes, where)
    begin = int(found[0].get("pos")) + len(attribute) - len(expected)
    leaves = [field for field in found[0].iter("field") if not len(field) and int(field.get("pos")) >= begin]
    read = {}
    for field in leaves:
        octets = bytes.fromhex(field.get("unmaskedvalue") or field.get("value"))
        read |= {int(field.get("pos")) - begin + i: octet for i, octet in enumerate(octets)}
    missing = [i for i in range(len(expected)) if i not in read]
    assert not missing or code in (16, 25), (missing, where)  # of some it names the whole, and only some parts
    assert all(expected[i] == octet for i, octet in read.items()), where
    whole_ones = {16: ("bgp.ext_community", 8), 25: ("bgp.update.path_attributes.unknown", len(expected))}
    name, each = whole_ones.get(code, ("", 1))
    wholes = [(int(field.get("pos")) - begin, field.get("size")) for field in fields if field.get("name") == name]
    assert not name or wholes == [(at, str(each)) for at in range(0, len(expected), each)], where


def main(decoder, program):
    random.seed(11)
    all_attributes = list(attributes(program))
    for row in all_attributes:
        check_octets(*row)
    absent = {"exabgp": exabgp, "tshark": tshark}[decoder](all_attributes)
    if absent is None:
        return 0
    print(f"{absent} is not installed (scripts/setup ci): only header, length and values were looked at here")
    return SKIPPED


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
