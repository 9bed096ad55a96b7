# shellcheck shell=bash
# Gets a build tree ready: the packages that it needs and the targets that are asked for. Sourced by run.sh and test.sh.
#
# Everything that is printed here goes to standard error: standard output belongs to the program that is run afterwards.

project_root=$(dirname -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")")
readonly project_root

# The packages of the named groups, one a line.
packages_of() {
    local group
    for group; do
        sed -n "s/^$group: *//p" "$project_root/scripts/packages.txt" | tr ' ' '\n'
    done
}

# Those of the named packages that are not installed. dpkg-query complains about packages that it never heard of.
missing_of() {
    local installed package
    installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' "$@" 2>/dev/null || true)
    for package; do
        grep -qxF "$package installed" <<<"$installed" || printf '%s\n' "$package"
    done
}

# Runs apt-get as root. Its output would spoil the standard output of the program.
as_root_apt() {
    local via=()
    [[ $(id -u) == 0 ]] || via=(sudo -n)
    "${via[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300 -y "$@" >&2 </dev/null
}

# Installs what the named groups lack. Calls apt only when something is missing, and refreshes its lists only when they
# do not know a package or an installation from them fails. Exits 69 when it may not install.
need_packages() {
    local wanted missing package known=yes
    mapfile -t wanted < <(packages_of "$@")
    mapfile -t missing < <(missing_of "${wanted[@]}")
    [[ ${#missing[@]} -gt 0 ]] || return 0

    if [[ $(id -u) != 0 ]] && ! sudo -n true 2>/dev/null; then
        echo "Packages are missing, and installing them takes root or sudo without a password. As root:" >&2
        echo "  apt-get update && apt-get install -y --no-install-recommends ${missing[*]}" >&2
        exit 69
    fi
    echo "Installing: ${missing[*]}" >&2
    for package in "${missing[@]}"; do
        apt-cache show "$package" >/dev/null 2>&1 || known=no
    done
    if [[ $known == yes ]] && as_root_apt install --no-install-recommends "${missing[@]}"; then
        return 0
    fi
    as_root_apt update
    as_root_apt install --no-install-recommends "${missing[@]}"
}

# Builds targets of a preset: prepare PRESET "GROUP..." TARGET...
#
# A tree is configured when it is new or was configured without one of the groups: what a machine lacks is left out of a
# tree, and has to come in once it is there. Later changes are CMake's and Ninja's to notice. The lock keeps runs that
# are started side by side from building into each other.
prepare() {
    local preset=$1 groups=$2 group
    shift 2
    local tree=$project_root/build/$preset
    # shellcheck disable=SC2086 # a list of groups
    need_packages $groups
    mkdir -p "$tree"
    (
        flock 9
        for group in $groups; do
            grep -qxF "$group" "$tree/configured_with" 2>/dev/null && continue
            cmake -S "$project_root" --preset "$preset" >&2
            # shellcheck disable=SC2086
            printf '%s\n' $groups >>"$tree/configured_with"
            break
        done
        cmake --build "$tree" --target "$@" 2>&1 | sed -uE '/^ninja: no work to do\.$|Re-checking globbed directories/d' >&2
    ) 9>"$tree/lock"
}
