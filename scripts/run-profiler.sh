#!/usr/bin/env bash
# Builds the profiler and the simulated target, starts the simulated target on
# 127.0.0.1:9264 in the background and opens the profiler window; the target
# is stopped when the window closes. Click "Connect" to see it live.
# Arguments go to the simulated target (try --help, --nodes 2000, --dsp-version 3).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build/run -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZELTO_BUILD_TESTS=OFF >/dev/null
cmake --build build/run -j"$(nproc)" --target zelto-profiler zelto-target-sim

build/run/bin/zelto-target-sim "$@" &
sim=$!
trap 'kill "$sim" 2>/dev/null; wait "$sim" 2>/dev/null || true' EXIT
build/run/bin/zelto-profiler
