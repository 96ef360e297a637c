#!/usr/bin/env bash
# run.sh BUILD SOURCE CXX GENERATOR: installs BUILD, moves the tree elsewhere, and uses it as strangers do.
set -euo pipefail
build=$1 source=$2 cxx=$3 generator=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
fail() { echo "install: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$prefix"

# Exactly the public headers, and all that they include.
public=$({
  cd "$source" && find BgpCommon VelBgp show -name '*.h' -print
  find platform -name '*.h' -printf '%P\n'
} | grep -v 'Impl\.h$' | sort)
installed=$(cd "$prefix/include/velbgp" && find . -name '*.h' -printf '%P\n' | sort)
diff <(echo "$public") <(echo "$installed") || fail "the installed headers (>) are not the public ones (<)"
# A stranger's own names stand before them: short words are not ours to take in the global namespace.
{
  echo 'struct Addr {}; struct Policy {}; struct Store {}; struct Toggle {};'
  awk '{ print "#include \"" $0 "\"" }' <<<"$installed"
} >"$work/all.cpp"
"$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Werror -fsyntax-only -I"$prefix/include/velbgp" "$work/all.cpp"

# All that inline functions call leaves the library; Clang cannot be told to keep them all.
if ! "$cxx" --version | grep -q clang; then
  echo 'int main() {}' >>"$work/all.cpp"
  "$cxx" -std=c++20 -fkeep-inline-functions -I"$prefix/include/velbgp" "$work/all.cpp" -o "$work/all" \
    -L"$(dirname "$(find "$prefix" -name libVelBgp.so)")" -lVelBgp || fail "inline functions call what is not there"
fi

# Nothing of Boost or the standard library leaves the library: a program may hold other builds of the same templates.
ours='(3Acl|10BgpShowCli|4Keel|7Routing|3Tyr)'
foreign=$(nm -D --defined-only "$(find "$prefix" -name libVelBgp.so)" | awk '{ print $3 }' |
  grep -vE "^_Z(N|NK|T[VISTC]N|T[hv].*_N|(GV)?ZNK?)$ours" || true)
[ -z "$foreign" ] || fail "the library exports $foreign"

"$prefix/bin/velbgp" --version >/dev/null || fail "the installed tool does not start"
"$prefix/bin/velbgp" decode 0x0002fde800000064 | grep -q RouteTarget || fail "the installed tool does not decode"

# find_package(VelBgp): the examples, on their own.
cp -r "$source/examples" "$work/stranger"
cmake -S "$work/stranger" -B "$work/cmake" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake" -j 2 >/dev/null
ctest --test-dir "$work/cmake" --output-on-failure --no-tests=error

# A CMake before 3.23 knows no file sets of headers; the package reads which one it is from this variable.
mkdir "$work/old"
cat >"$work/old/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.20)
project(Old LANGUAGES CXX)
set(CMAKE_VERSION 3.20.6)
find_package(VelBgp REQUIRED)
get_target_property(folders VelBgp::VelBgp INTERFACE_INCLUDE_DIRECTORIES)
find_file(header VelBgp/VelBgpCommunity.h PATHS ${folders} NO_DEFAULT_PATH REQUIRED)
END
cmake -S "$work/old" -B "$work/old/build" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$prefix" >/dev/null || fail "an old CMake does not find the headers"

# pkg-config, where it is.
if command -v pkg-config >/dev/null; then
  export PKG_CONFIG_PATH
  PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name velbgp.pc)")
  # shellcheck disable=SC2046
  "$cxx" -std=c++20 "$work/stranger/decode.cpp" -o "$work/decode" $(pkg-config --cflags --libs velbgp) \
    -Wl,-rpath,"$(pkg-config --variable=libdir velbgp)"
  "$work/decode" | diff - "$work/stranger/decode.out"
fi
