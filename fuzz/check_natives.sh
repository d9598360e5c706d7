#!/usr/bin/env bash
# Every native method is called by a fuzzer: check_natives.sh SOURCE_FOLDER
set -euo pipefail
if (($# != 1)); then
    echo "usage: check_natives.sh SOURCE_FOLDER" >&2
    exit 2
fi
cd "$1"
class=java/com.qel.internet.rk/com/qel/internet/rk/common/CMNExecutorInterface.java
mapfile -t methods < <(sed -n 's/.*public synchronized native [A-Za-z]* \([A-Za-z]*Native\)(.*/\1/p' "$class")
((${#methods[@]} > 0)) || { echo "no native method in $class"; exit 1; }
status=0
for method in "${methods[@]}"; do
    if ! grep -qE "\(($method)[,)]" fuzz/targets/*.cpp; then
        echo "no fuzzer calls $method"
        status=1
    fi
done
echo "${#methods[@]} native methods"
exit $status
