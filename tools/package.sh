#!/usr/bin/env bash
# tools/package.sh [--try]: makes the Debian package out of what is committed, and checks it. With
# --try, as root, it is also installed, started, called over a session bus, and removed again.
# The package lies in build/package. Stops at the first failure; exit status 0: all holds.
set -eu -o pipefail
qdx_root=$(cd -P -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=tools/setup.sh
. "$qdx_root/tools/setup.sh"

id=io.github.quarrydex.Quarrydex
out=$qdx_root/build/package
source=$out/source
scratch=$(mktemp -d)
chmod 755 "$scratch"
installed=

apt_get() {
    DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o DPkg::Lock::Timeout=300 \
        -o Dpkg::Use-Pty=0 "$@" </dev/null >&2
}

clean_up() {
    local status=$?
    [ -z "$installed" ] || apt_get purge quarrydex || status=1
    rm -rf "$scratch"
    exit "$status"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

# The tree is laid out as the checkout is, so that the compiler cache knows what ./run has compiled.
# Modes must come out right whatever the umask, so it is an unusual one.
make_package() {
    local build=$source/build/release
    rm -rf "$out"
    mkdir -p "$source"
    git -C "$qdx_root" archive HEAD | tar -x -C "$source"
    SOURCE_DATE_EPOCH=$(git -C "$qdx_root" log -1 --format=%ct)
    export SOURCE_DATE_EPOCH
    umask 077
    cmake -S "$source" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQDX_TESTS=OFF \
        -DQDX_BENCHMARKS=OFF -DCMAKE_EXE_LINKER_FLAGS='-Wl,-z,relro,-z,now' >"$out/cmake.log" ||
        { cat "$out/cmake.log" >&2; qdx_fail "configuring the package failed"; }
    qdx_ninja "$build" all >&2 || qdx_fail "building the package failed"
    cpack --config "$build/CPackConfig.cmake" -B "$out/cpack" >"$out/cpack.log" ||
        { cat "$out/cpack.log" >&2; qdx_fail "packing failed"; }
    umask 022
    mv "$out"/cpack/*.deb "$out"
    package=$(echo "$out"/*.deb)
    chmod 644 "$package" # apt reads it as a user of its own
}

# Everything belongs to root and is readable by all, programs alone are executable.
check_modes() {
    local odd
    odd=$(dpkg-deb --contents "$package" |
        grep -Ev '^(drwxr-xr-x|-rw-r--r--) root/root .*|^-rwxr-xr-x root/root .*/(bin|libexec)/' ||
        true)
    [ -z "$odd" ] || qdx_fail "files with wrong modes:"$'\n'"$odd"
}

check_files() {
    local share=$scratch/files/usr/share
    dpkg-deb --extract "$package" "$scratch/files"
    desktop-file-validate "$share/applications/$id.desktop"
    appstreamcli validate --no-net "$share/metainfo/$id.metainfo.xml" >&2
    check_modes
    grep -qx 'Exec=/usr/bin/quarrydex' "$share/dbus-1/services/$id.service" ||
        qdx_fail "the bus would not find the program"
    # Nobody has asked Debian for this package, so there is no such report to close.
    lintian --allow-root --fail-on error,warning \
        --suppress-tags initial-upload-closes-no-bugs "$package" >&2
}

# call method argument…: to the program on the session bus, which starts it.
call() {
    gdbus call --session --timeout 30 --dest "$id" --object-path "/${id//.//}" --method "$@" >&2
}

# Every line by which a desktop without D-Bus activation starts the program, while it runs already:
# the start tells it and ends.
try_entries() {
    local line
    while read -r line; do
        timeout 30 bash -c "$line" >&2 || qdx_fail "the desktop file's entry fails: $line"
    done < <(sed -n 's/^Exec=//p' "/usr/share/applications/$id.desktop")
}

# Runs on a bus of its own: the desktop's way to start the program, and its end by SIGTERM.
try_bus() {
    local process
    call org.freedesktop.Application.ActivateAction find-duplicates '[]' '{}'
    process=$(gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
        --method org.freedesktop.DBus.GetConnectionUnixProcessID "$id" | tr -dc '0-9 ' |
        awk '{ print $NF }')
    [ "$(readlink "/proc/$process/exe")" = /usr/bin/quarrydex ] ||
        qdx_fail "the name on the bus belongs to another program"
    call org.freedesktop.Application.Activate '{}'
    try_entries
    [ -d "/proc/$process" ] || qdx_fail "the program has not survived its calls"
    kill -TERM "$process"
    timeout 30 tail --pid="$process" -f /dev/null || {
        kill -KILL "$process"
        qdx_fail "the program does not end by SIGTERM"
    }
}

# The installed program, by a user without settings.
try_program() {
    local version hits
    version=$(quarrydex --version)
    [ "$version" = "Quarrydex $(dpkg-deb --field "$package" Version | sed 's/-[^-]*$//')" ] ||
        qdx_fail "--version says: $version"
    mkdir -p "$scratch/folder/below"
    touch "$scratch/folder/below/ReadMe.txt" "$scratch/folder/other.txt"
    hits=$(quarrydex --root "$scratch/folder" --no-persist --list readme)
    [ "$hits" = "$scratch/folder/below/ReadMe.txt" ] || qdx_fail "--list finds: $hits"
    # It greets before it listens; into a pipe, since it may not write files.
    [ "$(/usr/libexec/quarrydex/quarrydex-metadata </dev/null | wc -c)" -gt 0 ] ||
        qdx_fail "the program that reads files does not work"
    export -f call try_entries try_bus qdx_fail qdx_say
    mkdir -m 700 "$scratch/home" "$scratch/run"
    env HOME="$scratch/home" XDG_RUNTIME_DIR="$scratch/run" QT_QPA_PLATFORM=offscreen id="$id" \
        dbus-run-session -- bash -eu -o pipefail -c try_bus
}

try_package() {
    local name left=()
    [ "$(id -u)" -eq 0 ] || qdx_fail "--try installs a package: run it as root"
    ! dpkg-query -W -f='${db:Status-Status}' quarrydex 2>/dev/null | grep -qx installed ||
        qdx_fail "--try would replace the quarrydex that is installed here"
    installed=yes
    apt_get install --no-install-recommends "$package"
    dpkg -L quarrydex >"$scratch/list"
    try_program
    apt_get purge quarrydex
    installed=
    while read -r name; do
        [ -d "$name" ] || ! [ -e "$name" ] || left+=("$name")
    done <"$scratch/list"
    [ ${#left[@]} -eq 0 ] || qdx_fail "left behind: ${left[*]}"
}

case ${1-} in
'' | --try) ;;
*) qdx_fail "usage: tools/package.sh [--try]" ;;
esac
qdx_require build package
make_package
check_files
[ "${1-}" != --try ] || try_package
printf '%s\n' "$package"
