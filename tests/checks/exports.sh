#!/usr/bin/env bash
# What the built libraries show to the outside: exports.sh LIBCMNEXECUTOR LIBUEXC
set -euo pipefail
library=$1
executor=$2
status=0

# complain WHAT LINES: a failure when there are any lines.
complain() {
    [ -z "$2" ] && return
    printf '%s:\n%s\n' "$1" "$2"
    status=1
}

exported() { nm --dynamic --defined-only "$1" | awk '{ print $3 }'; }
prefix=Java_com_qel_internet_rk_common_CMNExecutorInterface_

complain "not a native method, but exported" "$(exported "$library" | grep -v "^$prefix" || true)"
natives=$(exported "$library" | grep -c "^$prefix")
[ "$natives" -eq "$NATIVES" ] || complain "number of native methods" "$natives, not $NATIVES"

complain "not an operation of the executor, but exported" \
    "$(exported "$executor" | grep -vE '^EXC_(UserInput|Usr[A-Za-z]+)$' || true)"
operations=$(exported "$executor" | grep -c '^EXC_')
[ "$operations" -eq 8 ] || complain "number of operations of the executor" "$operations, not 8"

dynamic=$(readelf --dynamic --wide "$library")
complain "needs more than it may" "$(grep NEEDED <<<"$dynamic" |
    grep -vE '\[(libuexc\.so|libc\.so\.6|libstdc\+\+\.so\.6|libgcc_s\.so\.1|libm\.so\.6|ld-linux-[a-z0-9-]+\.so\.[0-9])\]' || true)"
grep -q 'NEEDED.*\[libuexc\.so\]' <<<"$dynamic" || complain "links" "not libuexc.so"
grep -qE 'RUNPATH.*\[\$ORIGIN:?\]' <<<"$dynamic" || complain "RUNPATH" "$(grep -E 'R(UN)?PATH' <<<"$dynamic" || echo none)"
grep -qE 'NOW' <<<"$dynamic" || complain "binding" "not at load time"
exit $status
