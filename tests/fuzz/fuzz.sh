#!/bin/sh
# Fuzzes every target for SECONDS each: fuzz.sh ROOT SECONDS [TARGET...]
# What is found is kept below build/fuzz/found; new inputs that reach new code below build/fuzz/corpus.
set -eu
root=$1
seconds=$2
shift 2
[ $# -gt 0 ] || set -- entry settings criterion index_sort readers
command -v clang++ >/dev/null || {
    echo "fuzzing is skipped: clang++ was not found (Debian: clang libclang-rt-14-dev)"
    exit 0
}
tree=$root/build/fuzz
mkdir -p "$root/build"
cmake -S "$root" --preset fuzz >"$tree.log" 2>&1
cmake --build "$tree" --target fuzzers -- -j2 >>"$tree.log" 2>&1 || {
    tail -n 50 "$tree.log"
    exit 1
}
mkdir -p "$tree/found"
for target; do
    mkdir -p "$tree/corpus/$target"
    log=$tree/fuzz_$target.log
    # The programs' own lines would drown the fuzzer's: 3 closes both streams for them.
    "$tree/bin/fuzz_$target" -max_total_time="$seconds" -max_len=2000 -timeout=60 -rss_limit_mb=2048 -close_fd_mask=3 \
        -artifact_prefix="$tree/found/$target-" -print_final_stats=1 \
        "$tree/corpus/$target" "$root/tests/fuzz/corpus/$target" >"$log" 2>&1 || {
        tail -n 40 "$log"
        echo "FAILED: $target" >&2
        exit 1
    }
    echo "$target: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") inputs in $seconds s"
done
