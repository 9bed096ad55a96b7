load support

seconds_of() {
    local start
    start=$(date +%s%N)
    "$@"
    echo $((($(date +%s%N) - start) / 1000000))
}

@test "the same starts give the same bytes for any jobs and shards" {
    for jobs in 1 2 5; do
        "$OPTDOE" 20 4 --starts 12 --seed 1 --jobs $jobs -q -o jobs$jobs.csv
    done
    cmp jobs1.csv jobs2.csv
    cmp jobs1.csv jobs5.csv
    for part in 1 2 3; do
        "$OPTDOE" 20 4 --starts 12 --seed 1 --shard $part/3 --results part$part.jsonl -q -o part$part.csv
        [ "$(grep -c '"seed"' part$part.jsonl)" -eq 4 ]
    done
    "$OPTDOE" merge part3.jsonl part1.jsonl part2.jsonl -q -o merged.csv
    cmp jobs1.csv merged.csv
    is_latin merged.csv
    cmp merged.csv <(repeat merged.csv)
}

@test "the winner is the best of the single searches, and of equal ones the first" {
    "$OPTDOE" 12 3 --starts 8 --seed 4294967290 -q -o all.csv
    for seed in 4294967290 4294967291 4294967292 4294967293 4294967294 0 1 2; do
        "$OPTDOE" 12 3 --seed $seed -q -o one.csv
        echo "$(recorded one.csv) $((seed < 9 ? seed + 8 : seed - 4294967290)) $seed"
    done | sort -g -k1,1 >list
    least=$(head -1 list | cut -d' ' -f1)
    best=$(awk -v least="$least" '$1 == least' list | sort -n -k3,3 | head -1 | cut -d' ' -f3)
    [ "$(sed -n 's/^# seed: //p' all.csv)" = "$best" ]
    "$OPTDOE" 12 3 --seed "$best" -q -o one.csv
    diff <(numbers all.csv) <(numbers one.csv)
}

@test "a time limit is used to its end, and its design comes again without a clock" {
    for options in "50 5" "30 4 --criterion cd2" "16 3 --criterion entropy" "12 4 --balanced 3 --criterion a2" \
        "24 3 --levels 4" "14 3 --symmetric" "20 3 --weights 1,.5,.2 --shares 1,1,0" "24 4 --method greedy"; do
        rm -f d.csv
        # shellcheck disable=SC2086
        elapsed=$(seconds_of "$OPTDOE" $options --time 1s -q -o d.csv)
        [ "$elapsed" -lt 2500 ]
        [[ $options == *"--criterion a2"* ]] || [ "$elapsed" -ge 900 ]
        cmp d.csv <(repeat d.csv)
    done
}

@test "TERM writes the best design of all searches, which comes again" {
    env --default-signal=INT,TERM "$OPTDOE" 60 6 --time 60s -o d.csv 2>log 3>&- &
    job=$!
    sleep 2
    kill -s TERM $job
    status=0
    wait $job || status=$?
    [ "$status" -eq 3 ]
    grep -q 'stopped on request' log
    is_latin d.csv
    cmp d.csv <(repeat d.csv)
}

@test "a stop is heeded at once" {
    env --default-signal=INT,TERM "$OPTDOE" 1000 10 --time 60s -q -o d.csv 3>&- &
    job=$!
    sleep 3
    start=$(date +%s%N)
    kill -s INT $job
    wait $job || true
    echo "$((($(date +%s%N) - start) / 1000000)) ms" >&2
    [ $((($(date +%s%N) - start) / 1000000)) -lt "${STOP_LIMIT_MS:-1500}" ]
    [ "$(numbers d.csv | wc -l)" -eq 1000 ]
}

@test "kill -9 and resume: nothing is made twice, and the winner is the same" {
    "$OPTDOE" 40 6 --starts 10 --seed 3 -q -o whole.csv
    "$OPTDOE" 40 6 --starts 10 --seed 3 --jobs 2 --results r.jsonl -q -o d.csv 3>&- &
    job=$!
    for _ in $(seq 100); do
        [ "$(grep -c '"objective"' r.jsonl 2>/dev/null)" -ge 3 ] && break
        sleep 0.05
    done
    kill -s KILL $job
    wait $job || true
    printf '{"seed":8,"objec' >>r.jsonl # as a line that was being written
    cp r.jsonl before.jsonl
    "$OPTDOE" 40 6 --starts 10 --seed 3 --resume r.jsonl -o d.csv 2>log
    grep -q 'r.jsonl: the last line has no end' log
    cmp whole.csv d.csv
    done_before=$(grep -c '"end"' before.jsonl)
    diff <(head -n $((done_before + 1)) before.jsonl) <(head -n $((done_before + 1)) r.jsonl)
    [ "$(grep -o '"seed":[0-9]*' r.jsonl | sort -u | wc -l)" -eq 10 ]
    [ "$(grep -c '"end"' r.jsonl)" -eq 10 ]
    "$OPTDOE" 40 6 --starts 10 --seed 3 --resume r.jsonl -q -o e.csv # nothing is left to do
    cmp whole.csv e.csv
}

@test "results files of other settings are refused, and so are doubled and missing seeds" {
    "$OPTDOE" 10 3 --starts 4 --seed 1 --shard 1/2 --results a.jsonl -q -o a.csv
    "$OPTDOE" 10 3 --starts 4 --seed 1 --shard 2/2 --results b.jsonl -q -o b.csv
    "$OPTDOE" 10 3 --starts 4 --seed 1 --criterion cd2 --results other.jsonl -q -o o.csv
    run "$OPTDOE" merge a.jsonl other.jsonl
    [ "$status" -eq 1 ] && [[ $output == *"different settings"*"--criterion=cd2"* ]]
    run "$OPTDOE" 10 3 --starts 4 --seed 1 --resume other.jsonl
    [ "$status" -eq 1 ] && [[ $output == *"other.jsonl:1:1: is of other settings"* ]]
    run "$OPTDOE" merge a.jsonl a.jsonl
    [ "$status" -eq 1 ] && [[ $output == *"stands in a.jsonl and in a.jsonl"* ]]
    run "$OPTDOE" merge a.jsonl
    [ "$status" -eq 1 ] && [[ $output == *"2 of 4 starts are missing (seeds 2, 4)"* ]]
    "$OPTDOE" merge a.jsonl --incomplete -q -o c.csv
    cmp a.csv c.csv
    run "$OPTDOE" 10 3 --starts 4 --seed 1 --results a.jsonl
    [ "$status" -eq 1 ] && [[ $output == *"exists already; --resume goes on from it"* ]]
    run "$OPTDOE" 10 3 --starts 4 --seed 2 --resume a.jsonl
    [ "$status" -eq 1 ] && [[ $output == *"give --seed 1"* ]]
    sed -i '2s/.*/no json/' b.jsonl
    run "$OPTDOE" merge a.jsonl b.jsonl
    [ "$status" -eq 1 ] && [[ $output == *"b.jsonl:2:1: is no line of a results file"* ]]
}

@test "a full disk under the results file is told, and the design is not lost" {
    run "$OPTDOE" 10 3 --starts 3 --seed 1 --results /dev/full -o d.csv
    [ "$status" -eq 1 ] && [[ $output == *"/dev/full: No space left on device"* ]]
    folder=$(mktemp -d)
    mount -t tmpfs -o size=16k none "$folder" 2>/dev/null || skip "no right to mount a small disk"
    run "$OPTDOE" 30 4 --starts 60 --seed 1 --results "$folder/r.jsonl" -o d.csv
    cp "$folder/r.jsonl" kept.jsonl
    umount "$folder"
    [ "$status" -eq 1 ]
    [[ $output == *"No space left on device; the search goes on without it"* ]]
    is_latin d.csv
    "$OPTDOE" merge kept.jsonl --incomplete -q -o e.csv # each line that is there is whole
}

@test "two runs do not write one results file" {
    "$OPTDOE" 60 6 --time 20s --results r.jsonl -q -o d.csv 3>&- &
    job=$!
    sleep 1
    run "$OPTDOE" 60 6 --time 1s --resume r.jsonl -o e.csv
    kill -s TERM $job
    wait $job || true
    [ "$status" -eq 1 ] && [[ $output == *"r.jsonl: another run is writing it"* ]]
}

@test "a campaign of time is resumed with seeds of its own" {
    "$OPTDOE" 20 3 --time 1s --seed 1 --results r.jsonl -q -o d.csv
    first=$(grep -c '"end"' r.jsonl)
    "$OPTDOE" 20 3 --time 1s --seed 1 --resume r.jsonl -q -o e.csv
    [ "$(grep -c '"end"' r.jsonl)" -gt "$first" ]
    [ "$(grep -o '"seed":[0-9]*' r.jsonl | sort | uniq -d | wc -l)" -eq 0 ]
    awk -v a="$(recorded e.csv)" -v b="$(recorded d.csv)" 'BEGIN { exit !(a <= b) }'
    cmp e.csv <(repeat e.csv)
}

@test "no round done in the time is told" {
    "$OPTDOE" 400 10 --starts 1 --time 0.001s -o d.csv 2>log
    grep -q 'warning: no round was done in the time: this is the start as it is, which is random' log
    cmp d.csv <(repeat d.csv)
    is_latin d.csv
}

@test "history and report show all searches" {
    "$OPTDOE" 20 4 --starts 6 --seed 1 -q -o d.csv --history h.csv --report r.html
    [ "$(head -1 h.csv)" = seed,round,seconds,objective ]
    [ "$(tail -n +2 h.csv | cut -d, -f1 | sort -u | wc -l)" -eq 6 ]
    [ "$(grep -o '<circle[^>]*r="2.2"' r.html | wc -l)" -ge 6 ]
    command -v gnuplot >/dev/null || skip "gnuplot is not installed"
    "$OPTDOE" plot d.csv --history h.csv -o d.svg
}

@test "progress tells the best, where it comes from, searches and time" {
    "$OPTDOE" 30 4 --time 11s --jobs 2 -o d.csv 2>log
    grep -qE '^optdoe: 10\.[0-9]s of 11\.0s  best [0-9.]+ \(seed [0-9]+, after [0-9.]+s\)  [0-9]+ searches done, [12] running$' log
    grep -qE 'best of [0-9]+ searches on 2 cores in 1[01]\.[0-9] s: the time limit is reached' log
}

@test "options that contradict a campaign are refused before it begins" {
    while read -r part words; do
        # shellcheck disable=SC2086
        run "$OPTDOE" $words
        [ "$status" -eq 2 ]
        [[ $output == *"${part//_/ }"* ]]
    done <<'END'
--effort_chooses_its_methods 10 2 --effort 5 --method greedy
--entry-levels_needs_a_run 10 2 --effort 5 --entry-levels
--stop-after_ends_one_search 10 2 --stop-after 5 --time 1s
--shard_needs 10 2 --shard 1/2
is_no_part 10 2 --starts 4 --shard 3/2
--starts 10 2 --starts 0
--jobs 10 2 --jobs 0
END
}

@test "runs are added within a time limit" {
    "$OPTDOE" 12 3 --factor a=0:1 --factor b=0:1 --factor c=0:1 --seed 1 -q -o old.csv
    "$OPTDOE" augment old.csv --add 6 --time 1s -q -o all.csv
    diff <(numbers old.csv) <(numbers all.csv | head -12)
    cmp all.csv <(repeat all.csv)
}

@test "a target ends a campaign of time" {
    elapsed=$(seconds_of "$OPTDOE" 20 2 --target 5.2 --time 20s -q -o d.csv)
    [ "$elapsed" -lt 10000 ]
    awk -v a="$(recorded d.csv)" 'BEGIN { exit !(a <= 5.2) }'
}
