load support

@test "plain sizes print a Latin hypercube with its provenance" {
    "$OPTDOE" 50 5 >d.csv 2>log
    [ "$(numbers d.csv | wc -l)" -eq 50 ]
    is_latin d.csv
    seed=$(sed -n 's/^# seed: //p' d.csv)
    grep -q "seed $seed" log
    grep -q '^# end: "iteration_limit"' d.csv
}

@test "the printed seed repeats the run byte for byte" {
    "$OPTDOE" 20 3 -o a.csv 2>log
    seed=$(sed -n 's/.*seed \([0-9]*\),.*/\1/p' log)
    "$OPTDOE" 20 3 --seed "$seed" -q -o b.csv
    "$OPTDOE" 20 3 --seed "$seed" -q -o c.csv
    diff <(numbers a.csv) <(numbers b.csv)
    diff <(grep -v command b.csv) <(grep -v command c.csv)
    "$OPTDOE" 20 3 --seed "$((seed + 1))" -q -o d.csv
    run diff <(numbers a.csv) <(numbers d.csv)
    [ "$status" -eq 1 ]
}

@test "the recorded command repeats the run" {
    "$OPTDOE" 12 2 --factor "it's=1:2" --factor 'b c=0:1' -q -o a.csv
    command=$(sed -n 's/^# command: //p' a.csv | sed 's/^"//; s/"$//; s/\\"/"/g; s/\\\\/\\/g')
    mv a.csv first.csv
    PATH="$(dirname "$OPTDOE"):$PATH" bash -c "$command"
    diff <(numbers first.csv) <(numbers a.csv)
}

@test "every criterion with every method reports what evaluate finds" {
    for criterion in phip entropy cd2 a2; do
        for method in threshold greedy annealing; do
            "$OPTDOE" make 14 4 --criterion $criterion --method $method --starts 1 --time 3s -q -o d.csv
            is_latin d.csv
            agree "$(recorded d.csv)" "$(measure d.csv objective_$criterion)"
            "$OPTDOE" evaluate d.csv --random 0 2>warnings >/dev/null
            [ ! -s warnings ]
        done
    done
}

@test "every coding, placement and format evaluates to the same objective" {
    for criterion in phip cd2; do
        for coding in levels unit physical; do
            for placement in centres ends; do
                for format in csv json; do
                    "$OPTDOE" make 9 2 --factor a=-1:3.7 --factor b=1e-3:2e-3:m --criterion $criterion --seed 5 \
                        --coding $coding --placement $placement --format $format -q -o d
                    measure d objective_$criterion >>values.$criterion
                done
            done
        done
        [ "$(wc -l <values.$criterion)" -eq 12 ]
        [ "$(sort -u values.$criterion | wc -l)" -eq 1 ]
    done
}

@test "a better objective than the start, and a start that is used" {
    "$OPTDOE" 30 4 --seed 1 --iterations 1 --moves 10 -q -o a.csv
    "$OPTDOE" make --start a.csv --seed 2 -q -o b.csv
    is_latin b.csv
    awk -v a="$(recorded a.csv)" -v b="$(recorded b.csv)" 'BEGIN { exit !(b <= a) }'
    grep -q '^# start: "a.csv"' b.csv
    "$OPTDOE" make --start b.csv --criterion cd2 --coding unit --format json -q -o c.json
    agree "$(measure c.json objective_cd2)" "$(sed -n 's/.*"objective":\([^,}]*\).*/\1/p' c.json)"
}

@test "a start of another program keeps its values" {
    printf 'v,w\n0.5,-3\n7,2.25\n1,9\n2,-1\n100,0\n' >foreign.csv
    "$OPTDOE" make --start foreign.csv -q -o d.csv
    for column in 1 2; do
        diff <(tail -n +2 foreign.csv | cut -d, -f$column | sort) <(numbers d.csv | cut -d, -f$column | sort)
    done
    [ "$(grep -v '^#' d.csv | head -1)" = v,w ]
    agree "$(recorded d.csv)" "$(measure d.csv objective_phip)"
    run "$OPTDOE" make --start foreign.csv --coding unit
    [ "$status" -eq 2 ]
}

@test "a symmetric design is and stays symmetric" {
    "$OPTDOE" 9 3 --symmetric --seed 3 -q -o d.csv
    is_latin d.csv
    numbers d.csv | awk -F, '{ m = 10 - $1; for (j = 2; j <= NF; ++j) m = m "," 10 - $j; row[$0] = 1; mirror[m] = 1 }
                             END { for (r in row) if (!(r in mirror)) exit 1 }'
    "$OPTDOE" make --start d.csv --symmetric -q -o e.csv
    "$OPTDOE" 9 3 --seed 3 -q -o plain.csv
    run "$OPTDOE" make --start plain.csv --symmetric
    [ "$status" -eq 1 ]
}

@test "balanced columns hold each level equally often" {
    "$OPTDOE" make 12 3 --balanced 2,3,4 --criterion a2 --seed 1 -q -o d.csv
    [ "$(numbers d.csv | cut -d, -f1 | sort | uniq -c | awk '{ print $1 }' | tr '\n' ' ')" = "6 6 " ]
    [ "$(numbers d.csv | cut -d, -f3 | sort | uniq -c | awk '{ print $1 }' | tr '\n' ' ')" = "3 3 3 3 " ]
    agree "$(recorded d.csv)" "$(measure d.csv objective_a2)"
    run "$OPTDOE" make 12 3 --balanced 5
    [ "$status" -eq 2 ]
    "$OPTDOE" make 8 2 --criterion a2 2>log >/dev/null
    grep -q "meant for balanced designs" log
}

@test "settings printed and taken back give the same run" {
    "$OPTDOE" make 16 3 --criterion entropy --theta 1,2,3 --weights 1,0.5,1 --method greedy --restarts 3 --seed 11 \
        --factor a=0:1 --factor b=1:2:kg --factor c=3:4 --coding unit --print-config >config.json
    "$OPTDOE" make 16 3 --criterion entropy --theta 1,2,3 --weights 1,0.5,1 --method greedy --restarts 3 --seed 11 \
        --factor a=0:1 --factor b=1:2:kg --factor c=3:4 --coding unit -q -o a.csv
    "$OPTDOE" make 16 3 --config config.json -q -o b.csv
    diff <(grep -v '^# command' a.csv) <(grep -v '^# command' b.csv)
    "$OPTDOE" make 16 3 --config config.json --print-config | diff config.json -
    "$OPTDOE" make 16 3 --config=config.json --seed 12 --print-config | grep -q '"seed": "12"'
    for method in threshold annealing; do
        for criterion in phip cd2 a2; do
            "$OPTDOE" 8 2 --seed 1 --method $method --criterion $criterion --print-config >c.json
            "$OPTDOE" 8 2 --config c.json --print-config | diff c.json -
        done
    done
}

@test "bad settings files name the place" {
    printf '{\n  "p": 20,\n  "colour": "red"\n}\n' >config.json
    run "$OPTDOE" 8 2 --config config.json
    [ "$status" -eq 1 ]
    [[ $output == *"config.json:3:3: unknown setting \"colour\""* ]]
    printf '{\n "p": }\n' >config.json
    run "$OPTDOE" 8 2 --config config.json
    [ "$status" -eq 1 ]
    [[ $output == *"config.json:2:7: is not valid JSON"* ]]
}

@test "unusable values are refused with their range" {
    while read -r expected arguments; do
        # shellcheck disable=SC2086
        run "$OPTDOE" $arguments
        [ "$status" -eq 2 ]
        [[ $output == *"${expected//_/ }"* ]]
    done <<'END'
0_.._100 10 2 --p 101
1_.._45 10 2 --pairs 46
0.0001_.._1000000 10 2 --time 0
0_.._4294967294 10 2 --seed 4294967295
0_.._4294967294 10 2 --seed -1
possible_are_1,_2,_5 10 2 --levels 3
{phip,entropy,cd2,a2} 10 2 --criterion maximin
is_read_by 10 2 --criterion cd2 --p 3
is_no_time 10 2 --time soon
range_2 1 2
K,_the_number 10
N,_the_number make
expected_NAME=LOW:HIGH 10 2 --factor x=5
not_expected 10 2 3
not_expected 10 2 --colour
not_a_number 10 2 --weights 1;2
END
    run "$OPTDOE"
    [ "$status" -eq 2 ]
}

@test "one search under a time limit ends with it" {
    start=$(date +%s%N)
    "$OPTDOE" 60 6 --starts 1 --time 1s --iterations 100000000 -q -o d.csv
    elapsed=$((($(date +%s%N) - start) / 1000000))
    [ "$elapsed" -ge 900 ] && [ "$elapsed" -lt 4000 ]
    grep -q '^# end: "stopped_after_rounds"' d.csv
    rounds=$(sed -n 's/^# rounds: //p' d.csv)
    "$OPTDOE" 60 6 --iterations "$rounds" --seed "$(sed -n 's/^# seed: //p' d.csv)" -q -o e.csv
    diff <(numbers d.csv) <(numbers e.csv)
}

@test "entry levels are truncated, not rounded" {
    "$OPTDOE" 40 3 --seed 2 --entry-levels -q -o entry.csv
    "$OPTDOE" 40 3 --seed 2 -q -o exact.csv
    is_latin exact.csv
    agree "$(recorded entry.csv)" "$(measure entry.csv objective_phip)"
    paste -d, <(numbers entry.csv) <(numbers exact.csv) |
        awk -F, '{ for (j = 1; j <= 3; ++j) { d = $(j + 3) - $j; if (d != 0 && d != 1) exit 1; n += d } } END { exit n == 0 }'
}

@test "one factor needs no search" {
    "$OPTDOE" 8 1 --seed 4 -o d.csv 2>log
    is_latin d.csv
    grep -q "a single factor needs no search" log
    "$OPTDOE" evaluate d.csv >table
    grep -q "Latin columns" table
}

@test "history holds a falling objective for every round" {
    "$OPTDOE" 20 3 --seed 1 --iterations 40 --history h.csv -q -o d.csv
    [ "$(head -1 h.csv)" = round,seconds,objective ]
    [ "$(wc -l <h.csv)" -eq 42 ]
    awk -F, 'NR > 2 && ($3 > last || $2 < t) { exit 1 } { last = $3; t = $2 }' <(tail -n +2 h.csv)
    agree "$(tail -1 h.csv | cut -d, -f3)" "$(recorded d.csv)"
}

@test "more memory than the machine has is refused before the work" {
    run "$OPTDOE" 1000000 3
    [ "$status" -eq 1 ]
    [[ $output == *"need about"*GiB* ]]
}
