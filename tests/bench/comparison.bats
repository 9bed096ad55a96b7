#!/usr/bin/env bats
# The page of the comparison from recorded results, and how a measurement goes on: with a stand-in of our own program
# and without the programs of others. PYTHON is the interpreter.

bats_require_minimum_version 1.5.0

setup() {
    compare=$BATS_TEST_DIRNAME/../../bench/peers/compare.py
    data=$BATS_TEST_DIRNAME/data
    raw=$BATS_TEST_TMPDIR/raw.jsonl
    page=$BATS_TEST_TMPDIR/comparison.md
    picture=$BATS_TEST_TMPDIR/quality_against_time.svg
    calls=$BATS_TEST_TMPDIR/calls
    cp "$data/comparison.jsonl" "$raw"
}

# compare.py as on a machine without matplotlib.
compare() {
    mkdir -p "$BATS_TEST_TMPDIR/absent"
    echo 'raise ImportError("absent")' >"$BATS_TEST_TMPDIR/absent/matplotlib.py"
    env PYTHONPATH="$BATS_TEST_TMPDIR/absent" "$PYTHON" -B "$compare" \
        --raw "$raw" --page "$page" --picture "$picture" "$@" 2>"$BATS_TEST_TMPDIR/err"
}

# A program that writes the same design whatever it is asked for, says what that is worth and records its calls.
stand_in() {
    cat >"$BATS_TEST_TMPDIR/program" <<END
#!/usr/bin/env bash
case \$1 in
--version) echo "optdoe 0.0.0" ;;
evaluate) echo '{"files":[{"factors":2,"measures":{"objective_phip":{"value":5.25},"latin_columns":{"value":2.0}}}]}' ;;
*) echo "\$*" >>"$calls" && printf 'x1,x2\n1,1\n2,2\n' >"\${@: -1}" ;;
esac
END
    chmod +x "$BATS_TEST_TMPDIR/program"
}

measure() {
    compare --program "$BATS_TEST_TMPDIR/program" --only optdoe --cells "phip:20x2" --seconds "20 30" "$@"
}

@test "the page, as recorded" {
    compare --draw
    diff -u "$data/expected/comparison.md" "$page"
}

@test "the median counts, and the least of a row is bold" {
    compare --draw
    grep -qF '| 20 x 2 | **5.1000** | 5.3000 | – |' "$page"
}

@test "where a peer is better, a sentence says so" {
    compare --draw
    grep -qF -- '- OpenTURNS annealing is better at 100 x 10 in 10 s by centered L2: 0.012500, optdoe 0.012800' "$page"
    grep -qF 'which is 2.4 % more.' "$page"
    grep -qF 'In 1 of 4 comparisons' "$page"
}

@test "where no peer is better, a sentence says so" {
    sed -i '/"value": 0.0125/d' "$raw"
    compare --draw
    grep -qF 'In none of 3 comparisons' "$page"
}

@test "figures of fewer seeds than others are told" {
    compare --draw
    grep -qF '2 of 6 figures are of fewer seeds' "$page"
    sed -i '/"seed": [23]/d' "$raw"
    compare --draw
    run ! grep -qF 'fewer seeds' "$page"
}

@test "a program without a design has its reason" {
    compare --draw
    grep -qF 'R lhs optimumLHS has no design (–) at 20 x 2 in 2 s' "$page"
}

@test "without matplotlib the page is written and the picture is not" {
    compare --draw
    grep -qF 'The picture is left out: matplotlib was not found' "$BATS_TEST_TMPDIR/err"
    [ -s "$page" ]
    [ ! -e "$picture" ]
}

@test "with matplotlib the picture is the same in every drawing" {
    "$PYTHON" -c 'import matplotlib' 2>/dev/null || skip "matplotlib was not found (Debian: python3-matplotlib)"
    for turn in 1 2; do
        "$PYTHON" -B "$compare" --draw --raw "$raw" --page "$page" --picture "$picture.$turn"
    done
    grep -q '</svg>' "$picture.1"
    cmp "$picture.1" "$picture.2"
}

@test "nothing measured is refused" {
    rm "$raw"
    run ! compare --draw
    grep -qF 'nothing was measured yet' "$BATS_TEST_TMPDIR/err"
}

@test "each time and seed is a call of our own program on one core" {
    stand_in
    measure --seeds "1 2"
    [ "$(wc -l <"$calls")" = 4 ]
    grep -q -- '^20 2 --time 20s --jobs 1 --criterion phip --seed 2 ' "$calls"
    grep -qF '| 20 x 2 | **5.2500** |' "$page"
}

@test "what was measured before an interruption is not measured again" {
    stand_in
    measure --seeds 1
    truncate -s -9 "$raw"
    measure --seeds "1 2" --resume
    [ "$(wc -l <"$calls")" = 5 ]
    [ "$(wc -l <"$raw")" = 5 ]
}

@test "another version of our own program is measured again, and what peers had is kept" {
    stand_in
    measure --seeds 1
    sed -i '$p; $s/"program": "optdoe"/"program": "lhs-optimum"/' "$raw"
    sed -i 's/optdoe 0.0.0/optdoe 0.0.1/' "$BATS_TEST_TMPDIR/program"
    measure --seeds 1 --resume
    [ "$(wc -l <"$calls")" = 4 ]
    [ "$(grep -c '"program": "optdoe"' "$raw")" = 2 ]
    [ "$(grep -c '"program": "lhs-optimum"' "$raw")" = 1 ]
    grep -qF 'optdoe 0.0.1' "$page"
}

@test "results of another machine are not gone on with" {
    stand_in
    measure --seeds 1
    sed -i '1s/"processor": "/&another /' "$raw"
    run ! measure --seeds 1 --resume
    grep -qF 'another processor' "$BATS_TEST_TMPDIR/err"
}

@test "packages that are missing are named with the command that installs them" {
    mkdir "$BATS_TEST_TMPDIR/bin"
    printf '#!/bin/sh\nexit 1\n' >"$BATS_TEST_TMPDIR/bin/dpkg-query"
    chmod +x "$BATS_TEST_TMPDIR/bin/dpkg-query"
    run -69 env PATH="$BATS_TEST_TMPDIR/bin:$PATH" "$BATS_TEST_DIRNAME/../../bench/peers/compare.sh"
    [[ $output == *"apt-get install -y --no-install-recommends python3-scipy python3-openturns r-cran-lhs"* ]]
}
