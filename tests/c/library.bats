# The shared library beside its header and the list of what it exports; programs of others that build on it.

setup() { cd "$BATS_TEST_TMPDIR" || return 1; }

functions_of() { nm -D --defined-only "$1" | awk '$2 == "T" { sub(/@@?OPTDOE_1$/, "", $3); print $3 }' | sort; }

@test "it exports the functions of its header, each by its version, and nothing else" {
    sed -n 's/^ *\(optdoe_[a-z_]*\);$/\1/p' "$SOURCE_DIR/c/exports.map" | sort >listed
    functions_of "$LIBRARY" >exported
    grep -oE '\boptdoe_[a-z_]+\(' "$SOURCE_DIR/c/include/optdoe.h" | tr -d '(' | sort -u >declared
    diff listed exported
    diff listed declared
    [ "$(nm -D --defined-only "$LIBRARY" | grep -c ' T .*@@OPTDOE_1$')" -eq "$(wc -l <listed)" ]
}

@test "it needs the C and C++ runtimes and a reader of CSV" {
    run bash -c "objdump -p '$LIBRARY' | awk '\$1 == \"NEEDED\" { print \$2 }' | grep -vE '^(libstdc\+\+|libm|libgcc_s|libc|libcsv|ld-linux.*)\.so'"
    [ -z "$output" ]
    objdump -p "$LIBRARY" | grep -q 'SONAME  *liboptdoe.so.1$'
}

@test "the examples in C and C++ give the program's design" {
    "$OPTDOE" 50 --factor Temp=0:10 --factor Flow=0:20 --factor Speed=0:30 --factor Load=0:40 --factor Time=0:50 \
        --criterion cd2 --effort 20000 --seed 5 --coding levels -q | grep -E '^[0-9]' >expected
    [ "$(wc -l <expected)" -eq 50 ]
    for example in optdoe_example_c optdoe_example_cpp; do
        "$EXAMPLES/$example" >"$example"
        cmp expected "$example"
    done
}

@test "an installation serves CMake and pkg-config" {
    for component in runtime development; do
        cmake --install "$BUILD_DIR" --component $component --prefix "$PWD/usr" >/dev/null
    done
    mkdir project
    cp "$SOURCE_DIR"/tests/c/examples/design.c* project
    cat >project/CMakeLists.txt <<'EOF'
cmake_minimum_required(VERSION 3.25)
project(example LANGUAGES C CXX)
find_package(optdoe 1.0 REQUIRED)
add_executable(in_c design.c)
add_executable(in_cpp design.cpp)
target_link_libraries(in_c optdoe::optdoe)
target_link_libraries(in_cpp optdoe::optdoe)
EOF
    cmake -S project -B build -DCMAKE_PREFIX_PATH="$PWD/usr" >log 2>&1 || { cat log; return 1; }
    cmake --build build >log 2>&1 || { cat log; return 1; }
    [ -x build/in_c ] && [ -x build/in_cpp ]

    command -v pkg-config >/dev/null || skip "pkg-config is not installed"
    folder=$(dirname "$(find "$PWD/usr" -name optdoe.pc)")
    export PKG_CONFIG_PATH=$folder PKG_CONFIG_SYSROOT_DIR=
    read -r -a flags < <(pkg-config --define-variable=prefix="$PWD/usr" --cflags --libs optdoe)
    cc -std=c99 "$SOURCE_DIR/tests/c/examples/design.c" "${flags[@]}" -o by_pkg_config
    LD_LIBRARY_PATH=$(dirname "$folder") ldd by_pkg_config | grep -q 'liboptdoe.so.1 => .*usr/lib'
}
