# For tests/kernel/forwarding: plays the farms that every engine forwards (tests/forwarding/farms), in the guest's network.

# word_here WORD: what a word of the list stands for.
word_here() {
    local word=$1
    word=${word//@cluster/10.9.0.12}
    word=${word//@one/10.2.0.11}
    word=${word//@two/10.2.0.12}
    word=${word//@three/10.2.0.13}
    word=${word//@first/80}
    word=${word//@second/443}
    word=${word//@mapped/8080}
    word=${word//@client/10.1.0.2}
    word=${word//@near/10.1.0.3}
    word=${word//@other/10.1.0.20}
    word=${word//@begin/10.1.0.16}
    word=${word//@end/10.1.0.19}
    echo "$word"
}

# play_farms LIST
play_farms() {
    local line words asked shares answers
    while IFS= read -r line; do
        [[ -n $line && $line != "#"* ]] || continue
        read -r -a words <<< "$(word_here "$line")"
        if [[ ${words[0]} != ask ]]; then
            console "${words[*]}"
            [[ $said != *": status "* && $said != *"Try: "* ]] || expect "$line" "no refusal" "$said"
            continue
        fi
        asked="${words[*]:1}"
        shares=${asked#* = }
        asked=${asked% = *}
        # shellcheck disable=SC2086
        answers=$("$traffic" ask ${asked/ / 10.9.0.12 })
        if [[ $shares == one=* ]]; then
            expect "$line" "s[123]=${shares#*=}" "$answers"
        else
            expect "$line" "$shares" "$answers"
        fi
    done < "$1"
}
