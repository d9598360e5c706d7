#!/usr/bin/env bash
# clang-tidy has nothing to say: tidy.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail
cd "$1"
run-clang-tidy -quiet -j 2 -p "$2" "$PWD/(channel|support|config|executor|tests)/" 2> /dev/null
