#compdef quarrydex
# Completion of quarrydex(1) for zsh.

_quarrydex() {
    local -a modes=(--toggle --show --search --background --list --batch --explain --duplicates --selftest
        --startup-bench --snapshot --version --help -h)

    _arguments -S \
        "($modes)--toggle[show the search window, or hide it where it is in front]" \
        "($modes)--show[show the search window]" \
        "($modes)--search[show it and search for the text]:text: " \
        "($modes)--background[start without a window]" \
        "($modes)--list[print the path of every hit, one a line]:query: " \
        "($modes)--batch[answer one JSON request a line from standard input]" \
        "($modes)--explain[say why a path is found, or why not]:path:_files" \
        "($modes)--duplicates[find duplicate music and print a list of it]:list:(csv m3u-surplus m3u-keep m3u-all)" \
        "($modes)--selftest[scan, then time every query under every order]:*:query: " \
        "($modes)--startup-bench[print how long it takes until there are rows]" \
        "($modes)--version[print the version]" \
        "($modes)"{--help,-h}'[print a short manual]' \
        '*--root[a folder to search]:folder:_files -/' \
        '*--exclude[a folder to leave out]:folder:_files -/' \
        '--types[record only files of these types]:types, for example *.mp3;*.flac: ' \
        '--no-persist[neither read nor write saved catalogues]' \
        '--show-columns[the columns of the results]:columns:_values -s , column name artist title album genre year bpm key duration bitrate rate codec bits channels dims pages size date created atime ext kind drive path' \
        '--kind[how kinds of files are named]:style:(exact general)' \
        "($modes)--snapshot[write a picture of a window and end]:PNG file:_files" \
        '--query[search for this before the picture is taken]:query: ' \
        '--filter[choose this category]:category:(folders audio video images docs archives)' \
        '--select[select the first row]' \
        '--dupes[picture the duplicates]' \
        '--chooser[picture the source chooser]' \
        '--settings[picture the settings]' \
        '--appearance[dark or light]:look:(dark light)' \
        '--after[wait before the picture is taken]:seconds: ' \
        '--sort[order of the hits]:key:(name path size date created)' \
        '--desc[largest, newest or last name first]' \
        '--show-junk[hidden and system files too]' \
        '--limit[print at most so many hits]:number: ' \
        '(--json)--print0[end every path with a NUL instead of a newline]' \
        '(--print0)--json[one JSON object a line]' \
        '--stages[how duplicates are told]:stages:_values -s , stage size quickHash fullHash sameSong fingerprint' \
        '--min-size[files of fewer bytes are left out]:bytes: ' \
        '--tolerance[how much the lengths of one song may differ]:milliseconds: '
}

_quarrydex "$@"
