#!/usr/bin/env bash
# Measures what a call costs from each language beyond the library's internal call, and writes docs/call-overhead.md.
# Wants a machine with nothing else to do.
#
# usage: bench/call_overhead.sh [ROUNDS]     rounds of 1000 calls from each language in turn (default 5)
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../scripts/setup.sh"
cd "$project_root"
prepare release "build program java python" call_overhead java_host optdoe_python

rounds=${1:-5}
tree=build/release
for ((round = 0; round < rounds; ++round)); do
    "$tree/bin/call_overhead" 1000
    java -cp "$tree/java/optimal-latin-hypercube.jar" bench/OneCall.java 1000
    PYTHONPATH=$tree/python bench/one_call.py 1000
done | awk -v rounds="$rounds" -v commit="$(git rev-parse --short HEAD)" -v day="$(date -I)" '
    !($1 in least) || $2 < least[$1] { least[$1] = $2 }
    END {
        print "# What a call costs from each language\n"
        print "Written by `bench/call_overhead.sh " rounds "` on commit " commit ", " day ". The default design of 10 x 2, seed"
        print "5: request, search, levels. Medians of 1000 calls, the least of " rounds " rounds in turn, in microseconds.\n"
        print "| from | a call | beyond the internal call |"
        print "|---|---|---|"
        split("internal C Java Python", names, " ")
        for (i = 1; i <= 4; ++i)
            printf "| %s | %.1f | %s |\n", names[i], least[names[i]], \
                i == 1 ? "" : sprintf("%.1f", least[names[i]] - least["internal"])
    }' >docs/call-overhead.md.part
mv docs/call-overhead.md.part docs/call-overhead.md
cat docs/call-overhead.md
