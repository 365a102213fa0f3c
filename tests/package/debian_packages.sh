#!/usr/bin/env bash
# debian_packages.sh CPACK BUILD_DIR SCRATCH_DIR SESSION
# Makes the Debian packages, unpacks them all into one folder, and lets the console found there
# play a session against the simulator found there.
set -euo pipefail

cpack=$1
build=$2
scratch=$3
session=$4

fail() {
    echo "$*" >&2
    exit 1
}

rm -rf "$scratch"
mkdir -p "$scratch/root" "$scratch/run"
"$cpack" --config "$build/CPackConfig.cmake" -B "$scratch/packages" >"$scratch/cpack.log" 2>&1 || {
    cat "$scratch/cpack.log" >&2
    exit 1
}

for package in libbiz-manage1 libbiz-manage-dev libbiz-host1 libbiz-host-dev biz-tools; do
    file=$(find "$scratch/packages" -maxdepth 1 -name "${package}_*.deb")
    [ -n "$file" ] || fail "there is no package $package"
    dpkg-deb -x "$file" "$scratch/root"
done

# Whoever installs the tools gets the libraries that they load.
dpkg-deb -f "$scratch"/packages/biz-tools_*.deb Depends | grep -q 'libbiz-host1 (= ' || fail "biz-tools needs no host kit"
dpkg-deb -f "$scratch"/packages/libbiz-host1_*.deb Depends | grep -q 'libbiz-manage1 (= ' || fail "the host kit needs no library"
dpkg-deb -f "$scratch"/packages/libbiz-manage1_*.deb Depends | grep -q 'libqt5core5a' || fail "the library needs no Qt"
# Run-time packages hold nothing that a program is built with, and the other way round.
! dpkg-deb -c "$scratch"/packages/libbiz-manage1_*.deb | grep -E '\.(h|pc|cmake)$|\.so ->' || fail "libbiz-manage1 holds these"
! dpkg-deb -c "$scratch"/packages/libbiz-manage-dev_*.deb | grep -E '^-.*\.so' || fail "libbiz-manage-dev holds these"

# The tools come with their manual pages, and with completion under the names that bash looks for.
share=$scratch/root/usr/share
for tool in biz_console biz_simulator; do
    [ -f "$share/man/man1/$tool.1" ] || fail "biz-tools has no manual page of $tool"
    bash -c 'source "$0" && complete -p "$1"' "$share/bash-completion/completions/$tool" "$tool" >/dev/null ||
        fail "biz-tools completes no $tool"
done

bin=$scratch/root/usr/bin
unset LD_LIBRARY_PATH
simulator_id=
trap '[ -z "$simulator_id" ] || kill "$simulator_id" 2>/dev/null || true' EXIT
cd "$scratch/run"
: >listening
"$bin/biz_simulator" --model A2 --port 0 >listening &
simulator_id=$!
# The line comes as soon as the port is open; ten seconds are the bound for a broken package.
for _ in $(seq 100); do
    grep -q '^listening on ' listening && break
    sleep 0.1
done
url=$(sed -nE 's/^listening on (tcp:[^ ]+).*/\1/p' listening)
[ -n "$url" ] || fail "the simulator did not say where it listens: $(cat listening)"
# The loaded libraries are the unpacked ones, not those of the build or of the system.
for library in libBIZ_Manage libBIZ_Host; do
    grep -qF "$scratch/root/usr/lib" <(grep "$library" "/proc/$simulator_id/maps") || fail "$library was loaded from elsewhere"
done
timeout 60 "$bin/biz_console" run "$session" --device "$url" --log-dir "$scratch/run" --quiet
