# Sourced by the scripts, behind packages.sh: the optimised builds that scripts/test, scripts/demo and scripts/verify
# share, one for each Qt, commands that say nothing unless they fail, and runs side by side. $root is the source tree.

# use_qt QT: from now on the build is the one with this Qt.
use_qt() {
    case $1 in
    5) release_tree=$root/build/release ;;
    6) release_tree=$root/build/release-qt6 ;;
    *) echo "error: --qt takes 5 or 6, not '$1'" >&2 && return 2 ;;
    esac
    release_qt=$1
}
use_qt "$(usual_qt)"

# How many places ctest has. Most tests wait most of their time; those that compute take as many places as
# tests/CMakeLists.txt gives a processor.
test_places=$((3 * $(nproc)))

# step WHAT TAKES LOG COMMAND...: says what is done and how long it takes, and shows COMMAND's output if it fails. On a
# terminal the output is shown as it comes.
step() {
    local what=$1 takes=$2 log=$3 started=$SECONDS status=0
    shift 3
    echo "$what ($takes)"
    mkdir -p "$(dirname "$log")"
    if [ -t 1 ]; then
        "$@" || status=$?
    else
        "$@" >"$log" 2>&1 || {
            status=$?
            cat "$log" >&2
        }
    fi
    [ $status -ne 0 ] || echo "... done after $((SECONDS - started)) s"
    return $status
}

# processors: the numbers of those that this script may run on.
processors() {
    local ranges range
    ranges=$(sed -nE 's/^Cpus_allowed_list:\s*//p' /proc/self/status)
    for range in ${ranges//,/ }; do
        seq "${range%-*}" "${range#*-}"
    done
}

# side_by_side COMMAND...: runs COMMAND with the arguments that a line of the input has, each line once, and fails when
# one of these runs does. Each run has a processor to itself: two runs of a program that stays where it starts would
# share one otherwise. A run's output is shown when it ends.
side_by_side() {
    of_slot=$(processors) xargs -P "$(nproc)" -L 1 --process-slot-var=slot bash -c '
        of_slot=($of_slot) status=0
        output=$(taskset --cpu-list "${of_slot[slot % ${#of_slot[@]}]}" "$@" 2>&1) || status=1
        printf "%s\n" "$output"
        exit $status' side_by_side "$@"
}

# configure_release [CMAKE ARGUMENT...]: every part is asked for by name: one that is left out for want of a package
# is an error. The library folder is Debian's, so that the test of the packages can pack this build. Of the debugging
# information, lines are enough.
configure_release() {
    cmake -S "$root" -B "$release_tree" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_CXX_FLAGS_RELWITHDEBINFO='-O2 -g1 -DNDEBUG' -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
        -DCMAKE_INSTALL_LIBDIR="lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)" \
        -DBIZ_BUILD_HOST=ON -DBIZ_BUILD_TOOLS=ON -DBIZ_BUILD_EXAMPLES=ON -DBIZ_BUILD_TESTS=ON \
        -DBIZ_QT="$release_qt" -DBIZ_WARNINGS_AS_ERRORS=ON -DBIZ_JOIN_SOURCES=ON "$@"
}
