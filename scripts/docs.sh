#!/usr/bin/env bash
# usage: scripts/docs.sh
# Installs what is missing and makes the reference of the public header in build/reference. Any warning
# is an error.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh doxygen
mkdir -p build
doxygen Doxyfile
echo "Left in build/reference/index.html"
