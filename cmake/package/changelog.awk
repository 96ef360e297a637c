# CHANGELOG.md as a Debian changelog: a section is an entry, a heading in it "[ Added ]", a bullet a star. "Unreleased" is
# the entry of -v version, dated SOURCE_DATE_EPOCH or now; where that version is released already it is left out, as is what
# stands before the sections. Lines are filled to 79 columns. Fails when nothing is said of the version.
function fill(   i) {
  for (i = 1; i <= NF; ++i) {
    if (length(line) + 1 + length($i) > 79) { print line; line = "   " }
    line = line " " $i
  }
}
function say(mark, text) {
  if (line != "") print line
  print ""
  line = mark
  $0 = text
  fill()
}
function finish() {
  if (line != "") print line
  line = ""
  if (open) printf "\n -- %s  %s\n\n", maintainer, date
  open = 0
}
function entry(of, when,   command) {
  finish()
  command = "LC_ALL=C date -R -u -d " when
  command | getline date
  close(command)
  printf "velbgp (%s) unstable; urgency=medium\n", of
  open = 1
  if (of == version) told = 1
}
BEGIN { epoch = ENVIRON["SOURCE_DATE_EPOCH"] }
FNR == 1 { while ((getline ahead < FILENAME) > 0) if (index(ahead, "## " version " - ") == 1) released = 1 }
/^## Unreleased$/ { if (!released) entry(version, epoch == "" ? "now" : "@" epoch); next }
/^## [0-9.]+ - [0-9-]+$/ { entry($2, $4); next }
/^## / { print "changelog: " $0 > "/dev/stderr"; exit failed = 1 }
!open || /^$/ { next }
/^### / { say("  [", substr($0, 5) " ]"); next }
/^- / { say("  *", substr($0, 3)); next }
/^  / { fill(); next }
{ say(" ", $0) }
END {
  if (failed) exit 1
  finish()
  if (told) exit 0
  print "changelog: nothing of " version > "/dev/stderr"
  exit 1
}
