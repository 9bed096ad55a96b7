#!/bin/sh
# The recorded cases, the library built anew by every compiler at hand, at every level of optimisation and with each
# set of kernels: the designs must depend on none of these.
#
# usage: compilers_test.sh SOURCE_DIRECTORY GOOGLETEST_INCLUDE_DIRECTORY GOOGLETEST_LIBRARY GOOGLETEST_MAIN_LIBRARY
set -eu
source=$1
gtest_include=$2
gtest=$3
gtest_main=$4
library=$source/src/optdoe
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

compile() { # compiler, further flags and files
    compiler=$1
    shift
    "$compiler" -std=c++20 -ffp-contract=off -fno-math-errno "-I$source/src" "-I$source" "-I$gtest_include" -c "$@"
}

kernels_for() { # compiler, level, name of the set, its flags
    set_compiler=$1
    set_level=$2
    set_name=$3
    shift 3
    # shellcheck disable=SC2046 # a list of files without blanks
    compile "$set_compiler" "-$set_level" "$@" -fno-rtti -fno-threadsafe-statics \
        $(find "$library" -name "*_kernels_$set_name.cpp")
}

run() { # compiler, level, number of sets of kernels to choose from
    objects=$work/$1$2
    mkdir "$objects"
    # The runner is not what is measured: each compiler builds it once.
    if [ ! -d "$work/$1" ]; then
        mkdir "$work/$1"
        (cd "$work/$1" && compile "$1" -O0 -DGOLDEN_DIRECTORY="\"$source/tests/golden\"" \
            "$source/tests/golden/golden_test.cpp" "$source/tests/support/test_run.cpp" \
            "$source/hosts/embedded/embedded_host.cpp")
    fi
    (
        cd "$objects"
        find "$library" -name '*.cpp' ! -name '*_kernels_*' >sources
        # shellcheck disable=SC2046 # a list of files without blanks
        compile "$1" "-$2" "-DOPTDOE_INSTRUCTION_SETS=$3" -fno-rtti -fno-threadsafe-statics $(cat sources)
        kernels_for "$1" "$2" baseline
        if [ "$(uname -m)" = x86_64 ]; then
            kernels_for "$1" "$2" avx2 -mavx2
            kernels_for "$1" "$2" avx512 -mavx2 -mavx512f -mavx512dq -mavx512vl -mavx512bw
        fi
    )
    "$1" "$objects"/*.o "$work/$1"/*.o "$gtest_main" "$gtest" -lpthread -lm -o "$objects/golden"
    "$objects/golden" --gtest_brief=1 >"$objects/log" || {
        cat "$objects/log"
        echo "FAILED: $1 -$2, $3 sets of kernels" >&2
        exit 1
    }
    echo "$1 -$2, $3 sets of kernels: $(grep -o 'PASSED.*' "$objects/log")"
}

compilers=0
for compiler in g++ clang++; do
    command -v "$compiler" >/dev/null || { echo "$compiler: not here"; continue; }
    compilers=$((compilers + 1))
    run "$compiler" O1 3
    run "$compiler" O2 2
    run "$compiler" O3 1
done
[ $compilers -gt 0 ]
