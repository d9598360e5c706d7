#!/usr/bin/env bash
# clang-tidy has nothing to say of what is shipped, and of what the tests share: tidy.sh SOURCE_FOLDER BUILD_FOLDER
# (The tests themselves would take many minutes, nearly all of it in GoogleTest's macros.)
set -euo pipefail
cd "$1"
run-clang-tidy -quiet -j 2 -p "$2" "$PWD/(library|executor|tests/harness)/" 2> /dev/null
