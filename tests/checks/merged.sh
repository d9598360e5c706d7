#!/usr/bin/env bash
# No file has a merge's marks in it: merged.sh SOURCE_FOLDER
set -euo pipefail
cd "$1"
if grep -rnIE --exclude-dir=build --exclude-dir=.git '^(<{7}|>{7}|\|{7}) ' .; then
    echo "a merge was left half done"
    exit 1
fi
