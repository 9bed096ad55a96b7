#!/usr/bin/env bash
# Builds the wheel, installs it into a virtual environment and uses it there: wheel.sh PYTHON ROOT [EXTENSION]
#
# With EXTENSION, a built one, the wheel takes that; without, it is built from the sources. Nothing is fetched.
set -euo pipefail
python=$1
root=$2
[[ $# -lt 3 ]] || export OPTDOE_EXTENSION=$3
# What the build tree offers must not stand in for what the wheel holds.
unset PYTHONPATH

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
"$python" -m build --wheel --no-isolation --outdir "$scratch" "$root/python" >log 2>&1 || {
    cat log
    exit 1
}
"$python" -m venv --system-site-packages environment
environment/bin/pip install --quiet --no-index --no-deps --disable-pip-version-check optdoe-*.whl
environment/bin/python - <<'END'
import importlib.metadata
import pathlib
import sys

import optdoe

place = pathlib.Path(optdoe.__file__).parent
assert place.is_relative_to(sys.prefix), place
assert importlib.metadata.version("optdoe") == optdoe.__version__
assert (place / "py.typed").exists() and (place / "_native.pyi").exists()
assert optdoe.latin_hypercube(10, 2, seed=5).levels[0].tolist() == [8, 2]
END
extension=$(find environment -name '_native*.so')
# Beside what every machine has, it needs what lies in the environment only.
foreign=$(ldd "$extension" |
    grep -vE '^\s*(linux-vdso|/lib64/ld-linux|lib(c|m|gcc_s|stdc\+\+)\.so)' | grep -vF "$scratch" || true)
[[ -z $foreign ]] || {
    echo "the wheel needs:$foreign"
    exit 1
}
# Building it leaves nothing among the sources.
[[ -z $(find "$root/python" -name '*.egg-info' -o -name build -o -name '*.so' -o -name '*.whl') ]]
