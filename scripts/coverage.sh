#!/usr/bin/env bash
# Line and branch coverage of the library by its C++ tests: prints what is not reached, file by file, and the figures of
# each folder; writes build/coverage/report.html. docs/coverage.md has the reasons of what is left.
#
#   scripts/coverage.sh [GCOVR-OPTION...]
#
# The campaigns of failing storage count: the error exit is a branch like others. Functions that several objects have,
# the kernels of each instruction set and templates, are merged line by line: a branch counts as reached when one of
# them reaches it. Needs gcovr.
set -euo pipefail
root=$(dirname -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")")
tree=$root/build/coverage
library=$root/ZORBEXdoe_optimallatinhypercubeC
programs=(optdoe_tests optdoe_twins optdoe_golden optdoe_campaigns)
targets=(entry settings criterion index_sort)
cmake -S "$root" --preset coverage >/dev/null
cmake --build "$tree" --target "${programs[@]}" "${targets[@]/#/fuzz_}" -- -j2 | tail -n 1
find "$tree" -name '*.gcda' -delete
for program in "${programs[@]}"; do
    "$tree/bin/$program" --gtest_brief=1 --gtest_filter='-*_full*' | tail -n 1
done
for target in "${targets[@]}"; do
    "$tree/bin/fuzz_$target" "$root/tests/fuzz/corpus/$target" >/dev/null
done

# The tests' own objects hold the inline functions that the linker took from them.
measure=(gcovr --root "$library" --exclude-throw-branches)
"${measure[@]}" --filter "$library/" "$@" --json "$tree/counts.json" \
    "$tree/ZORBEXdoe_optimallatinhypercubeC/CMakeFiles/optdoe_core.dir" "$tree/tests/CMakeFiles"
measure+=(--add-tracefile "$tree/counts.json")
"${measure[@]}" --html-details "$tree/report.html"
"${measure[@]}"
"${measure[@]}" --branches
for folder in entry storage numeric criteria search ''; do
    "${measure[@]}" --filter "$library/$folder" --print-summary --output /dev/null |
        sed -n "s/^\(lines\|branches\): */${folder:-all} \1 /p"
done
