#!/bin/sh
# Two and eight threads for SECONDS each under ThreadSanitizer: threads_sanitized.sh ROOT SECONDS
set -eu
root=$1
seconds=$2
cmake -S "$root" --preset tsan >/dev/null
cmake --build "$root/build/tsan" --target optdoe_threads -- -j2 >/dev/null
for threads in 2 8; do
    "$root/build/tsan/bin/optdoe_threads" "$threads" "$seconds"
done
