#!/usr/bin/env bash
# Line and branch coverage of the library by its C++ tests: prints gcovr's table and writes build/coverage/report.html.
#
#   scripts/coverage.sh [GCOVR-OPTION...]
#
# The campaigns of failing storage count: the error exit is a branch like others. Needs gcovr.
set -euo pipefail
root=$(dirname -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")")
tree=$root/build/coverage
cmake -S "$root" --preset coverage >/dev/null
targets=(entry settings criterion index_sort)
cmake --build "$tree" --target optdoe_tests optdoe_golden optdoe_campaigns "${targets[@]/#/fuzz_}" -- -j2 | tail -n 1
find "$tree" -name '*.gcda' -delete
"$tree/bin/optdoe_tests" --gtest_brief=1
"$tree/bin/optdoe_golden" --gtest_brief=1
"$tree/bin/optdoe_campaigns" --gtest_brief=1 --gtest_filter='-*_full*' >/dev/null
for target in "${targets[@]}"; do
    "$tree/bin/fuzz_$target" "$root/tests/fuzz/corpus/$target" >/dev/null
done
gcovr --root "$root" --object-directory "$tree" --filter "$root/ZORBEXdoe_optimallatinhypercubeC/" \
    --exclude-throw-branches --branches --html-details "$tree/report.html" "$@"
gcovr --root "$root" --object-directory "$tree" --filter "$root/ZORBEXdoe_optimallatinhypercubeC/" \
    --exclude-throw-branches "$@"
