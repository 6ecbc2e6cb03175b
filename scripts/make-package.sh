#!/usr/bin/env bash
# Builds the Debian package from an optimised build (the `package` preset) and
# prints its path: build/package/deb/zelto-profiler_VERSION_ARCH.deb.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset package >/dev/null
cmake --build --preset package -j"$(nproc)"
rm -rf build/package/deb
cpack --config build/package/CPackConfig.cmake -B build/package/deb >/dev/null
ls build/package/deb/zelto-profiler_*.deb
