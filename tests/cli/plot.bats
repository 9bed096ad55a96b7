load support

pictures() {
    command -v gnuplot >/dev/null || skip "gnuplot is not installed"
}

@test "three kinds of pictures" {
    pictures
    "$OPTDOE" 15 3 --seed 1 --history h.csv -q -o d.csv
    for kind in svg png pdf; do
        "$OPTDOE" plot d.csv --history h.csv -o "p.$kind"
        [ -s "p.$kind" ]
    done
    grep -q '<svg' p.svg
    head -c 4 p.png | grep -q PNG
    head -c 4 p.pdf | grep -q '%PDF'
    "$OPTDOE" plot d.csv --history h.csv -o again.svg
    diff p.svg again.svg
    [ -z "$(compgen -G "./*.part")" ]
}

@test "odd names are drawn and run nothing" {
    pictures
    "$OPTDOE" 8 2 --factor 'it'\''s `touch ran` {x}_2=0:1:"' --factor 'ü\n%s=0:1' --seed 1 -q -o d.csv
    "$OPTDOE" plot d.csv -o 'p `touch ran2` it'\''s.svg'
    [ ! -e ran ] && [ ! -e ran2 ]
    grep -q 'it.*s `touch ran` {x}_2' 'p `touch ran2` it'\''s.svg'
}

@test "a picture replaces no pipe or device" {
    "$OPTDOE" 8 2 --seed 1 -q -o d.csv
    mkfifo pipe.svg
    run "$OPTDOE" plot d.csv -o pipe.svg
    [ "$status" -eq 1 ]
    [[ "$output" == *"pipe.svg: is not a regular file"* ]]
    [ -p pipe.svg ]
    [ -z "$(compgen -G "./*.part")" ]
}

@test "without gnuplot the message says what to do" {
    "$OPTDOE" 8 2 --seed 1 -q -o d.csv
    mkdir empty
    PATH=$PWD/empty run "$OPTDOE" plot d.csv -o p.svg
    [ "$status" -eq 1 ]
    [[ $output == *"gnuplot is not installed"* ]]
    [ ! -e p.svg ]
}

@test "an unknown ending is refused" {
    "$OPTDOE" 8 2 --seed 1 -q -o d.csv
    run "$OPTDOE" plot d.csv -o p.bmp
    [ "$status" -eq 2 ]
    run "$OPTDOE" plot d.csv -o nowhere/p.svg
    [ "$status" -eq 1 ]
}

@test "the report is one page with everything in it" {
    "$OPTDOE" 15 3 --factor 'a<b>=0:1' --factor b=0:1 --factor c=0:1:°C --seed 1 --report r.html -q -o d.csv
    for part in '<svg class="pairs"' '<svg class="history"' 'a&lt;b&gt;' 'optdoe 15 3' 'Mean of 200 random' '<th>15</th>'; do
        grep -qF "$part" r.html
    done
    run grep -E '<script|src=|href=|url\(' r.html
    [ "$status" -eq 1 ]
}
