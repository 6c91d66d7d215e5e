# Completion of quarrydex(1) for bash.
# shellcheck shell=bash

# _quarrydex_list word…: the last element of a list with commas, each word once.
_quarrydex_list() {
    local cur=${COMP_WORDS[COMP_CWORD]} before word
    before=${cur%"${cur##*,}"}
    compopt -o nospace
    for word; do
        case ,$before in
        *",$word,"*) ;;
        *) [[ $before$word == "$cur"* ]] && COMPREPLY+=("$before$word") ;;
        esac
    done
}

_quarrydex_words() {
    mapfile -t COMPREPLY < <(compgen -W "$*" -- "${COMP_WORDS[COMP_CWORD]}")
}

_quarrydex() {
    local word
    COMPREPLY=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word != --selftest ]] || return 0 # queries follow, to the end
    done

    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --root | --exclude) compopt -o dirnames ;;
    --explain | --snapshot) compopt -o default ;;
    --duplicates) _quarrydex_words csv m3u-surplus m3u-keep m3u-all ;;
    --stages) _quarrydex_list size quickHash fullHash sameSong fingerprint ;;
    --sort) _quarrydex_words name path size date created ;;
    --kind) _quarrydex_words exact general ;;
    --appearance) _quarrydex_words dark light ;;
    --filter) _quarrydex_words folders audio video images docs archives ;;
    --show-columns)
        _quarrydex_list name artist title album genre year bpm key duration bitrate rate codec \
            bits channels dims pages size date created atime ext kind drive path
        ;;
    --list | --search | --query | --types | --limit | --min-size | --tolerance | --after) ;;
    *)
        _quarrydex_words --toggle --show --search --background \
            --list --batch --explain --duplicates --selftest --startup-bench --version --help -h \
            --root --exclude --types --no-persist --show-columns --kind \
            --snapshot --query --filter --select --dupes --chooser --settings --appearance --after \
            --sort --desc --show-junk --limit --print0 --json \
            --stages --min-size --tolerance
        ;;
    esac
}

complete -F _quarrydex quarrydex
