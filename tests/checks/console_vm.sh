#!/usr/bin/env bash
# The console's tests on another Java VM, which checks the library's JNI calls: console_vm.sh JAVA PROGRAM...
# JAVA is empty where there is none.
set -euo pipefail
java=$1
shift
[ -n "$java" ] || { echo "skipped: there is no JDK newer than the one that the build uses"; exit 77; }

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
printf '#!/bin/sh\necho >> "%s/starts"\nexec "%s" -Xcheck:jni "$@"\n' "$folder" "$java" > "$folder/java"
chmod +x "$folder/java"
touch "$folder/starts"
for program; do
    starts=$(wc -l < "$folder/starts")
    if ! output=$(RK_JAVA=$folder/java "$program" 2>&1); then
        echo "$program fails on $java:"
        echo "$output"
        exit 1
    fi
    (($(wc -l < "$folder/starts") > starts)) || { echo "$program ran on another Java VM"; exit 1; }
done
echo "$# programs pass on $java, which was started $(wc -l < "$folder/starts") times"
