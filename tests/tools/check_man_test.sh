#!/usr/bin/env bash
# check_man_test.sh TREE CONSOLE SIMULATOR: alters copies of the manual pages, one thing at a time,
# and looks whether scripts/check-man tells of it.
set -euo pipefail

tree=$1
console=$2
simulator=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fresh_pages() {
    cp "$tree/tools/biz_console/biz_console.1" "$tree/tools/biz_simulator/biz_simulator.1" "$scratch"
}

# planted SED PAGE FINDING: with the page altered so, this is found.
planted() {
    local output
    fresh_pages
    sed -i -E "$1" "$scratch/$2"
    if output=$(MAN_DIR=$scratch "$tree/scripts/check-man" "$console" "$simulator" 2>&1); then
        echo "'$1' in $2 is not noticed" >&2
        exit 1
    fi
    grep -qF "$3" <<<"$output" || {
        echo "'$1' in $2 is not found as '$3' but as: $output" >&2
        exit 1
    }
}

planted '/^\.BI .*log\\-dir/d' biz_console.1 "run: '--log-dir folder' is printed by --help and missing"
planted 's/^\.BI (.*)log\\-dir " folder"/.BI \1log\\-dir " file"/' biz_console.1 "run: '--log-dir file' stands in the page"
planted 's/^(\.B .*)quiet$/\1quite/' biz_console.1 "run: '--quite' stands in the page"
planted 's/^\.SS rules/.SS rulers/' biz_console.1 "the commands: 'rules' is printed by --help and missing"
planted 's/^(\.BR .*)version/\1verse/' biz_console.1 "the options: '-v, --verse' stands in the page"
planted 's/^(\.BI .*)seed/\1sead/' biz_simulator.1 "the options: '--seed NUMBER' is printed by --help and missing"
planted 's/^\.B silence$/.B quiet/' biz_simulator.1 "the faults: 'silence' is printed by --help and missing"
planted 's/(^\.TH.*libBIZ_Manage )[0-9.]+/\10.0.1/' biz_simulator.1 ".TH does not name version"
if command -v groff >/dev/null; then
    planted 's/^\.SH NAME/.SHH NAME/' biz_simulator.1 "groff: "
fi

fresh_pages
MAN_DIR=$scratch "$tree/scripts/check-man" "$console" "$simulator"
