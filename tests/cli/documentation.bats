load support

options_of_help() {
    "$OPTDOE" "$@" --help | grep -oE -- '(^|[ ,])--[a-z-]+' | tr -d ' ,' | sort -u
}

# The options that the manual's section of a command explains.
options_of_manual() {
    awk -v section="# OPTIONS OF ${1^^}" '/^# / { inside = $0 == section } inside' "$SOURCE_DIR/cli/optdoe.1.scd" | grep -oE -- '^\*(-[a-z]\*, \*)?--[^_]*' |
        grep -oE -- '--[a-z-]+' | sort -u
}

options_of_completion() {
    bash -c '. "$0"; COMP_WORDS=(optdoe '"$1"' --); COMP_CWORD=2; _optdoe; printf "%s\n" "${COMPREPLY[@]}"' \
        "$SOURCE_DIR/cli/optdoe.bash" | sort -u
}

@test "help and completion name the same options" {
    for command in make augment evaluate plot merge; do
        diff <(options_of_help $command) <(options_of_completion $command)
    done
}

@test "help and manual name the same options" {
    diff <(options_of_help make) <(options_of_manual make | grep -v -- --version)
    diff <(options_of_help evaluate | grep -v -- --help) <(options_of_manual evaluate)
    diff <(options_of_help plot | grep -v -- --help) <(options_of_manual plot)
    # The manual of augment names what it adds to and takes from make.
    diff <(options_of_help augment) \
        <({ options_of_help make; echo --add; } | grep -vxF -e --scaling -e --placement -e --config -e --print-config \
            -e --start -e --balanced -e --symmetric -e --entry-levels | sort)
    options_of_manual augment | grep -qx -- --add
}

@test "help has two examples and ends with 0" {
    for command in "" make augment evaluate plot merge; do
        # shellcheck disable=SC2086
        run "$OPTDOE" $command --help
        [ "$status" -eq 0 ]
        [ "$(grep -cE '^  optdoe ' <<<"$output")" -ge 2 ]
    done
    run "$OPTDOE" --version
    [ "$status" -eq 0 ]
    [[ $output =~ ^optdoe\ [0-9]+\.[0-9]+\.[0-9]+$ ]]
}

@test "the examples of help run" {
    "$OPTDOE" 50 5 --output design.csv
    for part in 1 2; do
        "$OPTDOE" 10 3 --starts 4 --seed 1 --shard $part/2 --results part$part.jsonl -q -o /dev/null
    done
    cp design.csv colleague.csv
    cp design.csv old.csv
    while read -r line; do
        line=${line/optdoe/\"\$OPTDOE\"}
        line=$(sed -E 's/--time [0-9a-z]+/--time 0.5s/' <<<"$line")
        [[ $line == *ranges.csv* ]] && printf 'a,0,50\nb,0,50\nc,0,50\nd,0,50\ne,0,50\n' >ranges.csv && cp design.csv old.csv && continue
        [[ $line == *" plot "* ]] && ! command -v gnuplot >/dev/null && continue
        [[ $line == *history* ]] && "$OPTDOE" 50 5 --history history.csv -q -o design.csv
        eval "$line" >/dev/null
    done < <(for c in make augment evaluate plot merge; do "$OPTDOE" $c --help | grep -E '^  optdoe '; done)
}

@test "completion offers commands, values and files" {
    run bash -c '. "$0"; COMP_WORDS=(optdoe ev); COMP_CWORD=1; _optdoe; echo "${COMPREPLY[@]}"' "$SOURCE_DIR/cli/optdoe.bash"
    [ "$output" = evaluate ]
    run bash -c '. "$0"; COMP_WORDS=(optdoe 5 2 --criterion e); COMP_CWORD=4; _optdoe; echo "${COMPREPLY[@]}"' "$SOURCE_DIR/cli/optdoe.bash"
    [ "$output" = entropy ]
    touch design.csv
    run bash -c '. "$0"; COMP_WORDS=(optdoe evaluate des); COMP_CWORD=2; _optdoe; echo "${COMPREPLY[@]}"' "$SOURCE_DIR/cli/optdoe.bash"
    [ "$output" = design.csv ]
}

@test "the manual begins with examples and has its sections" {
    command -v man >/dev/null && command -v scdoc >/dev/null || skip "man or scdoc is not installed"
    scdoc <"$SOURCE_DIR/cli/optdoe.1.scd" >optdoe.1
    MANWIDTH=100 man --warnings -l optdoe.1 >text 2>warnings
    [ ! -s warnings ]
    [ "$(grep -m2 -E '^[A-Z]' text | tail -1)" = EXAMPLES ]
    grep -q '^REPRODUCIBILITY' text
    grep -q '^EXIT STATUS' text
}
