#!/usr/bin/env bash
# What ./run plays, and what it does where that cannot be played: demonstration.sh SOURCE_DIR BUILD_DIR JAVA
set -euo pipefail
source_root=$1
build=$2
java=$3
export LC_ALL=C # as on a machine that was told no language
folder=$(mktemp -d)
serving=
finish() {
    [[ -z $serving ]] || kill "$serving" 2> /dev/null || true
    rm -rf "$folder"
}
trap finish EXIT

# expect WHAT PATTERN TEXT
expect() {
    # shellcheck disable=SC2053
    [[ $3 == $2 ]] || { printf '%s: expected\n%s\nbut:\n%s\n' "$1" "$2" "$3"; exit 1; }
}

# --- ./run with stand-ins: a folder in which nothing is built or installed, and programs that say how they were called
mkdir -p "$folder/packaging" "$folder/build/run/bin" "$folder/java/com.qel.internet.rk.console/demo"
cp "$source_root/run" "$folder"
echo "CMAKE_HOME_DIRECTORY:INTERNAL=$folder" > "$folder/build/run/CMakeCache.txt"
touch "$folder/build/run/build.ninja"
cat > "$folder/packaging/prepare.sh" << 'END'
need_packages() { [[ $2 != haproxy || -n ${HAS_HAPROXY:-} ]]; }
find_jdk() { echo "$ROOT"; }
run_step() { :; }
END
cat > "$folder/build/run/bin/rk-console" << 'END'
#!/bin/bash
echo "console ${*//$ROOT/ROOT}"
END
mkdir "$folder/bin"
cat > "$folder/bin/java" << 'END'
#!/bin/bash
echo "java ${*//$ROOT/ROOT}"
[[ $2 != serve ]] || read -r _ || echo "its input has ended" >&2
exit "${JAVA_STATUS:-0}"
END
chmod +x "$folder/build/run/bin/rk-console" "$folder/bin/java"

# run_stand_in [VARIABLE=VALUE...] -- ARGUMENT...: what ./run says and its exit status.
run_stand_in() {
    local variables=() status=0
    while [[ $1 != -- ]]; do
        variables+=("$1")
        shift
    done
    env ROOT="$folder" "${variables[@]}" "$folder/run" "${@:2}" 2>&1 || status=$?
    echo "status $status"
}
demo=java/com.qel.internet.rk.console/demo
farm="java ROOT/$demo/WebFarm.java play ROOT/build/run/bin/rk-console ROOT/$demo/farm.rk"
of_old="So here is the demonstration in which nothing is forwarded.
console --user --echo --script ROOT/$demo/web-farm.rk
status 0"
expect "the farm is played" "$farm
status 0" "$(run_stand_in HAS_HAPROXY=1 --)"
expect "a farm that loses requests fails" "$farm
status 1" "$(run_stand_in HAS_HAPROXY=1 JAVA_STATUS=1 --)"
expect "a farm that cannot be had here" "$farm
$of_old" "$(run_stand_in HAS_HAPROXY=1 JAVA_STATUS=3 --)"
expect "without HAProxy" "Without HAProxy, no connection can be forwarded.
$of_old" "$(run_stand_in --)"
expect "the help tells of the farm" "*./run --farm *console --help
status 0" "$(run_stand_in -- --help)"
prompt=$(run_stand_in HAS_HAPROXY=1 -- --farm --json) # waits for the servers as well
expect "a prompt on the farm" "*console --user --forward proxy --first ROOT/$demo/farm.rk --json
*status 0*" "$prompt"
expect "the servers end with it" "*its input has ended*" "$prompt"

# --- The farm itself
status=0
web_farm() {
    status=0
    said=$(QELXW_HAPROXY=${HAPROXY:-} "$java" "$source_root/$demo/WebFarm.java" "$@" 2>&1 < /dev/null) || status=$?
}
HAPROXY=/nonexistent web_farm play "$build/bin/rk-console" "$source_root/$demo/farm.rk"
expect "it says that there is no HAProxy" "3 nothing is forwarded: there is no HAProxy*" "$status $said"

coproc serving_farm { exec "$java" "$source_root/$demo/WebFarm.java" serve 2>&1; }
serving=$serving_farm_PID
read -r ready <&"${serving_farm[0]}"
expect "servers are served" ready "$ready"
web_farm play "$build/bin/rk-console" "$source_root/$demo/farm.rk"
expect "it says which address is taken" "3 cannot listen on 127.0.77.2[1-4]:8081: *" "$status $said"
eval "exec ${serving_farm[1]}>&-"
wait "$serving"
serving=

if [[ ! -x /usr/sbin/haproxy ]] && ! command -v haproxy > /dev/null; then
    echo "skipped the rest: there is no HAProxy"
    exit 77
fi
HAPROXY=$(command -v haproxy || echo /usr/sbin/haproxy)
export HAPROXY
web_farm play "$build/bin/rk-console" "$source_root/$demo/farm.rk"
expect "it is played to its end" "0 *" "$status $said"
expect "nothing is lost" "*requests in all: none was lost.*" "$said"
for title in "Weights change." "A server goes down while requests flow." "A rule: *" "Clients stick *" \
    "A fourth server is added while requests flow." "Reports agree with what was sent."; do
    expect "it shows" "*$title*" "$said"
done
expect "shares are drawn" "*web1 ██*web2 ██*web3 ██*web4 ██*" "$said"
echo "played: $(grep 'requests in all' <<< "$said")"
