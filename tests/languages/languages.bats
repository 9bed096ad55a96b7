# The code of README and docs/languages.md, taken from these pages and run.

setup() {
    cd "$BATS_TEST_TMPDIR" || return 1
    export LD_LIBRARY_PATH=$BUILD_DIR/lib${LD_LIBRARY_PATH+:$LD_LIBRARY_PATH}
    PATH=$BUILD_DIR/bin:$PATH
}

# The fenced blocks of a language in a page, one after the other.
code() { awk -v fence="\`\`\`$2" '$0 == "```" { inside = 0 } inside; $0 == fence { inside = 1 }' "$SOURCE_DIR/$1"; }

run_sh() { bash -euo pipefail "$1"; }
run_c() { cc -std=c99 -pedantic -Wall -Wextra -Werror "$1" -I"$SOURCE_DIR/c/include" -L"$BUILD_DIR/lib" -loptdoe -o in_c && ./in_c; }
run_cpp() { c++ -std=c++11 -pedantic -Wall -Wextra -Werror "$1" -I"$SOURCE_DIR/c/include" -L"$BUILD_DIR/lib" -loptdoe -o in_cpp && ./in_cpp; }
run_java() { java -cp "$BUILD_DIR/java/optimal-latin-hypercube.jar" "$1"; }
run_python() { PYTHONPATH=$BUILD_DIR/python /usr/bin/python3 "$1"; }

# Whether the build has the language.
has() {
    case $1 in
    java) [ -e "$BUILD_DIR/java/optimal-latin-hypercube.jar" ] ;;
    python) [ -e "$BUILD_DIR/python/optdoe/__init__.py" ] ;;
    *) true ;;
    esac
}

@test "one request gives the same numbers in every language" {
    code docs/languages.md sh >design.sh
    run_sh design.sh | grep -E '^[0-9]' >expected
    [ "$(wc -l <expected)" -eq 50 ]
    for language in c cpp java python; do
        has $language || continue
        code docs/languages.md $language >"Design.$language"
        "run_$language" "Design.$language" >"$language.out"
        cmp expected "$language.out"
    done
}

@test "the examples of the README run" {
    for language in c cpp java python; do
        has $language || continue
        code README.md $language >"Example.$language"
        [ -s "Example.$language" ]
        "run_$language" "Example.$language" >"$language.out"
        [ -s "$language.out" ]
    done
}
