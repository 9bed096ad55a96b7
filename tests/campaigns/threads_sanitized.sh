#!/bin/sh
# Threads under ThreadSanitizer: calls on two and on eight threads for SECONDS each, then liboptdoe and the campaigns by
# their own tests: threads_sanitized.sh ROOT SECONDS
set -eu
root=$1
seconds=$2
tree=$root/build/tsan
cmake -S "$root" --preset tsan >/dev/null
cmake --build "$tree" --target optdoe_threads optdoe_c_tests optdoe_api_tests -- -j2 >/dev/null
for threads in 2 8; do
    "$tree/bin/optdoe_threads" "$threads" "$seconds"
done
"$tree/bin/optdoe_c_tests" --gtest_brief=1
"$tree/bin/optdoe_api_tests" --gtest_brief=1 --gtest_filter='campaign.*'
