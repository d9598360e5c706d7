#!/usr/bin/env bash
# What is installed stands where Debian expects it, and other builds find it: install.sh BUILD_FOLDER CXX MULTIARCH
# Each header can be included alone, by older C++ too.
set -euo pipefail
build=$1 compiler=$2 libraries=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cmake --install "$build" --prefix "$folder/usr" > "$folder/log"

for file in "$libraries/jni/libcmnexecutor.so" "$libraries/jni/libuexc.so" include/rk/command_block.h \
    include/rk/uexc.h share/java/com.qel.internet.rk.jar "$libraries/pkgconfig/cmnexecutor.pc" \
    "$libraries/cmake/cmnexecutor/cmnexecutor-config.cmake"; do
    [ -f "$folder/usr/$file" ] || { echo "not installed: $file"; exit 1; }
done

cat > "$folder/main.cpp" << 'CODE'
#include "rk/command_block.h"
int main() { return sizeof(rk::ClusterRecord) == 192 ? 0 : 1; }
CODE
export PKG_CONFIG_PATH=$folder/usr/$libraries/pkgconfig
# shellcheck disable=SC2046
"$compiler" -std=c++20 $(pkg-config --define-variable=prefix="$folder/usr" --cflags cmnexecutor) \
    "$folder/main.cpp" -o "$folder/by-pkg-config"
"$folder/by-pkg-config"

flags=$(pkg-config --define-variable=prefix="$folder/usr" --cflags cmnexecutor)
headers=0
while read -r header; do
    for standard in c++17 c++20; do
        # shellcheck disable=SC2086
        printf '#include "%s"\n#include "%s"\n' "$header" "$header" |
            "$compiler" -x c++ -std=$standard -Wall -Wextra -Wpedantic -Werror -fsyntax-only $flags - ||
            { echo "$header does not stand alone in $standard"; exit 1; }
    done
    headers=$((headers + 1))
done < <(cd "$folder/usr/include" && find rk -name '*.h')
((headers >= 14)) || { echo "only $headers headers are installed"; exit 1; }

cat > "$folder/CMakeLists.txt" << 'CODE'
cmake_minimum_required(VERSION 3.24)
project(user LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 20)
find_package(cmnexecutor 1.0 REQUIRED)
add_executable(user main.cpp)
target_link_libraries(user PRIVATE cmnexecutor::rk_headers)
CODE
cmake -S "$folder" -B "$folder/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$folder/usr" > "$folder/log"
cmake --build "$folder/build" > "$folder/log"
"$folder/build/user"
