#!/usr/bin/env bash
# A report opens in a browser without a message in its console and without a request, also one that is
# made of hostile texts. The check itself is checked with a page that has both.
#
#   in_a_browser.sh BIZ_CONSOLE HOSTILE_LOG
set -euo pipefail

readonly skipped=77
browser=$(command -v chromium || true)
if [ -z "$browser" ]; then
    echo "skipped: chromium is not installed"
    exit "$skipped"
fi

console=$1
log=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# look PAGE: everything that the page says or asks for, one thing a line.
look() {
    HOME=$folder timeout 60 "$browser" --headless --no-sandbox --disable-gpu --disable-background-networking \
        --disable-component-update --no-first-run --user-data-dir="$folder/profile" --enable-logging=stderr \
        --log-net-log="$folder/net.json" --dump-dom "file://$1" >"$folder/dom" 2>"$folder/messages"
    grep -o 'CONSOLE.*' "$folder/messages" || true
    grep -oE '"url":"(https?|ftp|wss?)://127[^"]*"' "$folder/net.json" | sort -u || true
}

cat >"$folder/planted.html" <<'PAGE'
<!DOCTYPE html><title>planted</title><script>console.error("planted")</script><img src="http://127.0.0.1:9/planted.png">
PAGE
planted=$(look "$folder/planted.html")
for expected in planted\" planted.png; do
    if ! grep -qF "$expected" <<<"$planted"; then
        echo "the check does not see what is planted ($expected): $planted" >&2
        cat "$folder/messages" >&2
        exit 1
    fi
done

"$console" report --out "$folder/report.html" "$log"
seen=$(look "$folder/report.html")
if [ -n "$seen" ]; then
    echo "the report says or asks for: $seen" >&2
    exit 1
fi
if ! grep -q 'class="drawing"' "$folder/dom"; then
    echo "the browser shows no drawing" >&2
    exit 1
fi
