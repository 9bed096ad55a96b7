load support

@test "malformed files give place, reason and 1" {
    while IFS='|' read -r content expected; do
        printf '%b' "$content" >bad.csv
        for arguments in "evaluate bad.csv" "make --start bad.csv" "augment bad.csv --add 2" "plot bad.csv -o p.svg"; do
            # shellcheck disable=SC2086
            run "$OPTDOE" $arguments
            [ "$status" -eq 1 ]
            [[ $output == *"bad.csv:$expected"* ]]
        done
    done <<'END'
|1:1: holds no runs
a,b\n1,2\n3,four\n|3:3: expected a number with a decimal point, found "four"
a,b\n1,2\n3\n|3:1: 1 fields where the first line has 2
a,b\n1,2\n3,4,5\n|3:1: 3 fields where the first line has 2
a,"b\n1,2\n|3:1: the file ends inside a quoted field
{"design": [[1,2],[3}|1:
END
    [ ! -e p.svg ]
}

@test "unreadable files and folders" {
    run "$OPTDOE" evaluate .
    [ "$status" -eq 1 ]
    [[ $output == *".:1:1: cannot be read: Is a directory"* ]]
    run "$OPTDOE" 5 2 --bounds none.csv
    [ "$status" -eq 1 ]
    run "$OPTDOE" 5 2 -q -o none/d.csv
    [ "$status" -eq 1 ]
    [[ $output == *"none/d.csv: cannot be written: No such file or directory"* ]]
    # The refusal comes before the work.
    for option in --output --history --report; do
        run timeout 5 "$OPTDOE" 60 6 --iterations 100000000 $option none/x
        [ "$status" -eq 1 ]
        run timeout 5 "$OPTDOE" 60 6 --iterations 100000000 $option .
        [ "$status" -eq 1 ]
    done
}

@test "a closed pipe is a message, not a crash" {
    "$OPTDOE" 2000 3 --iterations 1 --moves 1 --no-pre-improvement -q 2>err | true
    status=("${PIPESTATUS[@]}")
    [ "${status[0]}" -eq 1 ]
    grep -q "the reader closed the pipe" err
}

@test "standard output closed from the start" {
    run bash -c "'$OPTDOE' 5 2 -q >&-"
    [ "$status" -eq 1 ]
    [[ $output == *"standard output: cannot be written"* ]]
}

@test "a full disk leaves nothing half written" {
    run "$OPTDOE" 5 2 -q -o /dev/full
    [ "$status" -eq 1 ]
    [[ $output == *"No space left"* ]]
    mkdir disk
    mount -t tmpfs -o size=16k none disk 2>/dev/null || skip "no right to mount a small disk"
    echo before >disk/d.csv
    run "$OPTDOE" 2000 5 --iterations 1 --moves 1 --no-pre-improvement -q -o disk/d.csv
    content=$(cat disk/d.csv)
    count=$(find disk -type f | wc -l)
    umount disk
    [ "$status" -eq 1 ]
    [[ $output == *"No space left"* ]]
    [ "$content" = before ]
    [ "$count" -eq 1 ]
}

@test "an existing file is replaced whole and keeps its rights; links and pipes survive" {
    echo before >d.csv
    chmod 640 d.csv
    ln -s d.csv link.csv
    "$OPTDOE" 5 2 -q -o link.csv
    [ -L link.csv ]
    [ "$(stat -c %a d.csv)" = 640 ]
    is_latin d.csv
    mkfifo pipe
    "$OPTDOE" 5 2 -q -o pipe 3>&- &
    cat pipe >from_pipe
    wait
    is_latin from_pipe
    [ -p pipe ]
}

@test "a decimal comma in the locale changes nothing" {
    locale=$(locale -a 2>/dev/null | grep -m1 -E '^(de|fr|es|it|nl|pl|ru|cs)_') || true
    [ -n "$locale" ] || { localedef -i de_DE -f UTF-8 "$PWD/de_DE.UTF-8" 2>/dev/null && export LOCPATH=$PWD && locale=de_DE.UTF-8; } ||
        skip "no locale with a decimal comma"
    "$OPTDOE" 7 2 --factor a=0.5:1.5 --factor b=0:1 --seed 1 -q -o plain.csv --report plain.html
    LC_ALL=$locale "$OPTDOE" 7 2 --factor a=0.5:1.5 --factor b=0:1 --seed 1 -q -o comma.csv --report comma.html
    diff <(grep -v '^# command' plain.csv) <(grep -v '^# command' comma.csv)
    diff <("$OPTDOE" evaluate - <plain.csv) <(LC_ALL=$locale "$OPTDOE" evaluate - <plain.csv)
}

@test "names with quotes, back-quotes, braces and umlauts go round" {
    names=('it'\''s "a"' '`b`' '{c}' 'Größe, ü' '#d' '$HOME')
    arguments=()
    for name in "${names[@]}"; do arguments+=(--factor "$name=0:1:µm"); done
    "$OPTDOE" make 8 "${arguments[@]}" --seed 1 -q -o d.csv
    "$OPTDOE" make 8 "${arguments[@]}" --seed 1 -q -o d.json
    "$OPTDOE" make --start d.csv --iterations 1 --format csv --seed 1 -q -o e.csv
    "$OPTDOE" make --start d.json --iterations 1 --format csv --seed 1 -q -o f.csv
    diff <(grep -v '^#' d.csv | head -1) <(grep -v '^#' e.csv | head -1)
    diff <(grep -v -e '^# command' -e '^# start' e.csv) <(grep -v -e '^# command' -e '^# start' f.csv)
    grep -q '"Größe, ü","#d",$HOME' d.csv
    mkdir 'a "b" `c` {d} é'
    "$OPTDOE" 5 2 -q -o 'a "b" `c` {d} é/x y.csv'
    "$OPTDOE" evaluate 'a "b" `c` {d} é/x y.csv' --random 0 >/dev/null
}

@test "ranges from a file" {
    printf 'name,low,high,unit\nT,20,80,C\nq,1,5,\n' >bounds.csv
    "$OPTDOE" make 6 --bounds bounds.csv --seed 1 -q -o d.csv
    [ "$(grep -v '^#' d.csv | head -1)" = T,q ]
    [ "$(numbers d.csv | cut -d, -f1 | sort -n | head -1)" = 25 ]
    "$OPTDOE" make 6 --bounds bounds.csv --placement ends --seed 1 -q -o e.csv
    [ "$(numbers e.csv | cut -d, -f1 | sort -n | tail -1)" = 80 ]
    printf 'T,20\n' >bounds.csv
    run "$OPTDOE" make 6 --bounds bounds.csv
    [ "$status" -eq 1 ]
    [[ $output == *"bounds.csv:1:1: expected name,low,high"* ]]
    printf 'T,20,1x\n' >bounds.csv
    run "$OPTDOE" make 6 --bounds bounds.csv
    [[ $output == *"bounds.csv:1:6: expected a number"* ]]
}

@test "two outputs on one file, or an output on an input, are refused before the search" {
    printf 'A,0,1\nB,0,1\n' >b.csv
    "$OPTDOE" 6 2 --seed 1 -q -o old.csv
    while read -r file arguments; do
        cp old.csv before
        # shellcheck disable=SC2086 # words
        run "$OPTDOE" $arguments
        [ "$status" -eq 2 ]
        [[ $output == *"$file: "* ]]
        cmp old.csv before
        [ ! -e x.csv ]
    done <<'END'
x.csv 6 2 -o x.csv --report ./x.csv
x.csv 6 2 -o x.csv --history x.csv
x.csv 6 2 --starts 2 -o x.csv --results x.csv
b.csv 6 --bounds b.csv -o b.csv
old.csv --start old.csv --output ./old.csv
old.csv augment old.csv --add 2 --history old.csv
END
    "$OPTDOE" 6 2 -q -o /dev/null --history /dev/null
}
