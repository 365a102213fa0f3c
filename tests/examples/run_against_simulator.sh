#!/usr/bin/env bash
# run_against_simulator.sh SIMULATOR OPTION... -- PROGRAM [ARGUMENT...]
# Runs PROGRAM against a simulator with these options, in a scratch folder. PROGRAM gets, last, what
# the simulator listens on: the URL of a device, or first address, number and port of OSD devices.
set -euo pipefail

simulator=("$1")
shift
while [ "$1" != -- ]; do
    simulator+=("$1")
    shift
done
shift
program=("$@")

scratch=$(mktemp -d)
simulator_id=
trap 'kill "$simulator_id" 2>/dev/null || true; rm -rf "$scratch"' EXIT
cd "$scratch"

"${simulator[@]}" >listening &
simulator_id=$!

# The line comes as soon as the port is open; ten seconds are the bound for a broken build.
for _ in $(seq 100); do
    grep -q '^listening on ' listening && break
    sleep 0.1
done

read -r _ _ where _ last _ port <<<"$(grep '^listening on ' listening)" || true
case $where in
tcp://*) arguments=("$where") ;;
udp://*) arguments=("${where#udp://}" $((${last##*.} - ${where##*.} + 1)) "$port") ;;
*)
    echo "the simulator did not say where it listens:" >&2
    cat listening >&2
    exit 1
    ;;
esac
status=0
timeout 20 "${program[@]}" "${arguments[@]}" || status=$?
[ "$status" -eq 0 ] || echo "exit status $status"
