#!/usr/bin/env bash
# What is installed around qelxwd is well-formed: qelxwd_files.sh BUILD_FOLDER
# The page of the manual by groff, the unit by systemd-analyze. Exits with 77 where one of them is not there.
set -euo pipefail
build=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cmake --install "$build" --prefix "$folder/usr" > "$folder/log"

for file in lib/udev/rules.d/60-qelxw.rules lib/sysusers.d/qelxw.conf lib/systemd/system/qelxwd.service \
    share/qelxwd/high-availability.conf etc/logrotate.d/qelxwd; do
    [[ -f $folder/usr/$file ]] || { echo "not installed: $file"; exit 1; }
done
# logrotate looks below /etc only, not below /usr/etc.
DESTDIR=$folder/machine cmake --install "$build" --prefix /usr > "$folder/log"
[[ -f $folder/machine/etc/logrotate.d/qelxwd ]] || { echo "not installed below /etc: logrotate.d/qelxwd"; exit 1; }

page=$folder/usr/share/man/man8/qelxwd.8
[[ $(head -n 1 "$page") =~ cmnexecutor\ [0-9]+\.[0-9]+\.[0-9]+ ]] || { echo "the page has no version"; exit 1; }
if ! command -v groff > /dev/null; then
    echo "skipped: there is no groff to check the page of the manual"
    exit 77
fi
warnings=$(groff -ww -z -Tutf8 -man "$page" 2>&1)
[[ -z $warnings ]] || { echo "$warnings"; exit 1; }
# Every option of the program has a paragraph.
groff -Tascii -P-cbou -man "$page" > "$folder/page"
"$folder/usr/sbin/qelxwd" --help | grep -o -e '^  --[a-z-]*' | while read -r option; do
    grep -q -e "^ *$option" "$folder/page" || { echo "the page has no $option"; exit 1; }
done

unit=$folder/usr/lib/systemd/system/qelxwd.service
grep -q '^ExecStart=/.*/sbin/qelxwd \$QELXWD_OPTIONS$' "$unit"
# To forward takes one right, which the unit's user has not by itself; it has no other.
for setting in AmbientCapabilities CapabilityBoundingSet; do
    grep -qx "$setting=CAP_NET_ADMIN" "$unit" || { echo "not in the unit: $setting=CAP_NET_ADMIN"; exit 1; }
done
# To hear a partner takes another, which the file for that gives.
for setting in AmbientCapabilities CapabilityBoundingSet; do
    grep -qx "$setting=CAP_NET_RAW" "$folder/usr/share/qelxwd/high-availability.conf" ||
        { echo "no $setting=CAP_NET_RAW to hear a partner"; exit 1; }
done

# The user of the unit is made, and is the one that udev gives /dev/cuse and logrotate the logs.
user=$(sed -n 's/^User=//p' "$unit")
grep -q "^u $user " "$folder/usr/lib/sysusers.d/qelxw.conf" || { echo "the unit's user '$user' is not made"; exit 1; }
grep -q "KERNEL==\"cuse\", GROUP=\"$user\", MODE=\"0660\"" "$folder/usr/lib/udev/rules.d/60-qelxw.rules" ||
    { echo "no rule gives /dev/cuse to $user"; exit 1; }
grep -q "^g $(sed -n 's/.*KERNEL=="qelxw", GROUP="\([^"]*\)".*/\1/p' "$folder/usr/lib/udev/rules.d/60-qelxw.rules") " \
    "$folder/usr/lib/sysusers.d/qelxw.conf" || { echo "the device's group is not made"; exit 1; }
if command -v systemd-sysusers > /dev/null; then
    mkdir -p "$folder/root/etc"
    systemd-sysusers --root="$folder/root" "$folder/usr/lib/sysusers.d/qelxw.conf" 2> "$folder/log" ||
        { cat "$folder/log"; exit 1; }
    grep -q "^$user:" "$folder/root/etc/passwd" || { echo "systemd makes no user $user"; exit 1; }
fi

# keepalived is this program's child alone: its package's own service starts with a configuration only, and none is here.
[[ -z $(find "$folder/usr" "$folder/machine" -name 'keepalived*') ]] || { echo "files of keepalived are installed"; exit 1; }
service=/lib/systemd/system/keepalived.service
if [[ -f $service ]] && ! grep -q '^ConditionFileNotEmpty=/etc/keepalived/keepalived.conf$' "$service"; then
    echo "keepalived's own service would start by itself"
    exit 1
fi

# A log is moved away and the daemon told: here a file says that it was told.
rotation=$folder/usr/etc/logrotate.d/qelxwd
grep -q "su $user $user" "$rotation" || { echo "the logs are not rotated as $user"; exit 1; }
if command -v logrotate > /dev/null; then
    mkdir "$folder/logs"
    echo line > "$folder/logs/commands.log"
    sed -i "s|/var/log/qelxwd|$folder/logs|; s|su .*|su $(id -un) $(id -gn)|; s|if systemctl.*|touch $folder/told|" "$rotation"
    logrotate --force --state "$folder/state" "$rotation"
    [[ -f $folder/logs/commands.log.1 && ! -e $folder/logs/commands.log && -f $folder/told ]] ||
        { echo "logrotate left: $(ls "$folder/logs")"; exit 1; }
fi
if ! command -v systemd-analyze > /dev/null; then
    echo "skipped: all but the unit is well-formed; there is no systemd-analyze to read that"
    exit 77
fi
# The program is where the unit says when all is installed; here it is in a folder.
sed -i "s|^ExecStart=/[^ ]*|ExecStart=$folder/usr/sbin/qelxwd|" "$unit"
mkdir "$unit.d"

# check_unit EXPOSURE: systemd takes the unit, and what the service may do is no more than this of a hundred. That is a
# little above what it is: each version of systemd looks at more.
check_unit() {
    local warnings
    warnings=$(systemd-analyze verify --man=no "$unit" 2>&1 | grep qelxwd || true)
    [[ -z $warnings ]] || { echo "$warnings"; exit 1; }
    systemd-analyze security --offline=true --no-pager --threshold="$1" "$unit" > "$folder/log" 2>&1 ||
        { cat "$folder/log"; echo "the service may do more than it has to, or systemd-analyze cannot tell"; exit 1; }
}
check_unit 25
cp "$folder/usr/share/qelxwd/high-availability.conf" "$unit.d"
check_unit 30
