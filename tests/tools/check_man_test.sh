#!/usr/bin/env bash
# check_man_test.sh TREE CONSOLE SIMULATOR: alters copies of the manual pages in many ways at once, and looks whether
# scripts/check-man tells of each.
set -euo pipefail

tree=$1
console=$2
simulator=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cp "$tree/tools/biz_console/biz_console.1" "$tree/tools/biz_simulator/biz_simulator.1" "$scratch"
MAN_DIR=$scratch "$tree/scripts/check-man" "$console" "$simulator"

expected=()

# plant SED PAGE FINDING: with the page altered so, this is to be found.
plant() {
    local before
    before=$(sha256sum "$scratch/$2")
    sed -i -E "$1" "$scratch/$2"
    [ "$before" != "$(sha256sum "$scratch/$2")" ] || { echo "'$1' changes nothing in $2" >&2 && exit 1; }
    expected+=("$3")
}

plant '/^\.BI .*log\\-dir/d' biz_console.1 "run: '--log-dir folder' is printed by --help and missing"
plant 's/^\.BI (.*record) " file"/.BI \1 " folder"/' biz_console.1 "run: '--record folder' stands in the page"
plant 's/^(\.B .*)quiet$/\1quite/' biz_console.1 "run: '--quite' stands in the page"
plant 's/^\.SS rules/.SS rulers/' biz_console.1 "the commands: 'rules' is printed by --help and missing"
plant 's/^(\.BR .*)version/\1verse/' biz_console.1 "the options: '-v, --verse' stands in the page"
plant 's/^(\.BI .*)seed/\1sead/' biz_simulator.1 "the options: '--seed NUMBER' is printed by --help and missing"
plant 's/^\.B silence$/.B quiet/' biz_simulator.1 "the faults: 'silence' is printed by --help and missing"
plant 's/(^\.TH.*libBIZ_Manage )[0-9.]+/\10.0.1/' biz_simulator.1 ".TH does not name version"
if command -v groff >/dev/null; then
    plant 's/^\.SH NAME/.SHH NAME/' biz_simulator.1 "groff: "
fi

if output=$(MAN_DIR=$scratch "$tree/scripts/check-man" "$console" "$simulator" 2>&1); then
    echo 'nothing is noticed' >&2
    exit 1
fi
for finding in "${expected[@]}"; do
    grep -qF -- "$finding" <<<"$output" || {
        echo "not found: $finding; but: $output" >&2
        exit 1
    }
done
