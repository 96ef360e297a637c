for arguments in '' [nonsense] 'decode --nonsense' mrt 'mrt --top [5] f' 'list --match' 'sample --paths -1' 'sample extra' \
  'lst' 'mrt --thread 2 f' 'mrt --top 0 f' 'mrt --by AS f' 'mrt --json --csv f' 'store a -- b' '--json list' 'list -j' 'mrt --' \
  'diff f' 'diff - -'; do
  velbgp $arguments
  echo $?
done
# What is no text is not written to a terminal.
script -qec 'velbgp sample' /dev/null </dev/null | tr -d '\r'
for command in '' decode list mrt sample; do
  velbgp $command --help | head -n 1
  velbgp $command --version | sed "s/^velbgp [0-9][0-9.]*$/velbgp VERSION/"
done
# Behind "--" all are operands, also behind others; an option takes whatever stands behind it.
velbgp decode 1:2 -- --json -1:2 2>&1 | sed -n '1p; /^velbgp/s/,.*//p'
: >-x
velbgp mrt --json --match -- -- -x | cut -c 1-11
velbgp list --json --match '[0-9]' --match=-- 1:2 -- -- 2>/dev/null
# Nothing wraps at 80 columns.
for command in '' decode diff list mrt routes sample store; do velbgp $command --help; done | grep '.\{81\}' || echo narrow enough
