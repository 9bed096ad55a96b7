#!/usr/bin/env bats
# The tables from recorded measurements, and what is refused.

setup() {
    data=$BATS_TEST_DIRNAME/data
    copy=$BATS_TEST_TMPDIR/measured
    mkdir "$copy"
    cp "$data"/*.txt "$data"/*.md "$data"/*.json "$data"/*.jsonl "$copy"
}

@test "all tables, as recorded" {
    "$FIGURES" "$copy" >"$BATS_TEST_TMPDIR/figures.md"
    diff -u "$data/expected/figures.md" "$BATS_TEST_TMPDIR/figures.md"
}

@test "what was not measured has no table" {
    rm "$copy/criteria.json" "$copy/minute.jsonl"
    run "$FIGURES" "$copy"
    [ "$status" -eq 0 ]
    [[ $output == *"## Instructions"* ]]
    [[ $output != *"## Operations"* ]]
    [[ $output != *"## Growth"* ]]
    [[ $output != *"## One minute"* ]]
}

@test "the least of the repetitions counts, and a power law has its exponent" {
    run "$FIGURES" "$copy"
    [[ $output == *"| 100 | 1500 / 11.2 = 134 | 20000 / 100 = 200 |"* ]]
    [[ $output == *"| phip |  | 2.00 / 1.00 |"* ]]
}

refused() {
    local ended=0
    "$FIGURES" "$copy" >"$BATS_TEST_TMPDIR/out" 2>&1 || ended=$?
    [ "$ended" -eq 1 ]
    grep -qF -- "$1" "$BATS_TEST_TMPDIR/out"
}

@test "no description of the machine is refused" {
    rm "$copy/machine.txt"
    refused "machine.txt cannot be read"
}

@test "an empty file is refused" {
    : >"$copy/whole_calls.md"
    refused "whole_calls.md is empty"
}

@test "a measurement that was cut short is refused" {
    head -c 300 "$data/criteria.json" >"$copy/criteria.json"
    refused "parse error"
}

@test "a benchmark with another kind of name is refused" {
    sed 's|phip/move/plain/50|phip/move/slow/50|' "$data/criteria.json" >"$copy/criteria.json"
    refused "expected criterion/operation/form/n"
}

@test "a benchmark that failed is refused" {
    sed 's|"name":"phip/move/plain/50"|&,"error_occurred":true|' "$data/criteria.json" >"$copy/criteria.json"
    refused "phip/move/plain/50 failed"
}

@test "a call without its moves is refused" {
    sed 's|"moves":400,||' "$data/instructions.jsonl" >"$copy/instructions.jsonl"
    refused "moves"
}

@test "no directory is a fault of usage" {
    run "$FIGURES"
    [ "$status" -eq 2 ]
}

@test "two forms that do not end alike are refused" {
    sed '2s/"objective":1.25/"objective":1.5/' "$data/instructions.jsonl" >"$copy/instructions.jsonl"
    refused "end differently"
}
