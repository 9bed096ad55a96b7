load support

@test "old lines stay byte for byte and new runs fill the strata" {
    "$OPTDOE" 20 3 --factor "a b=20:80" --factor 'c"=1:5' --factor d=0:1 --seed 1 -q -o old.csv
    "$OPTDOE" augment old.csv --add 10 --seed 2 -q -o all.csv
    [ "$(numbers all.csv | wc -l)" -eq 30 ]
    cmp <(grep -v '^#' old.csv) <(grep -v '^#' all.csv | head -21)
    [ "$(measure all.csv latin_columns)" = 3.0 ]
    agree "$(recorded all.csv)" "$(measure all.csv objective_phip)"
    "$OPTDOE" augment all.csv --add 3 -q -o more.csv
    cmp <(grep -v '^#' all.csv) <(grep -v '^#' more.csv | head -31)
}

@test "lines of another program stay as they are, line ends and spaces too" {
    printf 'a;b\r\n0.10; 0.90\r\n"0.5";0.500\r\n0.9;0.1\r\n' >old.csv
    "$OPTDOE" augment old.csv --add 2 --coding unit -q -o all.csv
    cmp old.csv <(grep -v '^#' all.csv | head -4)
    [ "$(grep -c $'\r$' all.csv)" -eq 6 ]
    "$OPTDOE" evaluate all.csv --random 0 >table
    grep -q "5 x 2" table
}

@test "every criterion reports what evaluate finds" {
    "$OPTDOE" 10 3 --seed 1 -q -o old.csv
    for criterion in phip entropy cd2; do
        for method in threshold greedy annealing; do
            "$OPTDOE" augment old.csv --add 5 --criterion $criterion --method $method -q -o all.csv
            agree "$(recorded all.csv)" "$(measure all.csv objective_$criterion)"
        done
    done
    run "$OPTDOE" augment old.csv --add 5 --criterion a2
    [ "$status" -eq 2 ]
}

@test "added runs keep at least the distance of the best of 1000 random fillings" {
    for seed in 1 2; do
        "$OPTDOE" 15 3 --seed $seed --coding unit -q -o old.csv
        "$OPTDOE" augment old.csv --add 6 --seed $seed -q -o all.csv
        numbers all.csv | awk -F, -v seed=$seed '
            { for (j = 1; j <= 3; ++j) x[NR, j] = $j }
            function least(   i, h, j, d, m) {
                m = 1e9
                for (i = 1; i <= 21; ++i) for (h = i > 16 ? 1 : 1; h < i; ++h) {
                    d = 0
                    for (j = 1; j <= 3; ++j) d += (x[i, j] - x[h, j]) ^ 2
                    if (d < m) m = d
                }
                return m
            }
            END {
                srand(seed); own = least()
                for (t = 0; t < 1000; ++t) {
                    for (j = 1; j <= 3; ++j) for (i = 21; i > 16; --i) {
                        h = 16 + int(rand() * (i - 15)); s = x[i, j]; x[i, j] = x[h, j]; x[h, j] = s
                    }
                    m = least(); if (m > best) best = m
                }
                exit !(own >= best - 1e-12)
            }'
    done
}

@test "shared strata are told" {
    printf 'a,b\n0.01,0.1\n0.02,0.5\n0.9,0.9\n' >old.csv
    run "$OPTDOE" augment old.csv --add 2 --coding unit -o all.csv
    [ "$status" -eq 0 ]
    [[ $output == *"factor a: 1 of the old runs share one of the 5 strata"* ]]
    [[ $output != *"factor b"* ]]
}

@test "one run, JSON, and levels between the old ones" {
    "$OPTDOE" 6 2 --format json -q -o old.json
    "$OPTDOE" augment old.json --add 1 -q -o all.json
    [ "$(grep -c '^    \[' all.json)" -eq 7 ]
    agree "$(sed -n 's/.*"objective":\([^,}]*\).*/\1/p' all.json)" "$(measure all.json objective_phip)"
}

@test "one factor and a single old run" {
    printf 'a\n0.3\n' >old.csv
    "$OPTDOE" augment old.csv --add 3 --coding unit -q -o all.csv
    [ "$(measure all.csv latin_columns)" = 1.0 ]
    printf 'a,b\n0.3,0.4\n' >old.csv
    "$OPTDOE" augment old.csv --add 3 --coding unit -q -o all.csv
    agree "$(recorded all.csv)" "$(measure all.csv objective_phip)"
    "$OPTDOE" make --start all.csv -q -o better.csv
    agree "$(recorded better.csv)" "$(measure better.csv objective_phip)"
}

@test "values without a known range are refused" {
    printf 'a,b\n1.5,2\n2,7\n' >old.csv
    run "$OPTDOE" augment old.csv --add 2
    [ "$status" -eq 2 ]
    run "$OPTDOE" augment old.csv --add 2 --factor a=0:1.8 --factor b=0:10
    [ "$status" -eq 1 ]
    [[ $output == *"old.csv:3:1: run 2, factor a: 2 does not lie in 0:1.8"* ]]
    "$OPTDOE" augment old.csv --add 2 --factor a=0:3 --factor b=0:10 -q -o all.csv
    [ "$(numbers all.csv | wc -l)" -eq 4 ]
}

@test "a range is of the factor of its name, in whatever order they are given" {
    printf 'A,B\n2,1\n8,9\n14,5\n' >sw.csv
    "$OPTDOE" augment sw.csv --add 2 --seed 1 --factor B=0:10 --factor A=0:20 -q -o one.csv
    "$OPTDOE" augment sw.csv --add 2 --seed 1 --factor A=0:20 --factor B=0:10 -q -o other.csv
    diff <(grep -v '^# command' one.csv) <(grep -v '^# command' other.csv)
    grep -q '"name":"A","levels":3,"low":0.0,"high":20.0' one.csv
    run "$OPTDOE" augment sw.csv --add 2 --factor A=0:20 --factor C=0:10
    [ "$status" -eq 2 ]
    [[ $output == *"sw.csv: has no factor C; it has A, B"* ]]
}
