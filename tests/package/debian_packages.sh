#!/usr/bin/env bash
# debian_packages.sh SOURCE_DIR SCRATCH_DIR VERSION QT
# Makes the Debian packages, looks into them, unpacks them all into one folder, and lets the console
# found there play a session against the simulator found there.
set -euo pipefail

source=$1
scratch=$2
version=$3
# How the names of this Qt's packages and libraries end.
if [ "$4" = 6 ]; then
    infix=-qt6 number=-1 core='libqt6core6(t64)?' qt_dev=qt6-base-dev other_qt=5
else
    infix='' number=1 core='libqt5core5(a|t64)' qt_dev=qtbase5-dev other_qt=6
fi
manage=libbiz-manage$infix
host=libbiz-host$infix
testkit=libbiz-testkit$infix
names="$manage$number $manage-dev $host$number $host-dev $testkit-dev biz-tools biz-monitor"

fail() {
    echo "$*" >&2
    exit 1
}

mkdir -p "$scratch"
rm -rf "$scratch/root" "$scratch/run" "$scratch/unpacked"
mkdir -p "$scratch/root" "$scratch/run" "$scratch/unpacked"
# Compiled once, for this Qt alone, and without the packages of debugging symbols, which nobody looks at here.
export DEB_BUILD_OPTIONS=noautodbgsym
export DEB_BUILD_PROFILES=pkg.libbiz-manage.noqt$other_qt
"$source/scripts/packages" "$scratch/build" >"$scratch/packages.log" 2>&1 || {
    tail -n 50 "$scratch/packages.log" >&2
    exit 1
}

# The gateway's package is made where the gateway is built.
gateway=$(cd "$scratch/build/packages" && find . -name 'biz-gateway_*.deb')
[ -z "$gateway" ] || names+=' biz-gateway'
for name in $names; do
    file=$(find "$scratch/build/packages" -maxdepth 1 -name "${name}_*.deb")
    [ -n "$file" ] || fail "there is no package $name"
    dpkg-deb -x "$file" "$scratch/root"
    dpkg-deb -R "$file" "$scratch/unpacked/$name"
done

# needs PACKAGE REGEX: one of the packages that it depends on.
needs() {
    grep -qE "^Depends:.* $2" "$scratch/unpacked/$1/DEBIAN/control" || fail "$1 does not depend on $2"
}
# holds_none PACKAGE REGEX: of the paths in it.
holds_none() {
    ! (cd "$scratch/unpacked/$1" && find . -path ./DEBIAN -prune -o -print) | grep -E "$2" || fail "$1 holds these"
}

# Whoever installs the tools gets the libraries that they load.
needs biz-tools "$host$number \\(= "
needs "$host$number" "$manage$number \\(= "
needs "$manage$number" "$core \\("
# Whoever builds a host gets the headers that its own include.
needs "$host-dev" "$manage-dev \\(= "
needs "$manage-dev" "$qt_dev"
needs "$testkit-dev" "$host-dev \\(= "
# Whoever wants MQTT gets it with the gateway, and nobody else does.
for name in $names; do
    [ "$name" = biz-gateway ] || ! grep -q '^Depends:.*mosquitto' "$scratch/unpacked/$name/DEBIAN/control" ||
        fail "$name depends on MQTT"
done
if [ -n "$gateway" ]; then
    needs biz-gateway 'biz-tools \(= '
    needs biz-gateway 'libqt[56]sql[56]-sqlite'
    needs biz-gateway libmosquitto1
    find "$scratch/unpacked/biz-gateway" -name biz-gateway.service | grep -q . || fail 'biz-gateway has no service'
    [ -f "$scratch/root/usr/share/man/man8/biz_gateway.8.gz" ] || fail 'biz-gateway has no manual page'
fi
# Run-time packages hold nothing that a program is built with, and the other way round.
for name in "$manage" "$host"; do
    holds_none "$name$number" '\.(h|pc|cmake|so)$'
    holds_none "$name-dev" '\.so\.'
done
# Several architectures side by side; a loader that knows the new library; programs that ask for what they use.
for name in "$manage" "$host"; do
    for package in "$name$number" "$name-dev"; do
        grep -qx 'Multi-Arch: same' "$scratch/unpacked/$package/DEBIAN/control" || fail "$package is not of Multi-Arch: same"
    done
    grep -q ldconfig "$scratch/unpacked/$name$number/DEBIAN/triggers" || fail "$name$number triggers no ldconfig"
    [ -s "$scratch/unpacked/$name$number/DEBIAN/shlibs" ] || fail "$name$number has no shlibs file"
done
grep -q 'biz_CMDSWork' "$scratch/unpacked/$manage$number/DEBIAN/symbols" || fail "$manage$number has no symbols file"
for name in $names; do
    [ "$(dpkg-deb -f "$scratch/build/packages/${name}_"*.deb Version)" = "$version-1" ] ||
        fail "$name is not of version $version-1: see debian/changelog"
done
# Each carries its licence, and libraries lie where this machine's kind of them does.
libraries=usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
for name in $names; do
    [ -s "$scratch/unpacked/$name/usr/share/doc/$name/copyright" ] || fail "$name has no copyright file"
    holds_none "$name" '^\./usr/lib/[^/]*\.(so|pc)'
done

# The tools come with their manual pages, and with completion under the names that bash looks for.
share=$scratch/root/usr/share
for tool in biz_console biz_simulator biz_monitor; do
    [ -f "$share/man/man1/$tool.1.gz" ] || fail "there is no manual page of $tool"
    bash -c 'source "$0" && complete -p "$1"' "$share/bash-completion/completions/$tool" "$tool" >/dev/null ||
        fail "bash completes no $tool"
    [ -f "$share/fish/vendor_completions.d/$tool.fish" ] || fail "fish completes no $tool"
done
for file in _biz_tools _biz_monitor; do
    [ -f "$share/zsh/vendor-completions/$file" ] || fail "there is no $file for zsh"
done
# The monitor comes apart, for machines that have a screen.
needs biz-monitor "$host$number \\(= "
holds_none biz-tools 'biz_monitor'
for file in applications/biz_monitor.desktop icons/hicolor/scalable/apps/biz_monitor.svg; do
    [ -f "$share/$file" ] || fail "biz-monitor has no $file"
done
[ -f "$share/biz_manage/schemas/session.schema.json" ] || fail 'biz-tools has no schemas'

# A package of a program that uses the libraries learns from them what it depends on.
mkdir -p "$scratch/run/debian"
printf 'Source: host\n\nPackage: host\nArchitecture: any\n' >"$scratch/run/debian/control"
depends=$(cd "$scratch/run" && dpkg-shlibdeps -O -S"$scratch/unpacked/$manage$number" -S"$scratch/unpacked/$host$number" \
    -e"$scratch/root/usr/bin/biz_console" 2>"$scratch/shlibdeps.log") || fail "$(cat "$scratch/shlibdeps.log")"
[[ $depends == *"$host$number (>= $version)"* ]] || fail "a host learns that it depends on: $depends"

export LD_LIBRARY_PATH=$scratch/root/$libraries
bin=$scratch/root/usr/bin
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
    grep -qF "$scratch/root/$libraries" <(grep "$library" "/proc/$simulator_id/maps") || fail "$library was loaded from elsewhere"
done
timeout 60 "$bin/biz_console" run "$source/examples/sessions/a2.json" --device "$url" --log-dir "$scratch/run" --quiet
