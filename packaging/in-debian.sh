#!/usr/bin/env bash
# Runs a command in a Debian of its own, on a copy of this repository with all changes to files that git knows: so one
# machine builds and tests for several Debians. Needs root, git and mmdebstrap.
#   usage: in-debian.sh [--suite SUITE] [--keep DIR] [COMMAND...]
# SUITE is a release's name (trixie), the command ./test.sh. The Debian goes with its command unless it lies in DIR, where
# the next run finds packages and builds of this one.
set -euo pipefail
cd "$(dirname "$0")/.."

suite=trixie
keep=''
while [[ ${1:-} == --* ]]; do
    case $1 in
        --suite) suite=${2:?--suite needs the name of a release} ;;
        --keep) keep=${2:?--keep needs a directory} ;;
        *) echo "$0: no option $1; there are --suite SUITE and --keep DIR" >&2; exit 2 ;;
    esac
    shift 2
done
[ $# -gt 0 ] || set -- ./test.sh
[ "$(id -u)" -eq 0 ] || { echo "$0: run this as root: it mounts and changes the root" >&2; exit 1; }
command -v mmdebstrap >/dev/null || { echo "$0: install mmdebstrap" >&2; exit 1; }

# Nobody else sees what a command mounts here, so nothing is mounted in what `finish` removes; and when the command ends,
# all that it has started ends with it. It runs in the background, so that a signal ends it at once.
running=''
apart() {
    unshare --mount --ipc --pid --fork --mount-proc --kill-child "$@" <&0 &
    running=$!
    local status=0
    wait "$running" || status=$?
    running=''
    return "$status"
}
finish() {
    if [ -n "$running" ]; then
        pkill -KILL --parent "$running" || true
        wait "$running" || true
    fi 2>/dev/null
    [ -n "$keep" ] || rm -rf --one-file-system "$root"
}
root=${keep:-$(mktemp -d /var/tmp/in-debian.XXXXXX)}
trap finish EXIT
trap 'exit 130' INT TERM HUP

if [ ! -e "$root/srv/source" ]; then
    # From where this machine has its own packages, when it is a Debian that has some.
    sources=$(apt-get indextargets --format '$(ORIGIN) $(LABEL) $(REPO_URI)' 'Created-By: Packages' 2>/dev/null | sort -u \
        | awk -v suite="$suite" '$1 == "Debian" && $2 == "Debian" { print "deb", $3, suite, "main" }
                                 $1 == "Debian" && $2 == "Debian-Security" { print "deb", $3, suite "-security", "main" }')
    apart mmdebstrap --quiet --variant=apt "$suite" "$root" ${sources:+"$sources"}
    chmod 755 "$root"
fi
grep -q "^VERSION_CODENAME=$suite\$" "$root/etc/os-release" || { echo "$0: $root is no $suite" >&2; exit 1; }
cp /etc/resolv.conf "$root/etc/resolv.conf"

copy=$root/srv/source
git init --quiet "$copy"
changed=$(git stash create)
git push --quiet --force "$copy" "${changed:-HEAD}:refs/heads/pushed"
git -C "$copy" checkout --quiet --force --detach pushed

apart bash -euc '
    root=$1
    shift
    mount --bind "$root" "$root"  # the root of a system is a mount
    mount -t proc proc "$root/proc"
    mount --rbind /sys "$root/sys"
    mount --rbind /dev "$root/dev"
    mount -t tmpfs tmpfs "$root/dev/shm"
    # This shell stays, because it takes leave of those whose parents have gone.
    chroot "$root" env -i HOME=/root LANG=C.UTF-8 TERM="${TERM:-dumb}" PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        sh -c "cd /srv/source && exec \"\$@\"" sh "$@" || exit $?' bash "$root" "$@"
