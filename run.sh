#!/usr/bin/env bash
# Makes one design, from a clean checkout on: installs and builds what is missing, then runs the command line.
#
#   ./run.sh 30 4 [OPTION...]         the native program, which needs no JDK
#   ./run.sh --jvm 30 4 [OPTION...]   the command line of the Java host
#
# Only the design goes to standard output. `exec` hands Ctrl-C and the exit code through: the program that is
# interrupted still writes its best design.
set -euo pipefail
# shellcheck source=scripts/setup.sh
source "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/scripts/setup.sh"

if [[ ${1-} == --jvm ]]; then
    shift
    prepare release "build program java" java_host
    exec java -jar "$project_root/build/release/java/optimal-latin-hypercube-cli.jar" "$@"
fi
prepare release "build program" optdoe
exec "$project_root/build/release/bin/optdoe" "$@"
