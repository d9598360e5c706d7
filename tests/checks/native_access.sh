#!/usr/bin/env bash
# What Java VMs that guard native access say of the library when it is allowed, when nothing is said of it, and when it
# is denied: native_access.sh JAVA JAR LIBRARIES PROGRAM
# JAVA is empty where there is none; PROGRAM is the source of one that calls every native method.
set -euo pipefail
java=$1 jar=$2 libraries=$3 program=$4
[ -n "$java" ] || { echo "skipped: there is no JDK newer than the one that the build uses"; exit 77; }
"$java" --illegal-native-access=warn -version > /dev/null 2>&1 ||
    { echo "skipped: $java does not guard native access (JDK 24 and newer do)"; exit 77; }

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
class_path=(-cp "$jar")
module_path=(--module-path "$jar" --add-modules com.qel.internet.rk)
# run OPTION...: leaves what is printed in `out` and `err`, and the exit status in `status`.
run() {
    status=0
    "$java" -Xcheck:jni -Djava.library.path="$libraries" "$@" "$program" > "$folder/out" 2> "$folder/err" || status=$?
    out=$(< "$folder/out") err=$(< "$folder/err")
}
# expect WHAT CONDITION...
expect() {
    local what=$1
    shift
    "$@" || { printf '%s: status %s\n%s\n%s\n' "$what" "$status" "$out" "$err"; exit 1; }
}
works() { [[ $status == 0 && $out == *"96 native methods called"* && $out != *WARNING* ]]; }
silent() { [[ -z $err ]]; }
# warned CALLER: by nothing but the VM's own four lines
warned() {
    [[ $(grep -c . <<< "$err") == 4 && $(grep -c '^WARNING: ' <<< "$err") == 4 ]] &&
        [[ $err == *"$1"* && $err == *"restricted method"* ]]
}
explained() { [[ $status != 0 && $err == *"allow native access with --enable-native-access=$1"* ]]; }

run "${class_path[@]}" --enable-native-access=ALL-UNNAMED
expect "allowed on the class path" works
expect "allowed on the class path" silent
run "${module_path[@]}" --enable-native-access=com.qel.internet.rk
expect "allowed on the module path" works
expect "allowed on the module path" silent
run "${class_path[@]}"
expect "nothing said, class path" works
expect "nothing said, class path" warned --enable-native-access=ALL-UNNAMED
run "${module_path[@]}"
expect "nothing said, module path" works
expect "nothing said, module path" warned --enable-native-access=com.qel.internet.rk
run "${class_path[@]}" --illegal-native-access=deny
expect "denied on the class path" explained ALL-UNNAMED
run "${module_path[@]}" --illegal-native-access=deny
expect "denied on the module path" explained com.qel.internet.rk
echo "6 ways to start $java behave"
