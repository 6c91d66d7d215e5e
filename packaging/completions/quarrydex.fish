# Completion of quarrydex(1) for fish.

# Arguments of --stages and --show-columns: lists with commas.
function __quarrydex_list
    set -l given (string split , -- (commandline -ct))[1..-2]
    for word in $argv
        contains -- $word $given; or echo (string join , -- $given $word)
    end
end

complete -c quarrydex -f

# The running instance
complete -c quarrydex -l background -d 'Start without a window'
complete -c quarrydex -l toggle -d 'Show the search window, or hide it'
complete -c quarrydex -l show -d 'Show the search window'
complete -c quarrydex -l search -x -d 'Show it and search for the text'

# Modes
complete -c quarrydex -l list -x -d 'Print the path of every hit'
complete -c quarrydex -l batch -d 'Answer JSON requests from standard input'
complete -c quarrydex -l explain -rF -d 'Say why a path is found, or why not'
complete -c quarrydex -l duplicates -x -d 'Find duplicate music and print a list' -a 'csv m3u-surplus m3u-keep m3u-all'
complete -c quarrydex -l selftest -d 'Scan, then time every query'
complete -c quarrydex -l startup-bench -d 'Print how long it takes until there are rows'
complete -c quarrydex -l version -d 'Print the version'
complete -c quarrydex -s h -l help -d 'Print a short manual'

# What is searched
complete -c quarrydex -l root -x -d 'A folder to search' -a '(__fish_complete_directories)'
complete -c quarrydex -l exclude -x -d 'A folder to leave out' -a '(__fish_complete_directories)'
complete -c quarrydex -l types -x -d 'Record only files of these types'
complete -c quarrydex -l no-persist -d 'Neither read nor write saved catalogues'

# The windows
complete -c quarrydex -l show-columns -x -d 'The columns of the results' -a '(__quarrydex_list name artist title album genre year bpm key duration bitrate rate codec bits channels dims pages size date created atime ext kind drive path)'
complete -c quarrydex -l kind -x -d 'How kinds of files are named' -a 'exact general'
complete -c quarrydex -l snapshot -rF -d 'Write a picture of a window and end'
complete -c quarrydex -l query -x -d 'Search for this before the picture'
complete -c quarrydex -l filter -x -d 'Choose this category' -a 'folders audio video images docs archives'
complete -c quarrydex -l select -d 'Select the first row'
complete -c quarrydex -l dupes -d 'Picture the duplicates'
complete -c quarrydex -l chooser -d 'Picture the source chooser'
complete -c quarrydex -l settings -d 'Picture the settings'
complete -c quarrydex -l appearance -x -d 'Dark or light' -a 'dark light'
complete -c quarrydex -l after -x -d 'Wait seconds before the picture'

# With --list
complete -c quarrydex -l sort -x -d 'Order of the hits' -a 'name path size date created'
complete -c quarrydex -l desc -d 'Largest, newest or last name first'
complete -c quarrydex -l show-junk -d 'Hidden and system files too'
complete -c quarrydex -l limit -x -d 'Print at most so many hits'
complete -c quarrydex -l print0 -d 'End every path with a NUL'
complete -c quarrydex -l json -d 'One JSON object a line'

# With --duplicates
complete -c quarrydex -l stages -x -d 'How duplicates are told' -a '(__quarrydex_list size quickHash fullHash sameSong fingerprint)'
complete -c quarrydex -l min-size -x -d 'Files of fewer bytes are left out'
complete -c quarrydex -l tolerance -x -d 'How many milliseconds lengths may differ'
