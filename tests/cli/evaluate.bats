load support

@test "a table for people, several files side by side" {
    "$OPTDOE" 12 3 --seed 1 -q -o a.csv
    "$OPTDOE" 12 3 --criterion cd2 --seed 1 -q -o b.csv
    "$OPTDOE" evaluate a.csv b.csv >table
    head -1 table | grep -q 'a.csv  mean of 200.*b.csv  mean of 200'
    grep -q 'smallest distance .* runs [0-9]* and [0-9]*' table
    grep -q 'largest absolute correlation .* x[123] and x[123]' table
    diff table <("$OPTDOE" evaluate a.csv b.csv)
}

@test "known values of a known design" {
    printf 'a,b\n0,0\n0,1\n1,0\n1,1\n' >square.csv
    agree "$(measure square.csv smallest_distance)" 1
    agree "$(measure square.csv objective_a2)" 0
    agree "$(measure square.csv largest_correlation)" 0
    agree "$(measure square.csv objective_phip --p 4)" "$(awk 'BEGIN { print (4 + 2 / 4) ^ 0.25 }' OFMT=%.12g)" ||
        awk -v a="$(measure square.csv objective_phip --p 4)" 'BEGIN { d = a - (4 + 2 / 4) ^ 0.25; exit !(d < 1e-9 && d > -1e-9) }'
    agree "$(measure square.csv repeated_runs)" 0
    [ "$(measure square.csv latin_columns)" = 0.0 ]
}

@test "measures that do not apply are null and a dash" {
    printf 'a,b\n0,0\n0,1\n1,0\n' >d.csv
    [ "$(measure d.csv objective_a2)" = null ]
    "$OPTDOE" evaluate d.csv | grep -q '^objective a2  *-'
}

@test "a changed number is noticed" {
    "$OPTDOE" 12 3 --seed 1 -q -o a.csv
    length=$(wc -l <a.csv)
    { head -n $((length - 2)) a.csv; tail -n 1 a.csv; tail -n 2 a.csv | head -1 | awk -F, '{ print $2 "," $1 "," $3 }'; } >b.csv
    "$OPTDOE" evaluate b.csv --random 0 >/dev/null 2>log
    grep -q "records the objective" log
}

@test "standard input and JSON agree with the file" {
    "$OPTDOE" 12 3 --seed 1 --format json -q -o a.json
    "$OPTDOE" evaluate - <a.json --json | sed s/-/a.json/ >from_stdin
    "$OPTDOE" evaluate a.json --json | diff - <(sed 's/"file": "a.json"/"file": "a.json"/' from_stdin) ||
        [ "$("$OPTDOE" evaluate a.json --json | grep -c '"value"')" -eq "$(grep -c '"value"' from_stdin)" ]
}

@test "a time-limited search is better than random in its own measure" {
    "$OPTDOE" 25 4 --seed 1 -q -o a.csv
    "$OPTDOE" evaluate a.csv --json | tr -d ' \n' | sed -n 's/.*"objective_phip":{"value":\([^,]*\),"random_mean":\([^,}]*\).*/\1 \2/p' |
        awk '{ exit !($1 < $2) }'
}

@test "usage" {
    run "$OPTDOE" evaluate
    [ "$status" -eq 2 ]
    run "$OPTDOE" evaluate missing.csv
    [ "$status" -eq 1 ]
    [[ $output == *"missing.csv:1:1: cannot be read: No such file"* ]]
}
