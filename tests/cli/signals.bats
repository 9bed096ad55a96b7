load support

# Starts a long run in the background; its design goes to d.csv. Signals are reset: scripts start jobs with INT ignored.
start_run() {
    env --default-signal=INT,TERM "$OPTDOE" 60 6 --starts 1 --iterations 100000000 --time 60s -o d.csv 2>log 3>&- &
    job=$!
    sleep 0.7
}

@test "the first INT or TERM writes the best design and exits with 3" {
    for signal in INT TERM; do
        rm -f d.csv
        start_run
        kill -s $signal $job
        status=0
        wait $job || status=$?
        [ "$status" -eq 3 ]
        is_latin d.csv
        grep -q 'stopped on request' log
        grep -q '^# end: "stopped_after_rounds"' d.csv
        agree "$(recorded d.csv)" "$(measure d.csv objective_phip)"
    done
}

@test "a stopped run is repeated by its rounds" {
    start_run
    kill -s INT $job
    wait $job || true
    "$OPTDOE" 60 6 --seed "$(sed -n 's/^# seed: //p' d.csv)" --iterations "$(sed -n 's/^# rounds: //p' d.csv)" -q -o e.csv
    diff <(numbers d.csv) <(numbers e.csv)
}

@test "a second signal ends at once with 130 or 143 and writes nothing" {
    for pair in INT:130 TERM:143; do
        # Rounds of seconds, so that the second signal comes before the poll.
        env --default-signal=INT,TERM "$OPTDOE" 300 10 --moves 100000 --all-pairs --no-pre-improvement -o two.csv 2>log 3>&- &
        job=$!
        sleep 0.7
        kill -s "${pair%:*}" $job
        sleep 0.2
        kill -s "${pair%:*}" $job
        status=0
        wait $job || status=$?
        [ "$status" -eq "${pair#*:}" ]
        [ ! -e two.csv ]
        [ -z "$(compgen -G "./*.part")" ]
    done
}

@test "an ignored INT stays ignored" {
    (trap '' INT; exec "$OPTDOE" 60 6 --starts 1 --iterations 100000000 --time 1.5s -o d.csv 2>log 3>&-) &
    job=$!
    sleep 0.5
    kill -s INT $job
    wait $job
    grep -q 'the time limit is reached' log
}

@test "progress is one redrawn line on a terminal, without colour under NO_COLOR" {
    command -v script >/dev/null || skip "script is not installed"
    TERM=xterm script -qec "'$OPTDOE' 40 5 --starts 1 --iterations 100000000 --time 1.2s -o d.csv" /dev/null </dev/null >seen 3>&-
    grep -q $'\033\[36m' seen
    redraws=$(tr '\r' '\n' <seen | grep -c 'of 1.2s')
    [ "$redraws" -ge 3 ] && [ "$redraws" -le 12 ]
    NO_COLOR=1 TERM=xterm script -qec "'$OPTDOE' 40 5 --starts 1 --iterations 100000000 --time 1s -o d.csv" /dev/null </dev/null >seen 3>&-
    run grep -c $'\033\[36m' seen
    [ "$output" = 0 ]
    grep -q 'of 1.0s' seen
}

@test "nothing but the design goes to standard output, and quiet means quiet" {
    "$OPTDOE" 10 2 --seed 1 -q >out 2>err
    [ ! -s err ]
    "$OPTDOE" 10 2 --seed 1 >out2 2>err
    grep -v '^# command' out | diff - <(grep -v '^# command' out2)
    [ "$(wc -l <err)" -eq 2 ]
    grep -q 'more time finds better designs: --time 30s' err
}
