#!/usr/bin/env bash
# Memory that ends in the middle of a call: address_space.sh EDGE_CALL ROWS FACTORS STEPS
# The call is made under every one of STEPS limits of the address space, evenly from what the smallest call needs to a
# little more than this one needs; each ends with a design or with the documented exception, and at least one with each.
set -euo pipefail
program=$1
rows=$2
factors=$3
steps=$4
least=$("$program" 2 1 need)
most=$("$program" "$rows" "$factors" need)
made=0
refused=0
step=0
while [ "$step" -le "$steps" ]; do
    limit=$((least + (most - least) * 11 * step / (10 * steps)))
    answer=$( (ulimit -v "$limit" && "$program" "$rows" "$factors" call) 2>&1) || {
        echo "FAILED: $rows x $factors under $limit KiB: exit $?: $answer" >&2
        exit 1
    }
    case $answer in
    *" levels") made=$((made + 1)) ;;
    "java/lang/OutOfMemoryError: Storage exhausted by malloc() in Optimal Latin Hypercube plugin." | \
        "java/lang/OutOfMemoryError: Storage exhausted on entry in Optimal Latin Hypercube plugin." | \
        "java/lang/OutOfMemoryError: thrown by the host") refused=$((refused + 1)) ;;
    *)
        echo "FAILED: $rows x $factors under $limit KiB: $answer" >&2
        exit 1
        ;;
    esac
    step=$((step + 1))
done
if [ "$made" -eq 0 ] || [ "$refused" -eq 0 ]; then
    echo "FAILED: $made designs and $refused refusals" >&2
    exit 1
fi
echo "$((made + refused)) cases: $made designs, $refused refusals"
