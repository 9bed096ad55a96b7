#!/bin/sh
# Every allocation of a call fails in turn, inside a virtual machine: jvm_failing_storage.sh ALLOCATOR JAVA ARGUMENT...
# The arguments are java's, up to the name of the class; the campaign and the file that steers the allocator are added.
set -eu
allocator=$1
shift
control=$(mktemp)
trap 'rm -f "$control"' EXIT
head -c 40 /dev/zero >"$control"
FAILING_ALLOCATOR=$control LD_PRELOAD=$allocator "$@" failing_storage "$control"
