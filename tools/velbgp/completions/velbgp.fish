# Fish completion for velbgp.
function __velbgp_in
    set -l words (commandline -opc)
    test (count $words) -ge 2; and contains -- $words[2] $argv
end

complete -c velbgp -f
complete -c velbgp -l help -d 'Print a summary of the options'
complete -c velbgp -l version -d 'Print the version'
complete -c velbgp -n __fish_use_subcommand -a decode -d 'Say what each community value is'
complete -c velbgp -n __fish_use_subcommand -a diff -d 'Say what changed between the routes of two MRT files'
complete -c velbgp -n __fish_use_subcommand -a list -d 'Intern the communities of a path as lists'
complete -c velbgp -n __fish_use_subcommand -a mrt -d 'Intern the communities of all paths of MRT files'
complete -c velbgp -n __fish_use_subcommand -a routes -d 'Print the routes of MRT files'
complete -c velbgp -n __fish_use_subcommand -a sample -d 'Write an MRT stream to try things on'
complete -c velbgp -n __fish_use_subcommand -a store -d 'Print the lists that mrt --publish put into a store'

complete -c velbgp -n '__velbgp_in decode list' -a 'internet GSHUT llgr-stale no-llgr no-export no-advertise local-as'
complete -c velbgp -n '__velbgp_in diff mrt routes' -F
complete -c velbgp -n '__velbgp_in store' -a '(__fish_complete_directories)'

complete -c velbgp -n '__velbgp_in decode diff list mrt routes store' -l json -d 'Print JSON, one object per line'
complete -c velbgp -n '__velbgp_in diff mrt routes' -l csv -d 'Print CSV'
complete -c velbgp -n '__velbgp_in decode diff list mrt routes' -l names -rF -d 'A table of what communities mean'
complete -c velbgp -n '__velbgp_in decode diff list mrt routes' -l no-mvpn -d 'Decode as if the toggle Mvpn were off'
complete -c velbgp -n '__velbgp_in diff list mrt routes' -l match -x -d 'Match lists with a regular expression'
complete -c velbgp -n '__velbgp_in list' -l explain -d 'Say why each value is sent, kept and matched'

complete -c velbgp -n '__velbgp_in mrt' -l by -x -a 'file peer' -d 'Each file apart, or each peer'
complete -c velbgp -n '__velbgp_in mrt' -l top -x -a all -d 'Show the N most used'
complete -c velbgp -n '__velbgp_in mrt' -l threads -x -d 'Use as many at most'
complete -c velbgp -n '__velbgp_in mrt' -l publish -x -a '(__fish_complete_directories)' -d 'Put the lists into a store'

complete -c velbgp -n '__velbgp_in routes' -l bgpdump -d 'As bgpdump -m prints them'
complete -c velbgp -n '__velbgp_in routes' -l raw -d 'Communities in hex'
complete -c velbgp -n '__velbgp_in routes' -l count -d 'Only how many there are'
complete -c velbgp -n '__velbgp_in routes' -l limit -x -d 'Stop after N of them'

complete -c velbgp -n '__velbgp_in diff routes' -l not -d 'Turn round the one filter behind it'
complete -c velbgp -n '__velbgp_in diff routes' -l prefix -x -d 'Exactly this prefix'
complete -c velbgp -n '__velbgp_in diff routes' -l longer -x -d 'It and more specifics'
complete -c velbgp -n '__velbgp_in diff routes' -l covers -x -d 'It and less specifics'
complete -c velbgp -n '__velbgp_in diff routes' -l peer -x -d 'From this address'
complete -c velbgp -n '__velbgp_in diff routes' -l peer-as -x -d 'From this AS'
complete -c velbgp -n '__velbgp_in diff routes' -l origin-as -x -d 'Originated by this AS'
complete -c velbgp -n '__velbgp_in diff routes' -l as -x -d 'Through this AS'
complete -c velbgp -n '__velbgp_in diff routes' -l as-path -x -d 'With an AS path that matches'
complete -c velbgp -n '__velbgp_in diff routes' -l community -x -d 'With this community'
complete -c velbgp -n '__velbgp_in diff routes' -l rt -x -d 'With this route target'
complete -c velbgp -n '__velbgp_in diff routes' -l family -x -d 'Of this family'
complete -c velbgp -n '__velbgp_in diff routes' -l announced -d 'Announced'
complete -c velbgp -n '__velbgp_in diff routes' -l withdrawn -d 'Withdrawn'
complete -c velbgp -n '__velbgp_in diff routes' -l since -x -d 'At this time or later'
complete -c velbgp -n '__velbgp_in diff routes' -l until -x -d 'At this time or earlier'

complete -c velbgp -n '__velbgp_in store' -l key -x -d 'Only keys that begin so'
complete -c velbgp -n '__velbgp_in store' -l follow -d 'Go on with what changes'
complete -c velbgp -n '__velbgp_in sample' -l paths -x -d 'How many paths'
complete -c velbgp -n '__velbgp_in sample' -l seed -x -d 'Where the random numbers start'
