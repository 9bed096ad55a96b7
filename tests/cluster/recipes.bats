# The recipes of docs/cluster.md without optdoe-mpi.
load support

@test "shards made by GNU parallel and merged give the bytes of one campaign" {
    command -v parallel >/dev/null || skip "parallel is not installed"
    "$OPTDOE" 20 4 --starts 12 --seed 1 -q -o one.csv
    PATH="$(dirname "$OPTDOE"):$PATH" parallel --jobs 2 --joblog log \
        'optdoe 20 4 --starts 12 --seed 1 --shard {}/3 --jobs 1 --results part{}.jsonl -q -o part{}.csv' ::: 1 2 3 3>&-
    [ "$(tail -n +2 log | wc -l)" -eq 3 ]
    "$OPTDOE" merge part*.jsonl -q -o merged.csv
    cmp one.csv merged.csv
}
