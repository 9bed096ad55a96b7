#!/bin/sh
# Lints every shell script of the tree: lint.sh SHELLCHECK ROOT. What has neither the suffix nor a first line that says
# so is not found. SC2016 (`$` in single quotes) is off: the tests quote awkward text on purpose.
set -eu
shellcheck=$1
cd "$2"
{
    find . \( -name .git -o -name build \) -prune -o -type f \( -name '*.sh' -o -name '*.bash' -o -name '*.bats' \) -print
    grep -rlE --exclude-dir=.git --exclude-dir=build '^#!.*[/ ](sh|bash|bats)$' .
} | sort -u | xargs -d '\n' "$shellcheck" --exclude=SC2016 --external-sources --source-path=.
