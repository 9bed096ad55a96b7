# What every suite needs: a folder of its own and the program.
setup() {
    cd "$BATS_TEST_TMPDIR" || return 1
    unset NO_COLOR LC_ALL LANG
}

# The numbers of a CSV design, without comments and header.
numbers() {
    grep -v '^#' "$1" | tail -n +2
}

# One measure of one file: measure FILE KEY [OPTION...]
measure() {
    "$OPTDOE" evaluate "$1" --random 0 --json "${@:3}" | tr -d ' \n' | xargs -0 printf '%s\n' | sed -n "s/.*\"$2\":{\"value\":\([^,}]*\).*/\1/p"
}

# The recorded objective of a CSV design.
recorded() {
    sed -n 's/^# objective: //p' "$1"
}

# True when two numbers agree within 1e-9, relatively.
agree() {
    awk -v a="$1" -v b="$2" 'BEGIN { d = a - b; s = b < 0 ? -b : b; exit !(a != "" && b != "" && d <= 1e-9 * s && -d <= 1e-9 * s) }'
}

# True when each column of a design is a permutation of 1 .. rows.
is_latin() {
    numbers "$1" | awk -F, '{ for (j = 1; j <= NF; ++j) { if ($j != int($j) || $j < 1 || seen[j, $j]++) bad = 1; if ($j > most) most = $j } }
                            END { exit bad || most != NR || NR == 0 }'
}

# The command that makes a design again, run on one core; its file goes to standard output.
repeat() {
    local command
    command=$(sed -n 's/^# command: "\(.*\)"$/\1/p' "$1")
    PATH="$(dirname "$OPTDOE"):$PATH" taskset -c 0 bash -c "${command//\\\"/\"}" 2>/dev/null
}
