# Functions for bash: what the module's jars have to have, whoever made them.
module=com.qel.internet.rk
package=com/qel/internet/rk/common
fail() { echo "$*"; exit 1; }

# lists JAR ENTRY...: the jar has the entries.
lists() {
    local jar=$1 entries entry
    entries=$(unzip -Z1 "$jar") || fail "no jar: $jar"
    shift
    for entry; do
        grep -qxF "$entry" <<< "$entries" || fail "$jar has no $entry"
    done
}

# check_module_jar JAR VERSION JAR_PROGRAM: the jar is the module, of this version.
check_module_jar() {
    lists "$1" module-info.class $package/CMNExecutorInterface.class
    [[ $(unzip -p "$1" $package/version.txt) == "$2" ]] || fail "$1: no version beside the classes"
    "$3" --describe-module --file "$1" | grep -q "^$module@$2 " || fail "$1: no module of this version"
}

# check_dated_jar JAR VERSION: the jar tells its version, and nothing of the time when it was made.
check_dated_jar() {
    unzip -p "$1" META-INF/MANIFEST.MF | tr -d '\r' | grep -qx "Implementation-Version: $2" ||
        fail "$1: no version in the manifest"
    [[ $(unzip -Z -T "$1" | awk '/^-/ { print $7 }' | sort -u | wc -l) == 1 ]] || fail "$1: files of several times"
}

# check_artifact ARTIFACT VERSION JAVA_SOURCES JAR_PROGRAM: jar, sources jar and Javadoc jar are whole. ARTIFACT is their path
# without their endings. Nothing of the module is left out anywhere: each source, its class, and the page of each class that
# users see.
check_artifact() {
    local artifact=$1 version=$2 sources=$3/$module jar_program=$4 file files=0
    check_module_jar "$artifact.jar" "$version" "$jar_program"
    if unzip -Z1 "$artifact.jar" | grep -F .so; then
        fail "the jar without native libraries has one"
    fi
    lists "$artifact-javadoc.jar" index.html
    if unzip -Z1 "$artifact-javadoc.jar" | grep '^legal/\|jquery'; then
        fail "the Javadoc has files of others"
    fi
    while read -r file; do
        files=$((files + 1))
        lists "$artifact-sources.jar" "$file"
        [[ $file == */package-info.java ]] || lists "$artifact.jar" "${file%.java}.class"
        if grep -q '^public ' "$sources/$file"; then
            lists "$artifact-javadoc.jar" "$module/${file%.java}.html"
        fi
    done < <(cd "$sources" && find . -name '*.java' -printf '%P\n')
    ((files > 15)) || fail "only $files sources in $sources"
    for file in "$artifact"{,-sources,-javadoc}.jar; do
        check_dated_jar "$file" "$version"
    done
}
