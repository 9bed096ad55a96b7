load support

setup_file() {
    command -v dpkg-deb >/dev/null || skip "dpkg-deb is not installed"
    cd "$BATS_FILE_TMPDIR" || return 1
    cpack -G DEB -B "$PWD/packages" --config "$BUILD_DIR/CPackConfig.cmake" >log 2>&1 || { cat log; return 1; }
    if [ "$(id -u)" -ne 0 ]; then
        # Only root may install, if only into a folder: unpack instead.
        for package in packages/*.deb; do dpkg-deb -x "$package" root || return 1; done
        return
    fi
    mkdir -p root/var/lib/dpkg/info root/var/lib/dpkg/updates root/var/lib/dpkg/triggers
    touch root/var/lib/dpkg/status
    # Dependencies are those of the machine, not of the scratch root.
    dpkg --root="$PWD/root" --force-depends --force-bad-path -i packages/*.deb >log 2>&1 || { cat log; return 1; }
}

@test "the installed program runs, with manual and completion" {
    root=$BATS_FILE_TMPDIR/root
    [ "$(id -u)" -ne 0 ] ||
        [ "$(dpkg-query --admindir="$root/var/lib/dpkg" -W -f '${Status}' optdoe)" = "install ok installed" ]
    "$root/usr/bin/optdoe" 20 3 -q -o d.csv
    is_latin d.csv
    export OPTDOE=$root/usr/bin/optdoe
    agree "$(recorded d.csv)" "$(measure d.csv objective_phip)"
    [ -s "$root/usr/share/bash-completion/completions/optdoe" ]
    if command -v man >/dev/null && command -v scdoc >/dev/null; then
        MANWIDTH=80 man -l "$root/usr/share/man/man1/optdoe.1.gz" | grep -q '^EXAMPLES'
    fi
}

@test "the installed library exports its two functions" {
    library=$(find "$BATS_FILE_TMPDIR/root/usr/lib" -name libZORBEXdoe_optimallatinhypercubeC.so)
    [ "$(nm -D --defined-only "$library" | awk '$2 == "T"' | wc -l)" -eq 2 ]
}

@test "the installed Java host runs" {
    jar=$BATS_FILE_TMPDIR/root/usr/share/java/optimal-latin-hypercube-cli.jar
    [ -e "$jar" ] || skip "the Java host was not built"
    command -v java >/dev/null || skip "java is not installed"
    java -jar "$jar" 10 3 | grep -E '^[0-9 ,]+$'
}

@test "the installed liboptdoe serves a program, and depends on what it is linked with" {
    root=$BATS_FILE_TMPDIR/root
    folder=$(dirname "$(find "$root/usr/lib" -name liboptdoe.so)")
    cc -std=c99 "$SOURCE_DIR/tests/c/examples/design.c" -I"$root/usr/include" -L"$folder" -loptdoe -o design
    LD_LIBRARY_PATH=$folder ldd design | grep -q "liboptdoe.so.1 => $folder/"
    mkdir debian && touch debian/control
    [[ "shlibs:Depends=$(dpkg-deb -f "$BATS_FILE_TMPDIR"/packages/liboptdoe1_*.deb Depends)" == \
        "$(dpkg-shlibdeps -O "$folder/liboptdoe.so.1" 2>/dev/null)" ]]
}

@test "packages are removed without a trace" {
    [ "$(id -u)" -eq 0 ] || skip "only root removes packages"
    cp -a "$BATS_FILE_TMPDIR/root" root
    packages=$(dpkg-query --admindir="$PWD/root/var/lib/dpkg" -W -f '${Package} ')
    # shellcheck disable=SC2086 # a list of packages
    dpkg --root="$PWD/root" --force-depends --force-bad-path -P $packages >log 2>&1 || { cat log; return 1; }
    [ -z "$(find root/usr -type f)" ]
}

@test "the installed Python package is imported" {
    folder=$BATS_FILE_TMPDIR/root/usr/lib/python3/dist-packages
    [ -e "$folder/optdoe" ] || skip "the Python package was not built"
    PYTHONPATH=$folder PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -c \
        "import optdoe; optdoe.latin_hypercube(20, 3).write('d.csv'); assert optdoe.__file__.startswith('$folder')"
    is_latin d.csv
}

@test "packages name what they need" {
    for package in "$BATS_FILE_TMPDIR"/packages/*.deb; do
        [ -n "$(dpkg-deb -f "$package" Depends)" ]
        [ -n "$(dpkg-deb -f "$package" Maintainer)" ]
    done
}

@test "lintian finds nothing" {
    command -v lintian >/dev/null || skip "lintian is not installed"
    run lintian --allow-root --no-cfg --fail-on error,warning "$BATS_FILE_TMPDIR"/packages/*.deb
    echo "$output"
    [ "$status" -eq 0 ]
}

@test "cmake --install gives the same program elsewhere" {
    cmake --install "$BUILD_DIR" --prefix "$PWD/prefix" >/dev/null
    prefix/bin/optdoe 5 2 -q -o d.csv
    is_latin d.csv
    [ -e prefix/share/man/man1/optdoe.1.gz ] || ! command -v scdoc
}
