#!/bin/sh
# Installs the Debian packages that building and testing anadata need; does nothing when all are present.
set -eu

packages="
build-essential cmake pkg-config g++ gcc gfortran clang libclang-rt-14-dev
libgtest-dev
gsoap libgsoap-dev libminizip-dev zlib1g-dev libisal-dev libdeflate-dev
libsqlite3-dev libssl-dev openssl libcli11-dev nlohmann-json3-dev
zip unzip curl python3 python3-numpy
pybind11-dev python3-dev python3-xarray python3-matplotlib python3-pytest
python3-dask python3-distributed python3-venv python3-pip
dpkg-dev lintian fakeroot
"

missing=""
for p in $packages; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing="$missing $p"
    fi
done

[ -z "$missing" ] && exit 0

echo "installing:$missing"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# shellcheck disable=SC2086
$sudo apt-get install -y -qq --no-install-recommends $missing
