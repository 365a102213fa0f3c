#!/usr/bin/env bash
# missing_packages_test.sh TREE WORK_FOLDER: who can install nothing is given the line that an administrator can run,
# with what is missing of all the lists and nothing else; who can has it installed.
set -euo pipefail

. "$1/scripts/lib/packages.sh"
mkdir -p "$2"
printf '# some\nno-such-package-a # why\n\ndpkg\n' >"$2/one.txt"
echo 'no-such-package-b' >"$2/other.txt"

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

# Stand for the system's.
id() { echo "$user"; }
sudo() { [ "$1" != -n ]; }
apt-get() { echo "apt-get $*" >>"$journal"; }
env() {
    while [[ $1 == *=* ]]; do shift; done
    "$@"
}
journal=$2/journal

: >"$journal"
user=1000
! output=$(ensure_packages "$2/one.txt" "$2/other.txt" 2>&1 </dev/null) || fail 'nothing is wrong'
[[ $output == *'apt-get install --no-install-recommends no-such-package-a no-such-package-b' ]] ||
    fail "it says: $output"
[ ! -s "$journal" ] || fail "it ran: $(cat "$journal")"

user=0
ensure_packages "$2/one.txt" >/dev/null
grep -qx 'apt-get install .* no-such-package-a' "$journal" || fail "root's packages: $(cat "$journal")"

echo dpkg >"$2/one.txt"
user=1000
[ -z "$(ensure_packages "$2/one.txt" 2>&1)" ] || fail 'something is said although nothing is missing'
echo 'Missing packages are installed or named.'
