#!/usr/bin/env bash
# scripts/release and ci/abi.sh at work, in a small repository: one function, checks and packages that are stand-ins.
. "$(dirname "$0")/../scripts/common.sh"
setup build package
use_ccache
mkdir -p build
work=$(mktemp -d "$PWD/build/releasing.XXXXXX")
trap 'rm -rf "$work"' EXIT
fail() { tail -n 30 "$work/log"; echo "releasing: $*" >&2; exit 1; }

mkdir -p "$work/house"/{.ci,scripts,ci,cmake,VelBgp,platform,BgpCommon,show}
cp scripts/{common.sh,packages.txt,release,setup} "$work/house/scripts/"
cp ci/abi.sh VelBgp/Version.h "$work/house/VelBgp/"
mv "$work/house/VelBgp/abi.sh" "$work/house/ci/"
cd "$work/house"
export GIT_AUTHOR_NAME=a GIT_AUTHOR_EMAIL=a GIT_COMMITTER_NAME=a GIT_COMMITTER_EMAIL=a GIT_CONFIG_GLOBAL=/dev/null
git init -q -b trunk
sed -i -e 's/"[0-9.]*"/"0.1.0"/' -e 's/NUMBER [0-9]*$/NUMBER 100/' VelBgp/Version.h
printf '# Changelog\n\nThe ABI may change.\n\n## Unreleased\n\n- first\n' >CHANGELOG.md
echo 'libvelbgp0.1, find_package(VelBgp 0.1 REQUIRED), 10.0.1.1' >README.md
echo /build/ >.gitignore
printf '#!/bin/sh\n! ls "%s/broken" 2>/dev/null\n' "$work" | tee .ci/run >ci/symbols.sh
# shellcheck disable=SC2016
printf '%s\n' '#!/bin/sh' 'mkdir -p build/packages && cd build/packages && cp ../../VelBgp/Version.h it.deb && sha256sum it.deb >SHA256SUMS' >scripts/package
chmod +x .ci/run ci/symbols.sh scripts/package
cat >CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.25)
file(STRINGS VelBgp/Version.h version REGEX "^#define VELBGP_VERSION \"")
string(REGEX REPLACE "[^0-9.]" "" version "${version}")
project(VelBgp VERSION ${version} LANGUAGES CXX)
add_library(VelBgp SHARED lib.cpp)
target_include_directories(VelBgp PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
set_target_properties(VelBgp PROPERTIES SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
END
cat >CMakePresets.json <<'END'
{"version": 6, "configurePresets": [{"name": "package", "binaryDir": "${sourceDir}/build/package", "generator": "Ninja",
 "cacheVariables": {"CMAKE_BUILD_TYPE": "RelWithDebInfo"}}], "buildPresets": [{"name": "package", "configurePreset": "package"}]}
END
echo 'struct List { int length; }; int size(const List& list); int other();' >VelBgp/Api.h
echo '#include "VelBgp/Api.h"
int size(const List& list) { return list.length; }
int other() { return 1; }' >lib.cpp
git add -A
git commit -qm first

# state: the commit, its tags, what differs from it.
state() { git rev-parse HEAD; git tag; git status --porcelain; git worktree list; }
# refused WORDS COMMAND ...: it fails, says that, and leaves all as it was.
refused() {
  local words=$1 before
  before=$(state)
  if "${@:2}" >"$work/log" 2>&1; then fail "$* should have failed"; fi
  grep -qF -- "$words" "$work/log" || fail "${*:2}: does not say: $words"
  [ "$before" = "$(state)" ] || fail "${*:2}: left $(state)"
}
# good WORDS COMMAND ...: it succeeds and says that.
good() {
  "${@:2}" >"$work/log" 2>&1 || fail "${*:2}"
  grep -qF -- "$1" "$work/log" || fail "${*:2}: does not say: $1"
}

good 'no release to compare with' ci/abi.sh
refused usage scripts/release 0.1
touch "$work/broken"
refused broken scripts/release 0.1.0
refused broken scripts/release --trial 0.1.0
rm "$work/broken"
touch new
refused 'not committed' scripts/release 0.1.0
rm new
before=$(state)
good 'A TRIAL: nothing is released' scripts/release --trial 0.1.0
[ "$before" = "$(state)" ] || fail "a trial leaves $(state)"
good 'Released here' scripts/release 0.1.0
[ "$(git log --format=%s)" = $'Release 0.1.0\nfirst' ] || fail "the commits are $(git log --format=%s)"
[ "$(git describe --exact-match)" = v0.1.0 ] || fail "no tag"
[ -z "$(git status --porcelain)" ] || fail "left $(git status --porcelain)"
(cd build/packages && sha256sum --quiet -c SHA256SUMS) || fail "no packages"
grep -q "^## 0.1.0 - $(date -u +%Y)" CHANGELOG.md || fail "the changelog has no 0.1.0"
refused 'there is a v0.1.0' scripts/release 0.1.0
refused 'nothing in "Unreleased"' scripts/release 0.1.1
good 'that of v0.1.0' ci/abi.sh
git tag kept

# change VERDICT EDIT NEXT: with this edit of the interface, what is said before and after CHANGELOG.md names it, and which
# version may be next.
change() {
  local verdict=$1 edit=$2 next=$3 to
  git reset -q --hard kept
  sed -i "$edit" lib.cpp VelBgp/Api.h
  sed -i 's/^## 0/## Unreleased\n\n- The function other() is new.\n\n&/' CHANGELOG.md
  git commit -qam change
  refused 'CHANGELOG.md does not say so' ci/abi.sh
  sed -i 's/^- The function.*/- ABI: another one./' CHANGELOG.md
  git commit -qam 'changelog'
  good "$verdict" ci/abi.sh
  [ "$next" = patch ] || refused 'the minor version must change' scripts/release --trial 0.1.1
  [ "$next" = patch ] && to=0.1.1 || to=0.2.0
  good 'A TRIAL' scripts/release --trial "$to"
}
change 'breaks that of v0.1.0' '/^int other/d; s/ int other();//' minor
change 'breaks that of v0.1.0' 's/int length;/int first; &/' minor
good 'Released here' scripts/release 0.2.0
[ "$(cat README.md)" = 'libvelbgp0.2, find_package(VelBgp 0.2 REQUIRED), 10.0.1.1' ] || fail "README.md: $(cat README.md)"
grep -q 'NUMBER 200$' VelBgp/Version.h || fail "the number of 0.2.0"
git tag -d v0.2.0 >/dev/null
change 'adds to that of v0.1.0' 's/int other().*/& int more();/; s/^int other() {.*/int other() { return 1; }\nint more() { return 2; }/' patch
echo "releasing: good"
