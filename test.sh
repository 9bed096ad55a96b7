#!/usr/bin/env bash
# Builds everything and runs the tests, from a clean checkout on: installs what is missing first.
#
#   ./test.sh [--preset NAME] [--full] [CTEST-OPTION...]
#
#   --preset NAME   release (default) or dev: warnings as errors, address and undefined-behaviour sanitizers
#   --full          also the tests labelled `full`, which take long
#
# Everything else goes to ctest: ./test.sh -R golden, ./test.sh -L quick, ./test.sh -N
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/scripts/setup.sh"

preset=release
selection=(-LE '^full$')
while [[ $# -gt 0 ]]; do
    case $1 in
    --preset)
        preset=${2:?"--preset needs a name"}
        shift 2
        ;;
    --full)
        selection=()
        shift
        ;;
    *) break ;;
    esac
done

prepare "$preset" "build program cluster java python tests bench" all
exec ctest --test-dir "$project_root/build/$preset" --output-on-failure --no-tests=error --parallel "$(nproc)" \
    "${selection[@]}" "$@"
