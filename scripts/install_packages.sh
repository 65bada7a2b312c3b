#!/usr/bin/env bash
# usage: scripts/install_packages.sh PACKAGE...
# Installs those of the Debian packages that are missing. Elsewhere it only names them.
set -euo pipefail

if ! command -v dpkg-query >/dev/null; then
    echo "Not a Debian system; needed are the counterparts of: $*" >&2
    exit 0
fi

missing=()
for package in "$@"; do
    status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "Please install as root: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi
echo "Installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq </dev/null
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null >/dev/null
