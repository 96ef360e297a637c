for arguments in '' [nonsense] 'decode --nonsense' mrt 'mrt --top [5] f' 'list --match' 'sample --paths -1' 'sample extra'; do
  velbgp $arguments
  echo $?
done
for command in '' decode list mrt sample; do
  velbgp $command --help | head -n 1
  velbgp $command --version
done
