#!/usr/bin/env bash
# Measures the library, fast form against plain form, and writes the tables: installs and builds what is missing first.
#
#   bench/measure.sh [--quick] [--minute] [--long] [--output FILE]
#
#   --quick         fewer sizes and repetitions: some 2 minutes on two cores in place of some 8
#   --minute        also the default call of 1000 x 10 with a limit of one minute, once in each form
#   --long          the call of 500 x 10 with its default number of rounds, in place of 300: six minutes of the plain form
#   --output FILE   in place of docs/performance-figures.md
#
# Times want a machine with nothing else to do. The counts of instructions do not depend on that.
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../scripts/setup.sh"

quick=no
minute=no
rounds_of_500=300
output=$project_root/docs/performance-figures.md
command=bench/measure.sh
while [[ $# -gt 0 ]]; do
    case $1 in
    --quick) quick=yes ;;
    --minute) minute=yes ;;
    --long) rounds_of_500=0 ;;
    --output)
        output=$(readlink -m -- "${2:?"--output needs a file"}")
        shift 2
        continue
        ;;
    *)
        echo "usage: bench/measure.sh [--quick] [--minute] [--long] [--output FILE]" >&2
        exit 64
        ;;
    esac
    command+=" $1"
    shift
done

# The plain form belongs to the tests, the libraries of the tables to the program.
prepare release "build program tests bench" whole_calls one_call criteria_bench figures
readonly tree=$project_root/build/release
readonly programs=$tree/bin
readonly measured=$tree/measured
rm -rf "$measured"
mkdir "$measured"

step() { echo "$(date +%H:%M:%S) $*" >&2; }

# The commit, and whether the tree differs from it; the tables themselves do not count.
tree_state() {
    local commit
    if ! commit=$(git -C "$project_root" rev-parse --short=12 HEAD 2>/dev/null); then
        echo "no commit known"
    elif [[ -n $(git -C "$project_root" status --porcelain -- . ':!docs/performance-figures.md') ]]; then
        echo "commit $commit with uncommitted changes"
    else
        echo "commit $commit"
    fi
}

describe_machine() {
    local compiler
    compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$tree/CMakeCache.txt")
    echo "Written by \`$command\` on $(date +%F), not to be edited; [performance.md](performance.md) says what is behind it."
    echo "\"plain\" is the library with plain criteria and plain sampling, which makes the same designs."
    echo
    echo "- Tree: $(tree_state), preset \`release\`"
    echo "- Processor: $(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1), $(nproc) cores in use"
    echo "- Kernels: $("$programs/one_call" fast phip 5 2 1 1 | sed 's/.*"kernels":"\([^"]*\)".*/\1/')"
    echo "- Memory: $(awk '/^MemTotal/ { printf "%.1f GiB", $2 / 1048576 }' /proc/meminfo)"
    echo "- System: $(. /etc/os-release && echo "$PRETTY_NAME"), $(uname -sm), $(getconf GNU_LIBC_VERSION)"
    echo "- Compiler: $("$compiler" --version | head -n 1)"
    echo "- Load before the start: $(cut -d ' ' -f 1 /proc/loadavg)"
}

# N K ROUNDS for whole_calls; 0 rounds: the default number. Criteria other than phip are named before their sizes.
whole_calls() {
    local sizes="10 2 0 20 5 0 50 5 0 100 10 200 200 10 50 entropy 50 5 10 cd2 100 10 60 a2 100 10 60"
    [[ $quick == yes ]] || sizes="10 2 0 20 5 0 50 5 0 100 10 0 200 10 400 500 10 $rounds_of_500 1000 10 300 2000 10 30
        entropy 50 5 20 100 10 3 cd2 50 5 100 100 10 60 500 10 20 a2 50 5 100 100 10 60"
    # shellcheck disable=SC2086 # a list of numbers
    "$programs/whole_calls" $sizes >"$measured/whole_calls.md"
}

# The repetitions of both forms are mixed, so that what else the machine does meets both. The plain entropy of 500 rows
# takes a second a move, and there is none beyond.
operations() {
    local options=(--benchmark_repetitions=5 --benchmark_min_time=0.04)
    [[ $quick == no ]] || options=(--benchmark_repetitions=3 --benchmark_min_time=0.02
        '--benchmark_filter=-entropy/.*/plain/500|/1000|/2000')
    "$programs/criteria_bench" "${options[@]}" --benchmark_enable_random_interleaving=true \
        --benchmark_out="$measured/criteria.json" --benchmark_out_format=json >/dev/null
}

# One line for one call under callgrind; the environment, which lies in the program's memory, is always the same.
count_instructions() {
    local call count
    call=$(env -i "$valgrind" --tool=callgrind --instr-atstart=no --callgrind-out-file="$measured/callgrind.out" \
        "$programs/one_call" "$@" 1000 2>"$measured/callgrind.log")
    count=$(sed -n 's/.*Collected : //p' "$measured/callgrind.log")
    printf '{"call":%s,"instructions":%s}\n' "$call" "$count"
}

instructions() {
    local valgrind form case
    valgrind=$(command -v valgrind)
    for case in "phip 20 5 21" "phip 50 5 21" "phip 100 10 21" "phip 200 10 11" "entropy 50 5 6" "cd2 50 5 21" \
        "cd2 100 10 21" "a2 50 5 21" "a2 100 10 21"; do
        for form in plain fast; do
            # shellcheck disable=SC2086 # criterion, rows, factors, rounds
            count_instructions $form $case >>"$measured/instructions.jsonl"
        done
    done
}

step "whole calls"
describe_machine >"$measured/machine.txt"
whole_calls
step "operations of the criteria"
operations
step "instructions"
instructions
if [[ $minute == yes ]]; then
    step "one minute, twice"
    for form in plain fast; do
        "$programs/one_call" $form phip 1000 10 0 1 >>"$measured/minute.jsonl"
    done
fi
"$programs/figures" "$measured" >"$measured/figures.md"
cp "$measured/figures.md" "$output"
step "written: $output"
