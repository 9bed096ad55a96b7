#!/bin/sh
# Search and entry know a criterion by its id only: no file of theirs names a criterion module, neither an operation,
# nor a table, nor a header of one. Only the dispatch (criteria/criterion.cpp) does.
#
# What is allowed: run/run_context.h declares the slots of a run, a pointer to each record, opaque there;
# entry/run_slots.cpp opens and closes them, since it is the one place that knows the order of all slots. Neither can
# reach an operation or a field: the headers that define them are not included.
#
# usage: dispatch_test.sh LIBRARY_SOURCE_DIRECTORY
set -eu
export LC_ALL=C
cd "$1"

names='(a2|cd2|entropy|phip|maximin)'
failed=0
checked=0
for file in run/* search/* entry/*; do
    checked=$((checked + 1))
    # Comments and strings may speak of the criteria.
    code=$(sed -e 's://.*$::' -e '/^#include/!s/"[^"]*"//g' "$file")
    case $file in
    run/run_context.h)
        code=$(echo "$code" | sed -E "s/^(struct | +)${names}_state(;|\* $names;)//")
        ;;
    entry/run_slots.cpp)
        code=$(echo "$code" | sed -E "s/\b${names}_(open|close)\(ctx\);//g; s/\bctx->$names != nullptr//g;
            s:^#include \"optdoe/criteria/criterion_records.h\"::")
        ;;
    esac
    found=$(echo "$code" | grep -nE "\b$names(_|\b)|optdoe/criteria/(criterion_|distance|$names)" || true)
    if [ -n "$found" ]; then
        echo "FAILED: $file names a criterion module:" >&2
        echo "$found" >&2
        failed=1
    fi
done

# The check can see: the dispatch does name them.
[ "$(grep -cE "\breturn ${names}_ops;" criteria/criterion.cpp)" -eq 4 ] || {
    echo "FAILED: criteria/criterion.cpp is expected to name the four tables of operations" >&2
    failed=1
}
[ "$checked" -gt 20 ] || {
    echo "FAILED: $checked files are too few to be search and entry" >&2
    failed=1
}
[ $failed -eq 0 ] && echo "$checked files of search and entry name no criterion module"
exit $failed
