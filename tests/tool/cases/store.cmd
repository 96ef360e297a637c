# status: 1
# What mrt publishes, store prints as list does, also while mrt is still at work, and goes on with what changes; what is
# no store is said to be none.
published() {
  velbgp sample --paths 400 --seed 3 | velbgp mrt --json --publish s - >counts
  velbgp store --json s >stored
  python3 -c '
import json
for line in open("stored"):
    print(*(value for name, kind in json.loads(line).items() if name != "key" for value in kind["values"]))' |
    velbgp list --json >listed
  sed 's/"key":"[0-9]*",//' stored | cmp - listed && echo the same as list, "$(wc -l <stored)" paths
  velbgp store s | head -n 5
  velbgp store --json --key 000000012 s | sed 's/,"\(ext\|large\|stand\).*//'
  velbgp store --json --key= s | cmp - stored
  velbgp store --key 1 s
}

# What was printed so far comes to what the store shows: the values under each key.
follows() {
  for _ in $(seq 200); do
    python3 -c '
import json, sys
def shown(name):
    paths = {}
    for line in open(name):
        path = json.loads(line)
        key = path.pop("key")
        paths[key] = path
        if path == {"gone": True}: del paths[key]
        else: paths[key] = {kind: list["values"] for kind, list in path.items()}
    return paths
sys.exit(shown("followed") != shown("stored"))' 2>/dev/null && return
    sleep 0.05
  done
  return 1
}
followed() {
  for signal in INT TERM; do
    velbgp store --json --follow s >followed &
    follows || echo not all
    velbgp sample --paths 50 --seed 4 | velbgp mrt --json --publish s - >counts2
    velbgp store --json s >stored
    follows && echo "$(grep -c gone followed)" gone
    kill -s $signal $!
    wait $! && echo ended by $signal
    velbgp sample --paths 400 --seed 3 | velbgp mrt --json --publish s - >counts2
    velbgp store --json s >stored
  done
  velbgp store --follow s | head -n 1
}

# The next one to publish drops what was there. Its input has not ended while the store is read.
at_work() {
  mkfifo input
  velbgp mrt --json --publish s input >counts2 &
  exec 3>input
  velbgp sample --paths 50 --seed 3 >&3
  for _ in $(seq 200); do
    [ "$(velbgp store --json s | wc -l)" -eq 39 ] && echo 39 paths at work && break
    sleep 0.05
  done
  velbgp mrt --publish s /dev/null | head -n 1
  exec 3>&-
  wait
  velbgp store --json s | wc -l
}

broken() {
  mkdir empty
  echo text >file
  for store in absent empty file; do velbgp store $store; done
  velbgp mrt --json --publish file /dev/null | cut -c 1-21
  : >s/data.mdb
  velbgp store s
  # A limit on the size of files is a full disk: an error, and all the rest of the work is done.
  velbgp sample --paths 5000 --seed 3 >many
  velbgp mrt --json - <many >counts
  (ulimit -f 200 && velbgp mrt --json --publish full - <many | cmp - counts && echo counted)
  velbgp store absent absent
  velbgp store absent
}

{ published && followed && at_work && broken; } 2>errors
status=$?
sed "s|$PWD/||g" errors >&2
exit $status
