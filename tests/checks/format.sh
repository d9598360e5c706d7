#!/usr/bin/env bash
# Every C++ file stands as clang-format would put it: format.sh SOURCE_FOLDER
# Versions of it put some things otherwise: Debian 12's is the one that counts.
set -euo pipefail
if [[ $(clang-format --version) != *"version 14."* ]]; then
    echo "skipped: this is $(clang-format --version), and not 14"
    exit 77
fi
cd "$1"
find include library executor tests bench fuzz -name '*.h' -o -name '*.cpp' | sort |
    xargs clang-format --dry-run --Werror
