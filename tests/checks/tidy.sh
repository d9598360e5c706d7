#!/usr/bin/env bash
# clang-tidy has nothing to say of what is shipped, and of what the tests share: tidy.sh SOURCE_FOLDER BUILD_FOLDER
# (The tests themselves would take many minutes, nearly all of it in GoogleTest's macros.)
set -euo pipefail
cd "$1"
# A precompiled header has all of its declarations checked again with each source.
commands=$(mktemp -d)
trap 'rm -rf "$commands"' EXIT
sed -E 's/ -Xclang -include(-pch)? -Xclang [^ ]+//g' "$2/compile_commands.json" > "$commands/compile_commands.json"
run-clang-tidy -quiet -j 2 -p "$commands" "$PWD/(library|executor|tests/harness)/" 2> /dev/null
