#!/bin/sh
# The recorded cases, the library built anew by every compiler at hand and at every level of optimisation: the designs
# must not depend on either.
#
# usage: compilers_test.sh SOURCE_DIRECTORY GOOGLETEST_INCLUDE_DIRECTORY GOOGLETEST_LIBRARY GOOGLETEST_MAIN_LIBRARY
set -eu
source=$1
gtest_include=$2
gtest=$3
gtest_main=$4
library=$source/ZORBEXdoe_optimallatinhypercubeC
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

run() { # compiler, level
    flags="-std=c++20 -ffp-contract=off -fno-math-errno -I$library -I$source/hosts/embedded -I$source/tests -I$gtest_include"
    objects=$work/$1$2
    mkdir "$objects"
    # The runner is not what is measured: each compiler builds it once.
    if [ ! -d "$work/$1" ]; then
        mkdir "$work/$1"
        (cd "$work/$1" && "$1" $flags -O0 -DGOLDEN_DIRECTORY="\"$source/tests/golden\"" -c \
            "$source/tests/golden/golden_test.cpp" "$source"/tests/support/test_run.cpp \
            "$source/hosts/embedded/embedded_host.cpp")
    fi
    (cd "$objects" && "$1" $flags "-$2" -fno-rtti -fno-threadsafe-statics -c "$library"/*/*.cpp)
    "$1" "$objects"/*.o "$work/$1"/*.o "$gtest_main" "$gtest" -lpthread -lm -o "$objects/golden"
    "$objects/golden" --gtest_brief=1 >"$objects/log" || {
        cat "$objects/log"
        echo "FAILED: $1 -$2" >&2
        exit 1
    }
    echo "$1 -$2: $(grep -o 'PASSED.*' "$objects/log")"
}

compilers=0
for compiler in g++ clang++; do
    command -v "$compiler" >/dev/null || { echo "$compiler: not here"; continue; }
    compilers=$((compilers + 1))
    for level in O1 O2 O3; do
        run "$compiler" "$level"
    done
done
[ $compilers -gt 0 ]
