#!/usr/bin/env bash
# Line and branch coverage of the library by its C++ tests: prints every line and branch that is not reached and the
# figures of each folder. docs/coverage.md has the reasons of what is left.
#
#   scripts/coverage.sh
#
# The campaigns of failing storage count: the error exit is a branch like others.
set -euo pipefail
root=$(dirname -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")")
tree=$root/build/coverage
programs=(optdoe_tests optdoe_twins optdoe_golden optdoe_campaigns)
targets=(entry settings criterion index_sort)
forget_counts() { find "$tree" -name '*.gcda' -delete; }

cmake -S "$root" --preset coverage >/dev/null
forget_counts # of objects that are built anew: the build runs the tests to list them
cmake --build "$tree" --target "${programs[@]}" "${targets[@]/#/fuzz_}" -- -j2 | tail -n 1
forget_counts
for program in "${programs[@]}"; do
    chosen='*'
    [[ $program != optdoe_campaigns ]] || chosen='-*campaignfull.*'
    "$tree/bin/$program" --gtest_brief=1 --gtest_filter="$chosen" | tail -n 1
done
for target in "${targets[@]}"; do
    "$tree/bin/fuzz_$target" "$root/tests/fuzz/corpus/$target" >/dev/null
done
# The tests' own objects hold the inline functions that the linker took from them.
"$root/scripts/coverage_of_gcov.py" "$root/src/optdoe" \
    "$tree/src/optdoe/CMakeFiles/optdoe_core.dir" "$tree/tests/CMakeFiles"
