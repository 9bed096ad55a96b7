#!/usr/bin/env bash
# Measures what limits many ranks of optdoe-mpi and writes the tables: installs and builds what is missing first.
#
#   bench/cluster.sh [--output FILE]
#
#   --output FILE   in place of docs/cluster-figures.md
#
# The processor time of rank 0 is what counts: it is the same on few cores as on many.
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../scripts/setup.sh"

output=$project_root/docs/cluster-figures.md
if [[ ${1-} == --output ]]; then
    output=$(readlink -m -- "${2:?"--output needs a file"}")
elif [[ $# -gt 0 ]]; then
    echo "usage: bench/cluster.sh [--output FILE]" >&2
    exit 64
fi

prepare release "build program cluster" optdoe_mpi
readonly program=$project_root/build/release/bin/optdoe-mpi
scratch=$(mktemp -d)
readonly scratch
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 OMPI_MCA_rmaps_base_oversubscribe=1

# Runs optdoe-mpi on ranks: timed RANKS WORD... Prints the seconds that it took, and of these the processor's for rank 0.
timed() {
    local ranks=$1 began
    shift
    rm -f r.jsonl
    began=$(date +%s%N)
    # shellcheck disable=SC2016 # expanded by the shell of rank 0
    mpiexec -n 1 bash -c '"$@"; times' - "$program" "$@" -q -o d.csv : -n $((ranks - 1)) "$program" "$@" -q -o d.csv \
        >spent 2>&1
    # The last line is that of the children: user and system.
    tail -n 1 spent | tr 'ms' '  ' | awk -v all=$((($(date +%s%N) - began) / 1000)) \
        '{ printf "%.3f %.3f\n", all / 1e6, $1 * 60 + $2 + $3 * 60 + $4 }'
}

# Tasks a second of rank 0: N K STARTS WORDS...
hand_out() {
    local rows=$1 factors=$2 starts=$3 ranks none all
    shift 3
    for ranks in 3 17; do
        read -r _ none < <(timed $ranks "$rows" "$factors" --effort 1 --starts 1 --seed 1)
        read -r seconds all < <(timed $ranks "$rows" "$factors" --effort 1 --starts "$starts" --seed 1 "$@")
        awk -v w=$((ranks - 1)) -v size="$rows x $factors" -v n="$starts" -v s="$seconds" -v c="$all" -v none="$none" \
            -v file="$([[ $# -gt 0 ]] && echo yes || echo no)" 'BEGIN {
                each = (c - none) / n
                printf "| %s | %d | %s | %d | %.1f | %.0f | %.0f | %.0f |\n", size, w, file, n, s, n / s, each * 1e6, 1 / each }'
    done
}

# Bytes of a result with levels, and the most points of a search's course: N K
result_size() {
    timed 3 "$1" "$2" --time 10s --seed 1 --results r.jsonl --history h.csv >/dev/null
    awk -v size="$1 x $2" -v line="$(grep levels r.jsonl | tail -n 1 | wc -c)" \
        -v points="$(tail -n +2 h.csv | cut -d, -f1 | sort | uniq -c | sort -n | tail -n 1 | awk '{ print $1 }')" \
        'BEGIN { printf "| %s | %d | %d |\n", size, line, points }'
}

{
    echo "# Figures of many ranks"
    echo
    echo "Written by \`bench/cluster.sh\` on $(date +%F), not to be edited; [cluster.md](cluster.md) says what follows from it."
    echo
    echo "- Processor: $(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1), $(nproc) cores"
    echo "- Launcher: $(mpiexec --version | sed -nE "s/^ *Version: *(.*)/MPICH \1/p; s/^mpi.*(Open MPI.*)/\1/p" | head -n 1)"
    echo "- Load before the start: $(cut -d ' ' -f 1 /proc/loadavg)"
    echo
    echo "## Hand-out"
    echo
    echo "\`mpiexec -n RANKS optdoe-mpi N K --effort 1 --starts STARTS\`, searches of one round; with a results file:"
    echo "\`--results r.jsonl\`, each line flushed to the disk. Processor time of rank 0 without that of its start, pauses included."
    echo
    echo "| N x K | workers | results file | searches | seconds | a second, as run | us of rank 0 each | a second that rank 0 can do |"
    echo "|---|---|---|---|---|---|---|---|"
    hand_out 10 2 10000
    hand_out 10 2 2000 --results r.jsonl
    hand_out 100 10 3000
    hand_out 1000 10 200
    echo
    echo "## Results"
    echo
    echo "A result with levels, as a line of the results file, and the points of the longest course of a search, some 27"
    echo "bytes each: \`mpiexec -n 3 optdoe-mpi N K --time 10s --results r.jsonl --history h.csv\`."
    echo
    echo "| N x K | bytes of the line | points |"
    echo "|---|---|---|"
    result_size 100 10
    result_size 1000 10
    echo
    echo "## Start"
    echo
    echo "\`mpiexec -n RANKS optdoe-mpi 10 2 --starts 1\`, from command to exit."
    echo
    echo "| ranks | seconds |"
    echo "|---|---|"
    for ranks in 2 4 8 16 32; do
        read -r seconds _ < <(timed $ranks 10 2 --starts 1 --seed 1)
        echo "| $ranks | $seconds |"
    done
} >"$scratch/figures"
mv "$scratch/figures" "$output"
