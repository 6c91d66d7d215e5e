#!/usr/bin/env bash
# tools/fresh-machine.sh [--mirror URL] [--suite NAME] [--package]: what the README promises, in a
# bare Debian with nothing done by hand: a clone of what is committed, ./run and ./test; with
# --package also tools/package.sh --try. Needs root, debootstrap, and some 6 GB in TMPDIR (/var/tmp).
#
# Without --mirror the packages come from where this machine's own come from. All mounts are in a
# mount namespace of the script's own, and everything is removed at the end, whatever the end.
# Exit status: 0 all passed, else that of the first step that failed.
set -eu -o pipefail
qdx_root=$(cd -P -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=tools/setup.sh
. "$qdx_root/tools/setup.sh"

suite=bookworm
mirror=
with_package=
arguments=("$@")
while [ $# -gt 0 ]; do
    case $1 in
    --mirror) mirror=${2:?--mirror needs a URL} && shift ;;
    --suite) suite=${2:?--suite needs a name} && shift ;;
    --package) with_package=yes ;;
    *) qdx_fail "usage: tools/fresh-machine.sh [--mirror URL] [--suite NAME] [--package]" ;;
    esac
    shift
done
[ "$(id -u)" -eq 0 ] || qdx_fail "debootstrap and chroot need root"
if [ "${QDX_OWN_MOUNTS-}" != $$ ]; then
    qdx_require fresh
    export QDX_OWN_MOUNTS=$$
    exec unshare --mount --propagation private -- "${BASH_SOURCE[0]}" "${arguments[@]}"
fi

# step name command…: a process group of its own, so that a signal ends the script at once and the
# script can end all that belongs to the step.
step() {
    local begun=$SECONDS status
    printf '\n=== %s\n' "$1" >&2
    set -m
    "${@:2}" </dev/null &
    job=$!
    set +m
    wait "$job" || {
        status=$?
        printf '=== %s FAILED (status %d)\n' "$1" "$status" >&2
        exit "$status"
    }
    job=
    printf '=== %s: %d s\n' "$1" $((SECONDS - begun)) >&2
}

# mounts_below folder: mount points in it, the innermost first.
mounts_below() {
    cut -d' ' -f5 /proc/self/mountinfo | grep -F -- "$1/" | sort -r || true
}

# Ends what still runs in the machine. Only its own processes have it as their root.
end_processes() {
    local process
    for process in /proc/[0-9]*; do
        [ "$(readlink "$process/root" 2>/dev/null)" != "$machine" ] ||
            kill -KILL "${process#/proc/}" 2>/dev/null || true
    done
}

remove_machine() {
    local status=$? point
    trap '' INT TERM
    [ -z "$job" ] || kill -KILL -- "-$job" 2>/dev/null || true
    end_processes
    while read -r point; do
        umount "$point" || umount --lazy "$point" || true
    done < <(mounts_below "$machine")
    if [ -n "$(mounts_below "$machine")" ]; then
        qdx_say "Something is still mounted in $machine, so it stays."
        exit 1
    fi
    rm -rf --one-file-system -- "$machine" || status=1
    exit "$status"
}

# Where apt on this machine gets the suite from.
own_mirror() {
    # shellcheck disable=SC2016 # the format is apt's own
    apt-get indextargets --format '$(ORIGIN) $(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
        awk -v suite="$suite" '$1 == "Debian" && $2 == suite { print $3; exit }'
}

# The proxy of apt on this machine, if it has one.
own_proxy() {
    local proxy=
    eval "$(apt-config shell proxy Acquire::http::Proxy)"
    printf '%s' "$proxy"
}

bootstrap() {
    local proxy
    mirror=${mirror:-$(own_mirror)}
    [ -n "$mirror" ] || qdx_fail "apt knows no mirror of $suite here: name one by --mirror"
    proxy=$(own_proxy)
    [ -z "$proxy" ] || export http_proxy=$proxy
    debootstrap --variant=minbase "$suite" "$machine" "$mirror" >"$machine.log" 2>&1 || {
        tail -n 20 "$machine.log" >&2
        rm -f "$machine.log"
        return 1
    }
    rm -f "$machine.log"
    [ -z "$proxy" ] ||
        printf 'Acquire::http::Proxy "%s";\n' "$proxy" >"$machine/etc/apt/apt.conf.d/01proxy"
    cp --dereference /etc/resolv.conf "$machine/etc/resolv.conf"
    # No package may start a service.
    printf '#!/bin/sh\nexit 101\n' >"$machine/usr/sbin/policy-rc.d"
    chmod 755 "$machine/usr/sbin/policy-rc.d"
}

mount_system() {
    mount -t proc proc "$machine/proc"
    mount -t sysfs -o ro sysfs "$machine/sys" || mount --bind /sys "$machine/sys"
    mount --bind /dev "$machine/dev"
    mount -t devpts -o newinstance,ptmxmode=0666 devpts "$machine/dev/pts"
    mount -t tmpfs -o mode=1777 tmpfs "$machine/dev/shm"
}

# inside command…: in the clone on the new machine, with nothing of this machine's environment.
inside() {
    # shellcheck disable=SC2016 # expanded inside
    chroot "$machine" /usr/bin/env -i HOME=/root LANG=C.UTF-8 TERM=dumb \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        bash -c 'cd /root/quarrydex && exec "$@"' bash "$@"
}

clone() {
    git clone --quiet --no-hardlinks "$qdx_root" "$machine/root/quarrydex"
}

first_search() {
    local hits
    hits=$(inside ./run --root /usr --no-persist --list readme)
    [ -n "$hits" ] || qdx_fail "nothing was found"
    ! grep -iv 'readme[^/]*$' <<<"$hits" || qdx_fail "these names hold no readme"
    printf '%d hits\n' "$(wc -l <<<"$hits")" >&2
}

job=
machine=$(mktemp -d "${TMPDIR:-/var/tmp}/quarrydex-fresh.XXXXXX")
chmod 755 "$machine" # it becomes "/" of users who are not root
trap remove_machine EXIT
trap 'exit 130' INT TERM

step 'bare system' bootstrap
mount_system
step 'clone' clone
step './run' first_search
step './test' inside ./test
[ -z "$with_package" ] || step 'package' inside tools/package.sh --try
