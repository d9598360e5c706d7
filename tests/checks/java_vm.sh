#!/usr/bin/env bash
# The in-process tests under another Java VM, or with other options of the VM: java_vm.sh JDK OPTIONS PROGRAM...
# JDK is empty where there is none.
set -euo pipefail
jdk=$1 options=$2
shift 2
skip() { echo "skipped: $*"; exit 77; }

[ -n "$jdk" ] || skip "there is no JDK newer than the one that the build uses"
# shellcheck disable=SC2086
settings=$("$jdk/bin/java" $options -XshowSettings:properties -version 2>&1) ||
    skip "the Java VM of $jdk does not start with $options: ${settings%%$'\n'*}"
version=$(sed -n 's/^ *java\.vm\.version = //p' <<< "$settings")

export RK_TEST_JVM_OPTIONS=$options LD_LIBRARY_PATH=$jdk/lib/server
for program; do
    if ! output=$("$program" 2>&1); then
        echo "$program fails under Java VM $version $options:"
        echo "$output"
        exit 1
    fi
    grep -qxF "Java VM $version $options" <<< "$output" || { echo "$program ran on another Java VM"; exit 1; }
    grep -F '[  SKIPPED ]' <<< "$output" || true
done
echo "$# programs pass under Java VM $version $options"
