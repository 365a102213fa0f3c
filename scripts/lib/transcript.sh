# Sourced in front of each docs/transcripts/NAME.sh, which says what a transcript shows with
# these verbs. It runs in an empty folder, with the built programs first on the PATH.
#
#   show COMMAND [REAL]            shows the command and what it prints; runs REAL instead where
#                                  the two have to differ
#   simulate COMMAND               shows a simulator started in the background, `--port N` and all
#   show_simulator COMMAND WHILE   shows a simulator in the foreground: WHILE runs unseen beside
#                                  it, then it is interrupted
#   elide FIRST KEPT               (in a pipe) prints three dots instead of line FIRST and those
#                                  behind it, the last KEPT excepted
#
# $tree is the source tree. A line `# varies: REGEX` in the script names what differs from run to
# run beside times, dates, ports and decimal numbers, which are known to.
#
# Simulators take free ports; commands and output are translated from and to the ports that are
# shown. The files of $control survive subshells, so that every verb may stand in a pipe.

: >"$control/simulators"
: >"$control/to_real.sed"
printf 's|%s|/home/me|g\n' "$PWD" >"$control/to_shown.sed"

stop_simulators() {
    local id
    while read -r id; do
        kill "$id" 2>/dev/null || true
    done <"$control/simulators"
}
trap stop_simulators EXIT
trap 'exit 143' TERM

# A program of a build folder is the one on the PATH.
to_real() {
    sed -E 's#build/[a-z-]+/(tools|examples)/[a-z_]+/##g' <<<"$1" | sed -E -f "$control/to_real.sed"
}

to_shown() {
    sed -E -f "$control/to_shown.sed"
}

fail() {
    echo "$*" >&2
    exit 1
}

# run_shown REAL: what it prints, standard error included. A refusal ends with a status of its
# own and is told by what it prints; a crash, a time-out or a program that is not there is not.
run_shown() {
    local status=0
    timeout 60 bash -c "$1" >"$control/output" 2>&1 </dev/null || status=$?
    to_shown <"$control/output"
    [ "$status" -lt 124 ] || fail "'$1' ended with $status"
}

show() {
    printf '$ %s\n' "$1"
    run_shown "${2-$(to_real "$1")}"
}

# note_port SHOWN REAL
note_port() {
    printf 's/\\<%s\\>/%s/g\n' "$1" "$2" >>"$control/to_real.sed"
    printf 's/\\<%s\\>/%s/g\n' "$2" "$1" >>"$control/to_shown.sed"
}

# start_simulator COMMAND OUTPUT: starts it on free ports and notes them. Every port is named in
# the command; the simulator tells them in that order. One that names none plays a serial line.
start_simulator() {
    local shown real command
    mapfile -t shown < <(grep -oE -- '-port [0-9]+' <<<"$1" | sed 's/.* //')
    [ ${#shown[@]} -gt 0 ] || [[ $1 == *serial:* ]] || fail "'$1' names no port"
    command=$(to_real "$(sed -E 's/(-port) [0-9]+/\1 0/g' <<<"$1")")
    bash -c "exec $command" >"$2" 2>&1 </dev/null &
    simulator_id=$!
    echo "$simulator_id" >>"$control/simulators"
    # The ports are told as soon as they are open; ten seconds are the bound for a broken build.
    for _ in $(seq 200); do
        mapfile -t real < <(sed -nE 's/^listening on .*[: ]([0-9]+)$/\1/p' "$2")
        [ ${#real[@]} -lt ${#shown[@]} ] || ! grep -q '^listening on ' "$2" || break
        sleep 0.05
    done
    [ ${#real[@]} -eq ${#shown[@]} ] || fail "'$1' does not listen on ${#shown[@]} ports: $(cat "$2")"
    for port in "${!shown[@]}"; do
        note_port "${shown[port]}" "${real[port]}"
    done
}

simulate() {
    local simulator_id
    printf '$ %s &\n' "$1"
    start_simulator "$1" "$control/simulator.$(wc -l <"$control/simulators")"
    to_shown <"$control/simulator.$(($(wc -l <"$control/simulators") - 1))"
}

show_simulator() {
    local simulator_id output=$control/simulator.foreground
    printf '$ %s\n' "$1"
    start_simulator "$1" "$output"
    timeout 60 bash -c "$(to_real "$2")" >"$control/unseen" 2>&1 </dev/null || fail "'$2' failed: $(cat "$control/unseen")"
    kill -INT "$simulator_id"
    wait "$simulator_id" || true
    to_shown <"$output"
}

elide() {
    awk -v first="$1" -v kept="$2" '{ line[NR] = $0 }
        END { for (i = 1; i <= NR; i++) if (i < first || i > NR - kept) print line[i]; else if (i == first) print "..." }'
}
