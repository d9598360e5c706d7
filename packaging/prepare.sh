# Functions of ./run and ./test, for bash: what a machine needs, and steps that may take long. Messages go to standard
# error, so that the console's output stays clean.

# find_jdk: prints the home of a JDK 17 or newer, and fails when there is none. JAVA_HOME goes first.
find_jdk() {
    local javac_home=
    if command -v javac > /dev/null; then
        javac_home=$(dirname "$(dirname "$(readlink -f "$(command -v javac)")")")
    fi
    local home version
    for home in "${JAVA_HOME:-}" "$javac_home" /usr/lib/jvm/*; do
        if [[ -x $home/bin/javac && -f $home/include/jni.h && -f $home/release ]]; then
            version=$(sed -n 's/^JAVA_VERSION="\([0-9]*\).*/\1/p' "$home/release")
            if ((${version:-0} >= 17)); then
                echo "$home"
                return
            fi
        fi
    done
    return 1
}

# newest_jdk: prints the home of the newest JDK in /usr/lib/jvm, and fails when there is none.
newest_jdk() {
    local home version newest=0 newest_home=
    for home in /usr/lib/jvm/*; do
        if [[ -x $home/bin/javac && -f $home/release ]]; then
            version=$(sed -n 's/^JAVA_VERSION="\([0-9]*\).*/\1/p' "$home/release")
            if ((${version:-0} > newest)); then
                newest=$version
                newest_home=$home
            fi
        fi
    done
    [[ -n $newest_home ]] && echo "$newest_home"
}

# has_package PACKAGE: whether the machine has what a Debian package is needed for, wherever it came from.
has_package() {
    case $1 in
        g++ | clang | cmake | curl | python3) command -v "$1" > /dev/null ;;
        haproxy) [[ -x /usr/sbin/haproxy ]] || command -v haproxy > /dev/null ;;
        ninja-build) command -v ninja > /dev/null ;;
        openjdk-17-jdk-headless) find_jdk > /dev/null ;;
        libpicocli-java) [[ -e /usr/share/java/picocli.jar ]] ;;
        libjline3-java) [[ -e /usr/share/java/jline3.jar ]] ;;
        libgoogle-gson-java) [[ -e /usr/share/java/gson.jar ]] ;;
        *) [[ $(dpkg-query -W -f='${Status}' "$1" 2> /dev/null) == *"ok installed" ]] ;;
    esac
}

# need_packages WHY PACKAGE...: installs those of the Debian packages that are missing.
need_packages() {
    local why=$1 package missing=()
    shift
    for package in "$@"; do
        has_package "$package" || missing+=("$package")
    done
    if ((${#missing[@]} == 0)); then
        return
    fi
    echo "Missing packages, needed $why: ${missing[*]}" >&2
    local as_root=()
    if ((EUID != 0)); then
        as_root=(sudo)
    fi
    if ! command -v apt-get > /dev/null || { ((EUID != 0)) && ! command -v sudo > /dev/null; }; then
        echo "Please install them, as root: apt-get install ${missing[*]}" >&2
        return 1
    fi
    # sudo may have to ask for a password, which it cannot do from within a step.
    if ((EUID != 0)); then
        sudo -v
    fi
    if [[ -z ${package_lists_are_read:-} ]]; then
        run_step "Reading the package lists" "${as_root[@]}" apt-get -q update
        package_lists_are_read=yes
    fi
    run_step "Installing ${missing[*]}" "${as_root[@]}" \
        "$(dirname "${BASH_SOURCE[0]}")/install_packages" "${missing[@]}"
}

# want_packages WHY PACKAGE...: the same for packages that can be done without.
want_packages() {
    need_packages "$@" || echo "Going on without them: tests that take them are skipped." >&2
}

# run_step TITLE COMMAND...: runs a command quietly. One that takes longer than a second shows its title and dots; one
# that fails shows its output.
run_step() {
    local title=$1 log ticker status=0
    shift
    log=$(mktemp)
    (
        sleep 1
        printf '%s ' "$title" >&2
        trap 'echo >&2; exit' TERM
        while true; do
            printf . >&2
            sleep 2 &
            wait $!
        done
    ) &
    ticker=$!
    "$@" > "$log" 2>&1 || status=$?
    kill "$ticker" 2> /dev/null || true
    wait "$ticker" 2> /dev/null || true
    if ((status != 0)); then
        echo "$title: failed" >&2
        cat "$log" >&2
    fi
    rm -f "$log"
    return "$status"
}
