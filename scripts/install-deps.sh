#!/usr/bin/env bash
# Installs, with apt-get, whatever of the build and test dependencies is
# missing on a Debian 12 machine. Safe to run again: it installs nothing
# when everything is there.
#
#   scripts/install-deps.sh          what building and running needs
#   scripts/install-deps.sh --test   plus what the test suite needs
set -euo pipefail

packages=(
    build-essential cmake pkg-config
    qt6-base-dev qt6-base-dev-tools libgl-dev libegl-dev libvulkan-dev libzstd-dev
    fonts-dejavu-core
)
if [[ "${1:-}" == "--test" ]]; then
    packages+=(clang libclang-rt-14-dev libbenchmark-dev xvfb xauth desktop-file-utils appstream
               qt6-charts-dev libqt6opengl6-dev)
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done
if [[ ${#missing[@]} -eq 0 ]]; then
    exit 0
fi

sudo=""
if [[ $(id -u) -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
        echo "install-deps: missing ${missing[*]}; run as root or install sudo" >&2
        exit 1
    fi
    sudo="sudo"
fi
echo "install-deps: installing ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
