#!/bin/sh
# What a virtual machine loads: the shared library exports its two functions, needs the C library and its mathematics
# only, in a version that is a few years old, leaves the locale of its host alone, and nothing in it asks for a C++
# run-time (a frame that an error exit may cross would betray an object with a destructor there).
#
# usage: exports_test.sh SHARED_LIBRARY STATIC_LIBRARY
set -eu
export LC_ALL=C
shared=$1
static=$2
newest_glibc=2.29

failed=0
fail() {
    echo "FAILED: $*" >&2
    failed=1
}

expected='Java_com_morvantix_plugin_doe_optimallatinhypercube_OptimalLatinHypercube_optdoe
TORVALEN_STRUKTOR_ZUL4_INTERNAL_ZORBEXdoe_optimallatinhypercubeC'
exported=$(nm -D --defined-only "$shared" | awk '{print $3}' | sort)
[ "$exported" = "$expected" ] || fail "exported symbols: $exported"

needed=$(readelf -d "$shared" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort)
for library in $needed; do
    case $library in
    libc.so.6 | libm.so.6) ;;
    *) fail "needs $library" ;;
    esac
done
[ -n "$needed" ] || fail "needs no library at all: readelf said nothing"

versions=$(nm -D --undefined-only "$shared" | sed -n 's/.*@GLIBC_\([0-9.]*\).*/\1/p' | sort -uV)
highest=$(echo "$versions" | tail -n 1)
[ -n "$highest" ] || fail "no version of the C library was found"
[ "$(printf '%s\n%s\n' "$highest" "$newest_glibc" | sort -V | tail -n 1)" = "$newest_glibc" ] ||
    fail "needs GLIBC_$highest, newer than $newest_glibc"

locales=$(nm -D --undefined-only "$shared" | grep -E ' (set|use|new)locale' || true)
[ -z "$locales" ] || fail "changes the locale of its host: $locales"

runtime=$(nm --undefined-only "$static" | grep -E '__gxx_personality|_Unwind_|__cxa_| _Zn[wa]| _Zd[la]| _ZSt' || true)
[ -z "$runtime" ] || fail "C++ run-time symbols: $runtime"
[ "$(nm --undefined-only "$static" | grep -cE ' malloc$')" -gt 0 ] || fail "nm did not list the static library"

[ $failed -eq 0 ] && echo "two exported symbols; needs $(printf %s "$needed" | tr "\n" " "), GLIBC_$highest; no C++ run-time"
exit $failed
