#!/usr/bin/env bash
# The packages, as a stranger meets them: made, looked through by lintian, and in a bare Debian 12 installed, used as
# README.md's "Five minutes" says, word by word, and removed without a trace. Leaves nothing but build/packages. Needs root.
. "$(dirname "$0")/../scripts/common.sh"
setup build package
fail() { echo "package: $*" >&2; exit 1; }

# The indented commands of that section of README.md whose first words are these.
readme_commands() { sed -n '/^## Five minutes/,/^## Build/s/^    //p' README.md | grep -E "^($1)"; }
readme_block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/p" README.md | sed '/^```/d'; }

eval "$(readme_commands scripts/)"
lintian --allow-root --fail-on error,warning build/packages/*deb

work=$(mktemp -d)
root=$work/debian
cleanup() {
  umount -q "$root/proc" || true
  rm -rf --one-file-system "$work"
}
trap cleanup EXIT
mkdir "$work/shipped"
for package in build/packages/*deb; do dpkg-deb -R "$package" "$work/shipped/$(basename "$package")"; done
if grep -rlF "$PWD" "$work/shipped"; then fail "what is shipped names a folder of this machine"; fi
mmdebstrap --quiet --variant=apt bookworm "$root"
mount -t proc proc "$root/proc"
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive LC_ALL=C sh -euc "cd /home; $1" </dev/null; }
# What a package may leave: nothing, but in dpkg's, apt's and ldconfig's own files.
files() { inside 'find / -xdev -not -path "/var/*" -not -path "/proc/*" -not -path "/home/*" -not -path "/tmp/*" | sort'; }

inside 'apt-get -qq update
  apt-get -qq install -y --no-install-recommends g++ cmake make pkg-config man-db bash-completion zsh fish >/dev/null'
mkdir -p "$root/home/build"
cp -r build/packages examples "$root/home/"
mv "$root/home/packages" "$root/home/build/"
files >"$root/home/before"

echo "package: installs"
inside "$(readme_commands apt-get) >/dev/null"
readme_block cpp >"$root/home/first.cpp"
readme_block text >"$root/home/first.out"
echo "package: README.md's commands"
inside "set -x; $(readme_commands 'g[+][+]|./|velbgp')"
inside './first | diff - first.out'
echo "package: the manual page and what shells complete, as they are found there"
inside 'velbgp --version; man velbgp | grep -q "^NAME"'
inside 'bash -c "set +u; . /usr/share/bash-completion/bash_completion; _completion_loader velbgp; complete -p velbgp" >/dev/null'
inside "zsh -fc 'autoload -Uz compinit; compinit -D; test \$_comps[velbgp] = _velbgp'"
inside "HOME=/home fish -c 'complete -C \"velbgp deco\"' | grep -q ^decode"
recorded=${VELBGP_TEST_DATA:-../shared/data/mrt}/updates.20190101.0000.gz
if [ -f "$recorded" ]; then
  cp "$recorded" "$root/home/updates.gz"
  inside 'velbgp mrt --top 3 updates.gz'
fi
echo "package: examples"
inside 'cmake -S examples -B examples/build >/dev/null; cmake --build examples/build -j 2 >/dev/null; ctest --test-dir examples/build --output-on-failure --no-tests=error'

echo "package: is whole; installs over itself, with debug symbols, and one package by one"
ours="\$(dpkg-query -W -f '\${Package} ' '*velbgp*')"
inside "dpkg -V $ours"
inside "apt-get -qq install -y --reinstall ./build/packages/*deb >/dev/null; dpkg -V $ours"
inside "dpkg --remove $ours; for package in 'libvelbgp[0-9]' libvelbgp-dev velbgp_; do dpkg -i build/packages/\$package*.deb; done
  ./first; velbgp --version" >/dev/null

echo "package: removes"
inside "apt-get -qq purge -y --autoremove $ours >/dev/null; ! ldconfig -p | grep -i velbgp"
files >"$root/home/after"
diff "$root/home/before" "$root/home/after" || fail "the packages leave (>) or take away (<) files"
