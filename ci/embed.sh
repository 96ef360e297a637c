#!/usr/bin/env bash
# The ways of having the library that are not the package: from an archive by FetchContent, as a subdirectory, static,
# and installed under DESTDIR with Debian's folders. What each is built into prints what examples/decode.out says.
. "$(dirname "$0")/../scripts/common.sh"
setup build
use_ccache
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "embed: $*" >&2; exit 1; }

# project NAME LINES: a project of one program, whose CMakeLists.txt gets the library by these lines.
project() {
  mkdir "$work/$1"
  cp examples/decode.cpp "$work/$1/"
  {
    printf 'cmake_minimum_required(VERSION 3.25)\nproject(Embeds LANGUAGES CXX)\n%s\n' "$2"
    printf 'add_executable(decode decode.cpp)\ntarget_link_libraries(decode PRIVATE VelBgp::VelBgp)\n'
  } >"$work/$1/CMakeLists.txt"
}
# built NAME [OPTION ...]
built() {
  local name=$1
  shift
  cmake -S "$work/$name" -B "$work/$name/build" -G Ninja -DCMAKE_BUILD_TYPE=Release "$@" >"$work/log" || { cat "$work/log"; fail "$name"; }
  cmake --build "$work/$name/build" -j "$jobs" >"$work/log" || { cat "$work/log"; fail "$name"; }
  "$work/$name/build/decode" | diff - examples/decode.out || fail "$name"
  echo "embed: $name: good"
}

git archive -o "$work/velbgp.tar.gz" HEAD
project fetched "include(FetchContent)
FetchContent_Declare(VelBgp URL $work/velbgp.tar.gz)
set(BUILD_SHARED_LIBS OFF)
set(VELBGP_INSTALL ON)
FetchContent_MakeAvailable(VelBgp)"
built fetched -DCMAKE_INSTALL_PREFIX=/usr
[ ! -e "$work/fetched/build/libVelBgp.so" ] || fail "a static library was asked for"

project subdirectory "add_subdirectory($PWD velbgp)"
built subdirectory

# Installed for Debian, below a folder that is not its root; the static library brings what it is to be linked with.
DESTDIR=$work/root cmake --install "$work/fetched/build" >/dev/null
libraries=$work/root/usr/lib/$(gcc -print-multiarch)
[ -f "$libraries/libVelBgp.a" ] || fail "not in Debian's folder for libraries: $(find "$work/root" -name 'libVelBgp*')"
project installed 'find_package(VelBgp REQUIRED)'
built installed -DCMAKE_PREFIX_PATH="$work/root/usr"
export PKG_CONFIG_PATH=$libraries/pkgconfig
# shellcheck disable=SC2046
g++ -std=c++20 examples/decode.cpp -o "$work/decode" $(pkg-config --cflags --libs velbgp)
"$work/decode" | diff - examples/decode.out || fail "pkg-config"
