# bash completion for optdoe

_optdoe()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word command=make
    # bash splits --option=value at the equals sign
    if [[ $current == "=" ]]; then
        current=
    elif [[ $previous == "=" ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            make | augment | evaluate | plot | merge) command=$word && break ;;
        esac
    done

    local -A choices=(
        [--criterion]="phip entropy cd2 a2"
        [--method]="threshold greedy annealing"
        [--distance]="euclidean rectangular"
        [--scaling]="none range centres"
        [--coding]="levels unit physical"
        [--placement]="centres ends"
        [--format]="csv json"
    )
    local score="--p --distance --theta --weights"
    local factors="--factor --bounds --coding"
    local search="--criterion $score --target --negate-target --method --time --minutes --iterations --moves --pairs --all-pairs
        --restarts --threshold --cooling --tolerance --shares --weighted-choice --levels --no-pre-improvement
        --auxiliary --seed --starts --jobs --effort --stop-after --results --resume --shard"
    local output="--output --format --history --report --quiet"
    local -A options=(
        [make]="--start --balanced --symmetric $search --scaling $factors --placement --entry-levels $output --config
            --print-config --help"
        [augment]="--add $search $factors $output --help"
        [evaluate]="$score --scaling $factors --random --json --help"
        [plot]="$factors --output --history --help"
        [merge]="--incomplete $output --help"
    )

    local words=
    if [[ -n ${choices[$previous]-} ]]; then
        words=${choices[$previous]}
    elif [[ $current == -* ]]; then
        words=${options[$command]}
        [[ $COMP_CWORD -eq 1 ]] && words+=" --version"
    elif [[ $COMP_CWORD -eq 1 ]]; then
        words="make augment evaluate plot merge"
    fi
    COMPREPLY=()
    if [[ -n $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
    fi
}
complete -F _optdoe optdoe
