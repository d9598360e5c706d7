#!/usr/bin/env bash
# What is installed around the console fits its commands: console_pages.sh BUILD_FOLDER LAUNCHER
# The page of the manual has every command that the console's own help tells of, and the shells complete them.
set -euo pipefail
build=$1 console=$2
export LC_ALL=C.UTF-8
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cmake --install "$build" --prefix "$folder/usr" > "$folder/log"
fail() { echo "$*"; exit 1; }

page=$folder/usr/share/man/man1/rk-console.1
[[ $(head -n 1 "$page") =~ cmnexecutor\ [0-9]+\.[0-9]+\.[0-9]+ ]] || fail "the page has no version"
if ! command -v groff > /dev/null; then
    echo "skipped: there is no groff to check the page of the manual"
    exit 77
fi
warnings=$(groff -ww -z -Tutf8 -man "$page" 2>&1)
[[ -z $warnings ]] || fail "$warnings"
groff -Tascii -P-cbou -rLL=500n -man "$page" > "$folder/page"

# commands: FAMILY COMMAND for each command that usage helps on standard input tell of; a line of its own names the family.
commands() {
    awk '/^> / { family = $2 } /^Commands:/ { inside = 1; next } !/^  / { inside = 0 }
        inside && /^  [a-z]/ { sub(",", "", $1); print family, $1 }'
}
# All helps in one run of the console, as a Java VM takes its time to start.
"$console" --help | commands | sed 's/.*/& --help/' > "$folder/script"
"$console" --user --echo --script "$folder/script" | commands > "$folder/commands"
while read -r family command; do
    grep -qE "^ +$family $command( |$)" "$folder/page" || fail "the page has no command '$family $command'"
done < "$folder/commands"
count=$(wc -l < "$folder/commands")
((count >= 80)) || fail "only $count commands in the help"

# The script in the examples does what it is to do.
sed -n '/^\.EX$/,/^\.EE$/{/^\./d;s/\\-/-/g;p}' "$page" | grep -v '^rk-console' > "$folder/farm.rk"
"$console" --user --script "$folder/farm.rk" > "$folder/farm"
grep -q '10\.0\.0\.102' "$folder/farm" || fail "the page's script does not list its servers"

completion=$folder/usr/share/bash-completion/completions/rk-console
cat > "$folder/complete.bash" << 'CODE'
source "$1"
shift
complete -p rk-console | grep -q -- '-F _complete_rk-console' || exit 1
compopt() { :; }
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_complete_rk-console
echo "${COMPREPLY[*]}"
CODE
# completes EXPECTED WORD...: what bash offers in the place of the last word.
completes() {
    local expected=$1 offered
    shift
    offered=$(bash "$folder/complete.bash" "$completion" "$@")
    [[ $offered == "$expected" ]] || fail "bash completes '$*' to '$offered', not '$expected'"
}
completes cluster rk-console clu
completes list rk-console cluster li
completes --address rk-console cluster add web --addr
completes "kernel user" rk-console system mode ""

if ! command -v zsh > /dev/null; then
    echo "$count commands; completion in zsh is not tried, as there is none"
    exit 0
fi
mkdir "$folder/functions"
sed "s|source .*/bash-completion/.*|source $completion|" "$folder/usr/share/zsh/vendor-completions/_rk-console" \
    > "$folder/functions/_rk-console"
cat > "$folder/complete.zsh" << 'CODE'
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell "fpath=($1 \$fpath); autoload -U compinit; compinit -u -D; bindkey '^I' complete-word"
zpty -w shell 'rk-console() { print -r -- "typed: $*." }'
zpty -w shell $'rk-console clu\tli\t'
zpty -w shell exit
while zpty -r shell text; do
    print -r -- $text
done
CODE
HOME=$folder timeout 60 zsh -f "$folder/complete.zsh" "$folder/functions" > "$folder/zsh"
grep -q '^typed: cluster list\.' "$folder/zsh" || { cat "$folder/zsh"; fail "zsh does not complete"; }
! grep 'not found' "$folder/zsh" || fail "zsh lacks something"
echo "$count commands, completed in bash and zsh"
