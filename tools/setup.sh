# Shared by run, test, bench and .ci/run: packages, configuring, building. Sourced by bash after
# `set -eu`; expects qdx_root, the checkout. Speaks on standard error only and reads no standard
# input, so that the programs that are started afterwards have both to themselves.
# shellcheck shell=bash

: "${qdx_root:?is set by the script that reads this}"

qdx_say() {
    printf '%s\n' "$*" >&2
}

# qdx_packages group…: lines "package how what" of the given groups.
qdx_packages() {
    local group name how what
    while read -r group name how what; do
        case " $* " in *" $group "*) printf '%s %s %s\n' "$name" "$how" "$what" ;; esac
    done <"$qdx_root/tools/packages.txt"
}

# qdx_evident how what: true when the thing is there, whoever installed it.
qdx_evident() {
    case $1 in
    command) command -v "$2" >/dev/null 2>&1 ;;
    library) pkg-config --exists "$2" 2>/dev/null ;;
    *) return 1 ;;
    esac
}

# qdx_not_installed: of the package names on standard input, those that dpkg does not have.
qdx_not_installed() {
    local name known names
    mapfile -t names
    # shellcheck disable=SC2016 # the format is dpkg's own
    known=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "${names[@]}" 2>/dev/null || true)
    for name in "${names[@]}"; do
        grep -qx "installed $name" <<<"$known" || printf '%s\n' "$name"
    done
}

# qdx_require group…: installs what the groups lack, or names it and ends the script.
qdx_require() {
    local name how what root_command missing=() absent=()
    if command -v dpkg-query >/dev/null; then
        mapfile -t missing < <(qdx_packages "$@" | cut -d' ' -f1 | qdx_not_installed)
        [ ${#missing[@]} -gt 0 ] || return 0
    else
        mapfile -t missing < <(qdx_packages "$@" | cut -d' ' -f1)
    fi

    root_command=
    if [ "$(id -u)" -ne 0 ]; then
        root_command=$(command -v sudo || true)
    fi
    if command -v apt-get >/dev/null && { [ "$(id -u)" -eq 0 ] || [ -n "$root_command" ]; }; then
        qdx_say "Installing packages: ${missing[*]}"
        $root_command apt-get update -q </dev/null >&2 || qdx_say "The package lists are old."
        $root_command env DEBIAN_FRONTEND=noninteractive \
            apt-get install -q -y --no-install-recommends "${missing[@]}" </dev/null >&2 ||
            qdx_fail "The packages could not be installed: ${missing[*]}"
        return 0
    fi

    while read -r name how what; do
        case " ${missing[*]} " in
        *" $name "*) qdx_evident "$how" "$what" || absent+=("$name") ;;
        esac
    done < <(qdx_packages "$@")
    [ ${#absent[@]} -gt 0 ] || return 0
    qdx_say "These Debian packages are needed, and nobody here may install them: ${absent[*]}"
    exit 1
}

# qdx_build preset target…: configures the preset once and builds the targets. Says nothing when
# all is up to date; a failed build shows its messages and ends the script with status 1. One build
# of a preset runs at a time.
qdx_build() {
    local preset=$1 folder=$qdx_root/build/$1
    shift
    mkdir -p "$folder"
    exec 9>"$folder/.lock"
    if command -v flock >/dev/null; then
        flock 9
    fi
    if ! { [ -f "$folder/build.ninja" ] &&
        grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$qdx_root" "$folder/CMakeCache.txt"; }; then
        qdx_say "Configuring $preset; the first build takes some minutes."
        (cd "$qdx_root" && cmake --fresh --preset "$preset") </dev/null >&2 9>&- ||
            qdx_fail "configuring $preset failed"
    fi
    qdx_ninja "$folder" "$@" </dev/null >&2 9>&- || qdx_fail "building $preset failed"
    exec 9>&-
}

# qdx_ninja folder target…: shows what compilers say, and nothing else.
qdx_ninja() (
    set -o pipefail
    ninja -C "$@" --quiet 2>&1 | { grep -v '^ninja: no work to do\.$' || true; }
)

qdx_fail() {
    qdx_say "$1"
    exit 1
}
