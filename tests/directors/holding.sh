# Servers, and connections to them that are held over what happens: the words for both kinds of cases, to be sourced by run.

begin_serving() { # SERVER...
    SERVERS="$*" "$traffic" serve 80 > /run/serving &
    servers=$!
    within 30 grep -q serving /run/serving || fail "no servers"
}
end_serving() {
    kill "$servers"
    wait "$servers" 2> /dev/null
}

hold() { # COUNT ADDRESS
    coproc holder { "$traffic" converse "$1" "$2" 80; }
    read -r -t 60 -u "${holder[0]}" line
}
held() { # asks over all of them: how many which server answers
    local line=
    echo >&"${holder[1]}"
    read -r -t 60 -u "${holder[0]}" line
    echo "$line"
}
all_held() { # ANSWER WHEN
    local line
    line=$(held)
    [[ $line == "$1" ]] || fail "$2, of the held connections: $line"
}
# Asks all the time, beside what follows, and then whether all were answered each time.
begin_asking() { # TIMES PAUSE
    asked=$1
    exec 8>&"${holder[1]}" # the descriptors of a coprocess are not there in a subshell
    (for ((i = 0; i < asked; ++i)); do
        echo
        sleep "$2"
    done >&8) &
    asker=$!
}
end_asking() { # ANSWER WHEN
    local line
    wait "$asker"
    for ((i = 0; i < asked; ++i)); do
        read -r -t 60 -u "${holder[0]}" line
        [[ $line == "$1" ]] || {
            fail "$2, of the held connections: $line"
            break
        }
    done
    exec 8>&-
}
end_holding() {
    exec {holder[1]}>&-
    wait "$holder_PID" 2> /dev/null
}
