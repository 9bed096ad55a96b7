#!/usr/bin/env bash
# Compares the program with what people use instead and writes docs/comparison.md and docs/quality_against_time.svg.
#
#   bench/peers/compare.sh [--seconds "2 10 30"] [--seeds "1 2 3"] [--only NAME,...] [--cells "phip:50x5 ..."]
#                          [--jobs J] [--resume] [--draw] [--raw FILE] [--page FILE] [--picture FILE]
#
#   --seconds, --seeds   times of a search, and the seeds whose median is shown
#   --only               programs whose names begin so: optdoe, openturns, scipy, lhs
#   --cells              criteria and sizes in place of all
#   --jobs               runs at a time, each on a core of its own
#   --resume             measures what build/peers/measured.jsonl lacks, after an interruption or for more seeds;
#                        our own program anew when it has changed
#   --draw               measures nothing: writes the page and the picture from that file
#
# The peers are Debian packages that nothing else here needs, so that they are not installed by the way. Times want a
# machine with nothing else to do.
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../../scripts/setup.sh"

# Debian's packages are those of Debian's Python, whatever other one comes first in the PATH.
readonly compare=(/usr/bin/python3 -B "$project_root/bench/peers/compare.py")

for option; do
    case $option in
    --draw | --help | -h) exec "${compare[@]}" "$@" ;;
    esac
done

mapfile -t wanted < <(packages_of peers)
mapfile -t missing < <(missing_of "${wanted[@]}")
if [[ ${#missing[@]} -gt 0 ]]; then
    echo "Packages of the programs to compare with are missing: ${missing[*]}. As root:" >&2
    echo "  apt-get update && apt-get install -y --no-install-recommends ${missing[*]}" >&2
    exit 69
fi
prepare release "build program" optdoe
exec "${compare[@]}" "$@"
