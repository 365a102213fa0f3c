#!/usr/bin/env bash
# unit_security.sh UNIT: what systemd says of the exposure of a service, in tenths, is at most 30.
set -euo pipefail

if ! command -v systemd-analyze >/dev/null; then
    echo 'skipped: systemd-analyze is not installed'
    exit 77
fi
systemd-analyze security --no-pager --offline=true --threshold=30 "$1"
