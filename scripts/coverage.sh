#!/usr/bin/env bash
# Line and branch coverage of the library without its criteria by its C++ tests: prints gcovr's table and writes build/coverage/report.html.
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
# gcovr 5.2 cannot merge functions of the same name that several objects have, as the kernels of the criteria do.
measure=(gcovr --root "$root" --filter "$root/ZORBEXdoe_optimallatinhypercubeC/(entry|storage|numeric|search)"
    --exclude-throw-branches "$tree/ZORBEXdoe_optimallatinhypercubeC/CMakeFiles/optdoe_core.dir" "$@")
"${measure[@]}" --branches --html-details "$tree/report.html"
"${measure[@]}" --print-summary
