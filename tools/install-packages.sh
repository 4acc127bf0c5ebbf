#!/usr/bin/env bash
# Installs what building, testing and the demo need from Debian 12's packages; what is there already is left alone.
set -euo pipefail

packages=(
    g++ cmake ninja-build
    libasio-dev libspdlog-dev libfmt-dev libcli11-dev libtomlplusplus-dev
    libgtest-dev libbenchmark-dev
)
case "${1:-}" in
    "") ;;
    --lint) packages+=(clang clang-format clang-tidy libclang-rt-14-dev) ;;
    --docs) packages=(doxygen) ;;
    *) echo "usage: $0 [--lint | --docs]" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "$0: run as root, or install sudo, to install: ${missing[*]}" >&2; exit 1; }
    as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
