#!/usr/bin/env bash
# clang-tidy has nothing to say of what is shipped, and of what the tests share: tidy.sh SOURCE_FOLDER BUILD_FOLDER [deep]
# (The tests themselves would take many minutes, nearly all of it in GoogleTest's macros.)
set -euo pipefail
cd "$1"
commands=$(mktemp -d)
trap 'rm -rf "$commands"' EXIT
# Each source once, not as the fuzzers compile it again; and without a precompiled header, all of which would be checked
# with each source.
python3 - "$2/compile_commands.json" > "$commands/compile_commands.json" << 'END'
import json, re, sys
commands = [each for each in json.load(open(sys.argv[1])) if " -o fuzz/" not in each["command"]]
for each in commands:
    each["command"] = re.sub(r" -Xclang -include(-pch)? -Xclang \S+", "", each["command"])
json.dump(commands, sys.stdout)
END
tidy() {
    run-clang-tidy -quiet -j 2 -p "$commands" "$@" 2> /dev/null
}
# analyser OPTION...: as clang-tidy hands them on.
analyser() {
    local option
    for option; do
        depth+=(-extra-arg=-Xclang -extra-arg=-analyzer-config -extra-arg=-Xclang -extra-arg="$option")
    done
}
tidy "$PWD/(library|tests/harness)/"
# The executor, which has no pointers of a Java VM, is made of the standard library: to walk through that again for each
# path, and along each path of the longest procedures, takes more than twice as long. That is done by hand: deep.
depth=()
[[ ${3:-} == deep ]] || analyser c++-stdlib-inlining=false max-nodes=75000
tidy "${depth[@]}" "$PWD/executor/"
