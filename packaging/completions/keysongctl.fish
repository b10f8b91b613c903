# Completion of keysongctl for fish.

function __keysongctl_listed
    keysongctl $argv[1] 2>/dev/null | string replace -r '^[* ] ' ''
end

set -l commands status toggle on off volume sets set output tone preview settings quit stats render import check access help
complete -c keysongctl -f
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -l version -d 'Print the version'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a status -d 'What the program is doing'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a toggle -d 'Turn the sound on or off'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a on -d 'Turn the sound on'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a off -d 'Turn the sound off'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a volume -d 'Show or set the volume'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a sets -d 'List the sound sets'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a set -d 'Use a sound set'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a output -d 'List the outputs, or use one'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a tone -d 'Set tone and body'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a preview -d 'Use a set and play a phrase'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a settings -d 'Show the settings'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a quit -d 'End the program'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a stats -d 'How many keys were pressed'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a render -d 'Turn a log of input events into a WAV file'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a import -d 'Make a sound set of a pack'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a check -d 'Say what is wrong with a set'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a access -d 'Who may hear the keyboards'
complete -c keysongctl -n "not __fish_seen_subcommand_from $commands" -a help -d 'Tell more about a command'
complete -c keysongctl -n '__fish_seen_subcommand_from help' -a "$commands"
complete -c keysongctl -n '__fish_seen_subcommand_from set preview' -a '(__keysongctl_listed sets)'
complete -c keysongctl -n '__fish_seen_subcommand_from output' -a '(__keysongctl_listed output)'
complete -c keysongctl -n '__fish_seen_subcommand_from access' -a 'status grant revoke'
complete -c keysongctl -n '__fish_seen_subcommand_from status' -l json -d 'Every property, as JSON'
complete -c keysongctl -n '__fish_seen_subcommand_from stats' -l reset -d 'Start again from 0'
complete -c keysongctl -n '__fish_seen_subcommand_from render' -F
complete -c keysongctl -n '__fish_seen_subcommand_from render' -l set -r -d 'A set or its folder'
complete -c keysongctl -n '__fish_seen_subcommand_from render' -l seed -x -d 'Seed of the random choices'
complete -c keysongctl -n '__fish_seen_subcommand_from render' -l tone -x -d '-1 to 1'
complete -c keysongctl -n '__fish_seen_subcommand_from render' -l body -x -d '-1 to 1'
complete -c keysongctl -n '__fish_seen_subcommand_from render' -l volume -x -d '0 to 1'
complete -c keysongctl -n '__fish_seen_subcommand_from render' -l no-spatial -d 'No stereo field'
complete -c keysongctl -n '__fish_seen_subcommand_from render' -s o -l output -r -d 'The WAV file to write'
complete -c keysongctl -n '__fish_seen_subcommand_from import' -F
complete -c keysongctl -n '__fish_seen_subcommand_from import' -l replace -d 'Take the place of an installed set'
complete -c keysongctl -n '__fish_seen_subcommand_from check' -x -a '(__fish_complete_directories)'
