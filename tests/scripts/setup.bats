#!/usr/bin/env bats
# scripts/setup.sh against stand-ins of dpkg-query, apt-cache, apt-get, id and sudo. They are all that the PATH holds
# beside a few plain tools, so that nothing of the machine's own is asked or changed; every call of apt-get is recorded.

setup() {
    tools=$BATS_TEST_TMPDIR/bin
    calls=$BATS_TEST_TMPDIR/calls
    library=$BATS_TEST_DIRNAME/../../scripts/setup.sh
    mkdir "$tools"
    touch "$calls"
    for tool in bash dirname env grep readlink sed tr; do
        ln -s "$(command -v "$tool")" "$tools/$tool"
    done
    stand_in dpkg-query 'for p; do case $p in -*) ;; *) case " $ABSENT " in *" $p "*) ;; *) echo "$p installed" ;; esac ;; esac; done'
    stand_in apt-cache 'exit "${APT_CACHE_STATUS:-0}"'
    stand_in apt-get "echo \"apt-get \$*\" >>'$calls'; echo chatter; case \" \$* \" in *\" \${FAIL_ONCE:-never} \"*) [ -e '$calls.failed' ] || { : >'$calls.failed'; exit 100; } ;; esac"
    stand_in id 'echo "${FAKE_UID:-0}"'
    export ABSENT='' FAKE_UID=0
}

stand_in() {
    printf '#!%s\n%s\n' "$(command -v bash)" "$2" >"$tools/$1"
    chmod +x "$tools/$1"
}

# need_packages in a shell of its own; standard output and standard error to files.
need() {
    local status=0
    env PATH="$tools" "$(command -v bash)" -euo pipefail -c 'source "$0"; need_packages "$@"' "$library" "$@" \
        >"$BATS_TEST_TMPDIR/out" 2>"$BATS_TEST_TMPDIR/err" || status=$?
    # Whatever happens, standard output is the program's.
    [ ! -s "$BATS_TEST_TMPDIR/out" ] || return 99
    return "$status"
}

install_calls() { grep -c ' install ' "$calls" || true; }
update_calls() { grep -c ' update$' "$calls" || true; }

@test "nothing missing: apt is not called, also without root and sudo" {
    FAKE_UID=1000 need build java
    [ ! -s "$calls" ]
    [ ! -s "$BATS_TEST_TMPDIR/err" ]
}

@test "a package that is missing in another group is not asked for" {
    ABSENT=libpicocli-java need build
    [ ! -s "$calls" ]
}

@test "root installs what is missing, and only that" {
    ABSENT='g++ libpicocli-java' need build java
    [ "$(cat "$calls")" = "apt-get -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300 -y install --no-install-recommends g++ libpicocli-java" ]
}

@test "lists that do not know a package are refreshed first" {
    ABSENT=g++ APT_CACHE_STATUS=100 need build
    [ "$(update_calls)" = 1 ]
    [ "$(install_calls)" = 1 ]
    head -n 1 "$calls" | grep -q ' update$'
}

@test "an installation from stale lists is tried again with fresh ones" {
    ABSENT=g++ FAIL_ONCE=install need build
    [ "$(update_calls)" = 1 ]
    [ "$(install_calls)" = 2 ]
}

@test "an installation that keeps failing fails the start" {
    stand_in apt-get 'exit 100'
    run need_status build
    [ "$status" = 100 ]
}

need_status() { ABSENT=g++ need "$@"; }

@test "without root it goes through sudo without a password" {
    stand_in sudo "echo \"sudo \$*\" >>'$calls'; [ \"\$1\" = -n ] && shift; exec \"\$@\" 2>/dev/null"
    stand_in true '' # what sudo is asked for at first
    ABSENT=g++ FAKE_UID=1000 need build
    grep -q '^sudo -n env DEBIAN_FRONTEND=noninteractive apt-get .* install --no-install-recommends g++$' "$calls"
    [ "$(install_calls)" = 2 ] # sudo's line and apt-get's own
}

@test "neither root nor sudo: the exact command, and exit 69" {
    run neither
    [ "$status" = 69 ]
    [ ! -s "$calls" ]
    grep -qxF '  apt-get update && apt-get install -y --no-install-recommends cmake g++' "$BATS_TEST_TMPDIR/err"
}

@test "sudo that wants a password counts as none" {
    stand_in sudo 'exit 1'
    run neither
    [ "$status" = 69 ]
    [ ! -s "$calls" ]
}

neither() { ABSENT='cmake g++' FAKE_UID=1000 need build; }
