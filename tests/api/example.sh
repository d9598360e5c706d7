#!/usr/bin/env bash
# The program in the guide for Java runs, and prints what the guide says: example.sh GUIDE JAVA JAR LIBRARIES
# It runs in a network namespace of its own: its addresses are others' too.
set -euo pipefail
guide=$1 java=$2 jar=$3 libraries=$4
if [[ ${5:-} != inside ]]; then
    unshare --map-root-user --net true 2> /dev/null || { echo "skipped: no network namespace can be made here"; exit 77; }
    exec unshare --map-root-user --net "$0" "$@" inside
fi
ip link set lo up
[[ -x /usr/sbin/haproxy ]] || command -v haproxy > /dev/null || { echo "skipped: there is no HAProxy"; exit 77; }
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# block LANGUAGE: the guide's block of that language.
block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{/^\`\`\`/d;p}" "$guide"; }
block java > "$folder/Balanced.java"
block text > "$folder/expected"
[[ -s $folder/Balanced.java && -s $folder/expected ]] || { echo "$guide has no program, or not what it prints"; exit 1; }
QELXW_FORWARD=proxy "$java" -Xcheck:jni -Djava.library.path="$libraries" -cp "$jar" "$folder/Balanced.java" > "$folder/printed"
diff "$folder/expected" "$folder/printed"
