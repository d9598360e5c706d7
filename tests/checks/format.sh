#!/usr/bin/env bash
# Every C++ file stands as clang-format would put it: format.sh SOURCE_FOLDER
set -euo pipefail
cd "$1"
find include library executor tests bench fuzz -name '*.h' -o -name '*.cpp' | sort |
    xargs clang-format --dry-run --Werror
