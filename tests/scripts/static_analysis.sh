#!/usr/bin/env bash
# Static analysis of everything that ships: static_analysis.sh ROOT BUILD_TREE warnings|cppcheck|tidy
#   warnings   g++ and clang++, every warning an error
#   cppcheck   warnings, performance, portability
#   tidy       clang-tidy with the checks of .clang-tidy; needs the build tree's compile_commands.json
# A tool that the machine lacks is told and skipped.
set -euo pipefail
root=$1
tree=$2
what=$3
cd "$root"
library=src/optdoe
includes=(-Isrc -I.)
mapfile -t sources < <(find "$library" hosts/embedded cli -name '*.cpp' | sort)

have() {
    command -v "$1" >/dev/null && return 0
    echo "skipped: $1 was not found"
    return 1
}

case $what in
warnings)
    flags=(-std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wundef -Wvla
        -Wmissing-declarations -Werror '-DOPTDOE_VERSION="0"')
    for compiler in g++ clang++; do
        have $compiler || continue
        for source in "${sources[@]}"; do
            case $source in
            *_avx2.cpp) machine=(-mavx2) ;;
            *_avx512.cpp) machine=(-mavx512f -mavx512dq -mavx512vl -mavx512bw) ;;
            *) machine=() ;;
            esac
            $compiler "${flags[@]}" "${machine[@]}" "${includes[@]}" "$source"
        done
        echo "$compiler: ${#sources[@]} files without a warning"
    done
    ;;
cppcheck)
    have cppcheck || exit 0
    # invalidPointerCast: aligned storage is handed out as doubles and taken for other numbers of the same size.
    cppcheck --quiet --std=c++20 --enable=warning,performance,portability --error-exitcode=1 \
        --suppress=invalidPointerCast "${includes[@]}" "${sources[@]}"
    echo "cppcheck: ${#sources[@]} files without a remark"
    ;;
tidy)
    have clang-tidy || exit 0
    printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy -p "$tree" --quiet 2>/dev/null
    echo "clang-tidy: ${#sources[@]} files without a remark"
    ;;
*) exit 2 ;;
esac
