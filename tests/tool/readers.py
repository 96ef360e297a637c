#!/usr/bin/env python3
"""readers.py TOOL DATA [all]: the routes of recorded files, prefix by prefix, as independent readers have them.

bgpdump says what it can of all files, and `routes --bgpdump` says the same octet for octet; mrtparse reads the values of
the communities and the times of RIB entries, which bgpdump does not (with -t change it prints what a pointer has left
behind). Without `all`, field by field, two large files are left out. Skipped (77) without files or without a reader.
"""
import csv
import itertools
import json
import os
import re
import shutil
import signal
import subprocess
import sys

tool, data = sys.argv[1], os.environ.get("VELBGP_TEST_DATA", sys.argv[2])
# bgpdump prints what it can read of records whose NLRI has path identifiers without saying so: not compared there.
RECORDED = ["bird-mrtdump_rib.mrt", "derived-wire-messages.mrt", "ipv6-rib.bz2", "openbgpd_rib_table-v2.mrt",
            "openbgpd_rib_table.mrt", "rib.20140523.0600_firstMB.bz2", "updates.20001104.0124.gz",
            "updates.20190101.0000.gz", "updates.et-header.2015.gz"]
LARGE = {"ipv6-rib.bz2", "updates.et-header.2015.gz"}
# mrtparse breaks off at BGP4MP_ET in files that have other records too, and takes half a minute for a large one.
FOR_MRTPARSE = ["bird-mrtdump_rib.mrt", "openbgpd_rib_table-v2.mrt", "updates.20001104.0124.gz",
                "updates.20190101.0000.gz"]
LOCAL_WITH_IDS = re.compile(r"BGP4MP(_ET)?_AP\|")
faults = 0


def fault(*what):
    global faults
    faults += 1
    if faults <= 20:
        print("DIFFERS:", *what)


def lines(*command):
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, bufsize=1 << 20) as run:
        yield from (line.rstrip("\n") for line in run.stdout)


def path(file):
    return os.path.join(data, file)


def same_but_own_side(theirs, ours):
    """Whether both are the same, but for the peer of records that the collector sent with path identifiers."""
    if theirs == ours:
        return True
    left, right = theirs.split("|"), ours.split("|")
    return LOCAL_WITH_IDS.match(theirs) and left[:3] + left[5:] == right[:3] + right[5:]


def compare_lines(file):
    count = 0
    for theirs, ours in itertools.zip_longest(lines("bgpdump", "-q", "-m", path(file)),
                                              lines(tool, "routes", "--bgpdump", path(file)), fillvalue=""):
        count += 1
        if not same_but_own_side(theirs, ours):
            fault(file, "line", count, theirs, "/", ours)
    return count


def prefix_text(text):
    """A prefix or an address as inet_ntop and a mask leave it."""
    import socket
    address, _, bits = text.partition("/")
    family = socket.AF_INET6 if ":" in address else socket.AF_INET
    octets = int.from_bytes(socket.inet_pton(family, address), "big")
    width = 128 if family == socket.AF_INET6 else 32
    if bits:
        octets = octets >> (width - int(bits)) << (width - int(bits))
    return socket.inet_ntop(family, octets.to_bytes(width // 8, "big")) + ("/" + bits if bits else "")


KNOWN = {}
TYPES = {"B": "rib", "A": "announce", "W": "withdraw"}


NAMED = {"internet": "0:0", "GSHUT": "65535:0", "llgr-stale": "65535:6", "no-llgr": "65535:7", "no-export": "65535:65281",
         "no-advertise": "65535:65282", "local-as": "65535:65283", "local-AS": "65535:65283"}


def in_numbers(name):
    return NAMED[name.group()]


def normal(text):
    if text not in KNOWN:
        KNOWN[text] = prefix_text(text)
    return KNOWN[text]


def of_bgpdump(line):
    """The fields of a line that routes print too; nothing for a state change."""
    fields = line.split("|")
    if fields[2] == "STATE":
        return None
    route = {"type": TYPES[fields[2]], "time": fields[1], "peer": normal(fields[3]), "peerAs": fields[4],
             "prefix": normal(fields[5])}
    if fields[2] == "B":
        del route["time"]
    if "_AP" in fields[0]:
        route["pathId"] = fields.pop(6)
        if LOCAL_WITH_IDS.match(line):
            del route["peer"], route["peerAs"]
    if fields[2] != "W":
        route |= {"asPath": fields[6], "origin": fields[7], "standard": fields[11]}
        if fields[8] != "255.255.255.255":
            route["nextHop"] = normal(fields[8])
    return route


def compare_fields(file):
    """What bgpdump has in its own words, and what is there as JSON and as CSV."""
    theirs = filter(None, map(of_bgpdump, lines("bgpdump", "-q", "-m", path(file))))
    ours = (json.loads(line, parse_float=str) for line in lines(tool, "routes", "--json", path(file)))
    ours = (route for route in ours if "prefix" in route and route["family"].split()[1] in ("unicast", "multicast"))
    table = csv.DictReader(lines(tool, "routes", "--csv", path(file)))
    table = (row for row in table if row["prefix"])
    count = 0
    for reference, route, row in itertools.zip_longest(theirs, ours, table, fillvalue={}):
        count += 1
        for key, value in reference.items():
            if key == "standard":
                have = tuple(re.sub(r"[a-z][-a-z]+|GSHUT", in_numbers, text)
                             for text in (" ".join(route.get(key, [])), row.get(key, "").replace(";", " ")))
                value = re.sub(r"[a-z][-a-zA-Z]+", in_numbers, value)
            elif key == "origin" and key not in route:
                have = "INCOMPLETE", row.get(key) or "INCOMPLETE"  # so it calls none
            else:
                have = str(route.get(key, "")), row.get(key, "")
            if have != (value, value):
                fault(file, "route", count, key, value, "/", have)
    return count


def attribute_lists(attributes):
    lists = {"standard": [], "extended": [], "large": []}
    for attribute in attributes:
        lists["standard"] += ["0x%04x%04x" % tuple(map(int, value.split(":"))) for value in attribute.comm or []]
        lists["extended"] += ["0x%016x" % value for value in attribute.ext_comm or []]
        lists["large"] += ["0x%08x%08x%08x" % tuple(map(int, value.split(":"))) for value in attribute.large_comm or []]
    return {name: values for name, values in lists.items() if values}


def of_mrtparse(file):
    """The lists and the time of each RIB entry, and of each prefix in the NLRI field of an UPDATE."""
    import mrtparse
    for record in mrtparse.Reader(path(file)):
        mrt = record.mrt
        if mrt.rib is not None:
            yield from (attribute_lists(entry.attr) | {"time": entry.org_time} for entry in mrt.rib.entry)
        elif mrt.bgp is not None and mrt.bgp.msg is not None and mrt.bgp.msg.attr is not None:
            lists = attribute_lists(mrt.bgp.msg.attr)
            yield from (lists | {"time": mrt.ts} for _ in mrt.bgp.msg.nlri or [])


def compare_lists(file):
    """Of routes that do not stand in attribute 14, which mrtparse takes apart for fewer families than are there."""
    ours = (json.loads(line) for line in lines(tool, "routes", "--json", "--raw", path(file)))
    ours = (route for route in ours if route["type"] == "rib" or route["family"] == "ipv4 unicast")
    ours = ({kind: route[kind] for kind in ("standard", "extended", "large", "time") if kind in route} for route in ours
            if route["type"] != "withdraw")
    count = 0
    for theirs, mine in itertools.zip_longest(of_mrtparse(file), ours):
        count += 1
        if theirs != mine:
            fault(file, "route", count, theirs, "/", mine)
    return count


def main():
    if not os.path.exists(path(RECORDED[0])):
        print("no recorded files in", data)
        return 77
    if shutil.which("bgpdump") is None:
        print("no bgpdump to compare with")
        return 77
    for file in RECORDED:
        print(file, compare_lines(file), "lines")
        if file not in LARGE or "all" in sys.argv:
            print(file, compare_fields(file), "routes")
    try:
        import mrtparse  # noqa: F401
        signal.signal(signal.SIGPIPE, signal.SIG_IGN)  # which it changes
        for file in FOR_MRTPARSE:
            print(file, compare_lists(file), "routes by mrtparse")
    except ImportError:
        print("no mrtparse to compare with")
    return 1 if faults else 0


sys.exit(main())
