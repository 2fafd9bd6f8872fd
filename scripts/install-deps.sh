#!/usr/bin/env bash
# Installs the Debian packages that qldb needs to build, test and run, skipping those already there.
set -euo pipefail

packages=(
    cmake ninja-build ccache g++ pkg-config
    qt6-base-dev
    unixodbc unixodbc-dev tdsodbc libsqliteodbc odbc-postgresql odbc-mariadb freetds-bin
    libxlsxwriter-dev unzip
    libgtest-dev libgmock-dev libbenchmark-dev
    libsmbclient-dev
    postgresql mariadb-server samba
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}" >&2
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
    sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
