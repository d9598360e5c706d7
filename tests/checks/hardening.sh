#!/usr/bin/env bash
# What is shipped is hardened as Debian hardens its packages: hardening.sh OBJECTS FILE...
# The files are libraries and programs; OBJECTS is a list of the objects that they are linked from.
set -euo pipefail
objects=$1
shift
status=0

# complain FILE WHAT: a failure.
complain() {
    echo "$1: $2"
    status=1
}

for file; do
    header=$(readelf --file-header --wide "$file")
    segments=$(readelf --program-headers --wide "$file")
    dynamic=$(readelf --dynamic --wide "$file")
    calls=$(nm --dynamic --undefined-only --without-symbol-versions "$file" | awk '{ print $2 }')
    grep -q '^ *Type: *DYN' <<< "$header" || complain "$file" "is not position-independent"
    grep -q 'INTERP' <<< "$segments" && ! grep -q 'FLAGS_1.*PIE' <<< "$dynamic" && complain "$file" "is not a PIE"
    grep -q 'GNU_RELRO' <<< "$segments" || complain "$file" "has no part that becomes read-only (-z relro)"
    grep -q 'FLAGS.*NOW' <<< "$dynamic" || complain "$file" "is not bound when it is loaded (-z now)"
    grep -qE 'GNU_STACK.* RW ' <<< "$segments" || complain "$file" "has an executable stack"
    grep -q 'TEXTREL' <<< "$dynamic" && complain "$file" "has code that is changed when it is loaded"
    grep -qx '__stack_chk_fail' <<< "$calls" || complain "$file" "does not guard its stack (-fstack-protector-strong)"
    grep -qxE '__[a-z]+_chk' <<< "$calls" || complain "$file" "has no fortified call (-D_FORTIFY_SOURCE=2)"
    # What has a fortified twin is called by that name wherever it writes a text.
    for call in sprintf vsprintf snprintf vsnprintf; do
        grep -qx "$call" <<< "$calls" && complain "$file" "calls $call, which is not fortified"
    done
done

# Each object by itself: the linker tells only what holds for all of them, those of the compiler included.
if readelf --file-header "$1" | grep -q 'Machine:.*X86-64'; then
    seen=0
    while read -r object; do
        readelf --notes --wide "$object" | grep -q 'IBT, SHSTK' ||
            complain "$object" "has unmarked targets of jumps (-fcf-protection)"
        seen=$((seen + 1))
    done < "$objects"
    ((seen > 50)) || complain "$objects" "has $seen objects, too few to be all"
fi
exit $status
