load support

@test "the same starts give the same bytes for any number of ranks" {
    "$OPTDOE" 20 4 --starts 12 --seed 1 --jobs 1 -q -o one.csv
    for count in 1 2 3 5; do
        ranks $count 20 4 --starts 12 --seed 1 -q -o ranks$count.csv
        cmp one.csv ranks$count.csv
    done
    "$OPTDOE_MPI" 20 4 --starts 12 --seed 1 -q -o alone.csv
    cmp one.csv alone.csv
}

@test "augment, levels of the Java method and a single search give optdoe's bytes" {
    "$OPTDOE" 12 3 --seed 1 -q -o old.csv
    while read -r words; do
        # shellcheck disable=SC2086
        "$OPTDOE" $words --seed 1 -q >one.csv
        # shellcheck disable=SC2086
        ranks 3 $words --seed 1 -q >ranks.csv
        cmp one.csv ranks.csv
    done <<'END'
augment old.csv --add 4 --starts 3
12 4 --entry-levels --starts 3
12 4 --criterion cd2 --effort 200 --starts 5
20 5
END
}

@test "the results file holds each search once, with its processor" {
    ranks 3 20 4 --starts 12 --seed 1 --results r.jsonl -q -o d.csv
    [ "$(grep -o '"seed":[0-9]*' r.jsonl | sort -u | wc -l)" -eq 12 ]
    [ "$(grep -c '"end".*"processor":"[^"]' r.jsonl)" -eq 12 ]
    "$OPTDOE" merge r.jsonl -q -o merged.csv
    cmp d.csv merged.csv
}

@test "a time limit is used to its end, and its design comes again without a clock" {
    start=$(date +%s%N)
    ranks 3 50 5 --time 2s -o d.csv 2>log
    elapsed=$((($(date +%s%N) - start) / 1000000))
    [ "$elapsed" -ge 1900 ] && [ "$elapsed" -lt 5000 ]
    grep -q 'on 2 cores in .*: the time limit is reached' log
    cmp d.csv <(repeat d.csv)
}

@test "a signal to the launcher gives the best design, which comes again, and rank 0 ends with 3" {
    # The launcher of MPICH loses exit codes after signals of its own: a shell around rank 0 keeps it.
    # shellcheck disable=SC2016
    keep_code='trap : INT TERM USR1; "$@"; echo $? >code'
    for signal in TERM INT USR1; do
        rm -f d.csv code
        env --default-signal=INT,TERM "$MPIEXEC" -n 1 bash -c "$keep_code" - "$OPTDOE_MPI" 60 6 --time 60s -o d.csv : \
            -n 2 "$OPTDOE_MPI" 60 6 --time 60s -o d.csv 2>log 3>&- &
        job=$!
        sleep 2
        kill -s $signal $job
        wait $job || true
        [ "$(cat code)" -eq 3 ]
        grep -q 'stopped on request' log
        cmp d.csv <(repeat d.csv)
    done
}

@test "a signal to rank 0 alone ends all ranks, and the launcher with 3" {
    TEST_FOLDER=$PWD "$MPIEXEC" -n 3 "$OPTDOE_MPI" 60 6 --time 60s -q -o d.csv 3>&- &
    job=$!
    sleep 1.5
    kill -s TERM "$(process_of_rank 0)"
    status=0
    wait $job || status=$?
    [ "$status" -eq 3 ]
    is_latin d.csv
}

@test "kill -9 of a worker and resume: nothing is made twice, and the winner is the same" {
    "$OPTDOE" 40 6 --starts 10 --seed 3 -q -o whole.csv
    TEST_FOLDER=$PWD "$MPIEXEC" -n 3 "$OPTDOE_MPI" 40 6 --starts 10 --seed 3 --results r.jsonl -q -o d.csv 3>&- &
    job=$!
    for _ in $(seq 200); do
        [ -e r.jsonl ] && [ "$(grep -c '"end"' r.jsonl)" -ge 2 ] && break
        sleep 0.02
    done
    kill -s KILL "$(process_of_rank 2)"
    status=0
    wait $job || status=$?
    [ "$status" -ne 0 ]
    [ ! -e d.csv ]
    cp r.jsonl before.jsonl
    [ "$(grep -c '"end"' before.jsonl)" -lt 10 ]
    "$OPTDOE" 40 6 --starts 10 --seed 3 --resume r.jsonl -q -o d.csv
    cmp whole.csv d.csv
    cmp before.jsonl <(head -n "$(wc -l <before.jsonl)" r.jsonl)
    [ "$(grep -c '"end"' r.jsonl)" -eq 10 ]
    [ "$(grep -o '"seed":[0-9]*' r.jsonl | sort -u | wc -l)" -eq 10 ]
    rm d.csv
    ranks 3 40 6 --starts 10 --seed 3 --resume r.jsonl -q -o d.csv # nothing is left to do
    cmp whole.csv d.csv
}

@test "what is asked wrongly is told once, and all ranks end with 2" {
    while read -r part words; do
        # shellcheck disable=SC2086
        run ranks 3 $words
        [ "$status" -eq 2 ]
        [ "$(grep -c "${part//_/ }" <<<"$output")" -eq 1 ]
    done <<'END'
was_not_expected 10 2 --nonsense
the_number_of_factors 10
there_is_optdoe evaluate d.csv
--jobs_is_of_optdoe 10 2 --jobs 3
standard_input_reaches_one_rank --start -
--shard_needs 10 2 --shard 1/2
END
    run ranks 3 10 2 --starts 2 --results /none/r.jsonl
    [ "$status" -eq 1 ]
    [ "$(grep -c 'cannot be written' <<<"$output")" -eq 1 ]
}

@test "help and settings are printed once" {
    run ranks 3 --help
    [ "$status" -eq 0 ]
    [ "$(grep -c '^Usage: optdoe-mpi' <<<"$output")" -eq 1 ]
    run ranks 3 10 2 --print-config
    [ "$status" -eq 0 ]
    [ "$(grep -c '"criterion"' <<<"$output")" -eq 1 ]
}

@test "a worker that cannot read its input is named, and the job ends with 1" {
    "$OPTDOE" 10 3 --seed 1 -q -o start.csv
    run timeout 60 "$MPIEXEC" -n 2 "$OPTDOE_MPI" --start start.csv --starts 50 -o d.csv : \
        -n 1 env -C / "$OPTDOE_MPI" --start start.csv --starts 50 -o d.csv
    [ "$status" -eq 1 ]
    [[ $output == *"optdoe-mpi: rank 2 on "*": start.csv:1:1: cannot be read"* ]]
    [ ! -e d.csv ]
}

@test "ranks of different problems do not work together" {
    run timeout 60 "$MPIEXEC" -n 2 "$OPTDOE_MPI" 10 3 --starts 50 -o d.csv : -n 1 "$OPTDOE_MPI" 11 3 --starts 50
    [ "$status" -eq 1 ]
    [[ $output == *"rank 2 on "*" was started with other options than rank 0"* ]]
}

@test "progress shows the searches of the workers" {
    ranks 3 30 4 --time 11s -o d.csv 2>log
    grep -qE '^optdoe: 10\.[0-9]s of 11\.0s  best [0-9.]+ \(seed [0-9]+, after [0-9.]+s\)  [0-9]+ searches done, [12] running$' log
}
