# What a route is in every form of record; then the same as CSV, which says no less, and for people.
perl "${0%/*}/records.pl" >records
velbgp routes --json records
velbgp routes --csv records 2>err >csv
velbgp routes --json records 2>err | python3 -c '
import csv, json, sys
same = 0
for line, row in zip(sys.stdin, csv.DictReader(open("csv")), strict=True):
    route = json.loads(line, parse_float=str)
    text = {key: ";".join(value) if isinstance(value, list) else str(value) for key, value in route.items()}
    text["local"] = text.get("local", "").lower()
    if text != {key: value for key, value in row.items() if value or key in route or key == "local"}:
        print(line, row)
    same += 1
print(same, "the same")'
velbgp routes records 2>err | sed -n '1,5p;/#\|0x/p'
