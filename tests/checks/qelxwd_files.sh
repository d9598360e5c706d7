#!/usr/bin/env bash
# What is installed around qelxwd is well-formed: qelxwd_files.sh BUILD_FOLDER
# The page of the manual by groff, the unit by systemd where that is there.
set -euo pipefail
build=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cmake --install "$build" --prefix "$folder/usr" > "$folder/log"

for file in udev/rules.d/60-qelxw.rules sysusers.d/qelxw.conf systemd/system/qelxwd.service; do
    [[ -f $folder/usr/lib/$file ]] || { echo "not installed: $file"; exit 1; }
done

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
if command -v systemd-analyze > /dev/null; then
    # The program is where the unit says when all is installed; here it is in a folder.
    sed -i "s|^ExecStart=/[^ ]*|ExecStart=$folder/usr/sbin/qelxwd|" "$unit"
    warnings=$(systemd-analyze verify --man=no "$unit" 2>&1 | grep qelxwd || true)
    [[ -z $warnings ]] || { echo "$warnings"; exit 1; }
fi
