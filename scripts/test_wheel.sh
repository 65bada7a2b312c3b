#!/usr/bin/env bash
# usage: scripts/test_wheel.sh
# Installs what is missing, installs the Python package with pip into an empty environment that sees
# Debian's numpy, and runs the package's tests there.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake g++ libxsimd-dev make pybind11-dev python3-dev python3-numpy \
    python3-setuptools python3-venv python3-wheel

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
git clone -q . "$work/checkout"
/usr/bin/python3 -m venv --system-site-packages "$work/environment"
"$work/environment/bin/pip" install -q --no-index --no-build-isolation "$work/checkout/python"
rm -rf "$work/checkout"
"$work/environment/bin/python" python/tests/run.py models/noise-gate-48k.model
