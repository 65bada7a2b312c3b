#!/usr/bin/env bash
# usage: scripts/test_wheel.sh
# Installs what is missing; makes a source distribution of the Python package and with pip a wheel of
# that, installs it into an empty environment that has numpy and nothing else, and runs the package's
# tests there. Tells how long the wheel took to build.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake g++ libxsimd-dev ninja-build pybind11-dev python3-dev python3-numpy \
    python3-setuptools python3-venv python3-wheel

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
    export CCACHE_BASEDIR=/ CCACHE_NOHASHDIR=1 # pip builds in a folder of another name each time
fi
git clone -q . "$work/checkout"
/usr/bin/python3 -m venv --system-site-packages "$work/building"
/usr/bin/python3 -m venv "$work/empty"

(cd "$work/checkout/python" && "$work/building/bin/python" setup.py -q sdist -d "$work")
rm -rf "$work/checkout"
begin=$SECONDS
"$work/building/bin/pip" wheel -q --no-index --no-build-isolation --no-deps -w "$work" \
    "$work"/sorvane-*.tar.gz
echo "the wheel took $((SECONDS - begin)) s"
"$work/empty/bin/pip" install -q --no-index --no-deps "$work"/sorvane-*.whl
packages=$("$work/empty/bin/python" -c "import sysconfig; print(sysconfig.get_path('purelib'))")
ln -s "$(/usr/bin/python3 -c "import numpy; print(numpy.__path__[0])")" "$packages/"
"$work/empty/bin/python" python/tests/run.py models/noise-gate-48k.model
"$work/empty/bin/sorvane-batch" --help >/dev/null
