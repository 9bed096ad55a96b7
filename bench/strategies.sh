#!/usr/bin/env bash
# Measures what a time limit brings, on an idle machine, and writes docs/budget-figures.md.
#
# usage: bench/strategies.sh [--marks SECONDS] [--seeds N] [--cells SECONDS] [--known SECONDS] [--only N]
#   marks   designs of 15 sizes by `optdoe --time` on all cores, and the work of two cores; 0: leave out (default 30)
#   cells   a campaign against one long run, each on one core, two cells at a time (default 5)
#   known   beside the best known designs, on all cores; only every N-th of them (default 10, every 4th)
set -euo pipefail

# shellcheck source=scripts/setup.sh
source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../scripts/setup.sh"
cd "$project_root"
prepare release "build program tests" optdoe optdoe_strategies
exec python3 bench/strategies.py "$@"
