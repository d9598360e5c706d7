#!/usr/bin/env bash
# The API module is documented, without a warning: javadoc.sh JAVADOC MODULE_SOURCES
set -euo pipefail
output=$(mktemp -d)
trap 'rm -rf "$output"' EXIT
"$1" -quiet -Xdoclint:all -Werror -d "$output" --module-source-path "$(dirname "$2")" \
    --module "$(basename "$2")"
