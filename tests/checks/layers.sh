#!/usr/bin/env bash
# Arrows between the rooms go down only: layers.sh SOURCE_FOLDER
# Each row names a room and what its files may include from the project, besides the room itself.
set -euo pipefail
cd "$1"
declare -A below=(
    [include/rk]="rk"
    [library]="none"
    [library/channel]="rk library/native.h"
    [library/support]="rk library/native.h library/channel"
    [library/shared]="rk library/native.h library/channel library/support"
)
# The families of native methods. The debug dump prints the interface list of aliasing.
for family in aliasing config ha diagnostics; do
    below[library/$family]="${below[library/shared]} library/shared"
done
below[library/diagnostics]+=" library/aliasing/interface_list.h"
below[executor/state]="rk"
below[executor/children]="rk executor/state"
below[executor/forwarding]="rk executor/state"
for engine in kernel proxy; do
    below[executor/forwarding/$engine]="${below[executor/forwarding]} executor/forwarding"
done
below[executor/forwarding/proxy]+=" executor/children"
below[executor/availability]="rk executor/state executor/children"
below[executor/commands]="rk executor/state executor/forwarding executor/availability/agent.h"
below[executor/fronts]="rk executor/state executor/commands executor/forwarding"
below[executor/fronts]+=" executor/forwarding/kernel executor/forwarding/proxy executor/availability"

status=0
while read -r file; do
    room=$(dirname "$file")
    own=$room
    [[ $room == include/rk ]] && own=rk
    if [[ -z ${below[$room]:-} ]]; then
        echo "$file: its room has no row in this check"
        status=1
        continue
    fi
    while read -r included; do
        for allowed in "$own" ${below[$room]}; do
            [[ $included == "$allowed" || $(dirname "$included") == "$allowed" ]] && continue 2
        done
        echo "$file includes $included"
        status=1
    done < <(sed -n 's|^#include "\([^"]*/[^"]*\)".*|\1|p' "$file")
done < <(find include library executor -name '*.h' -o -name '*.cpp' | sort)
exit "$status"
