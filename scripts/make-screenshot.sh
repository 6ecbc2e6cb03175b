#!/usr/bin/env bash
# Regenerates the README's pictures: the profiler window under Xvfb, connected
# to the simulated target, once with default settings and once with CPU
# colouring and volume meters on. Never edit the pictures by hand.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh --test
cmake -S . -B build/shot -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZELTO_BUILD_TESTS=OFF >/dev/null
cmake --build build/shot -j"$(nproc)" --target zelto-screenshot zelto-target-sim

port=19264
build/shot/bin/zelto-target-sim --port "$port" --seed 7 >/dev/null &
sim=$!
trap 'kill "$sim" 2>/dev/null; wait "$sim" 2>/dev/null || true' EXIT
sleep 1

shot() {
    xvfb-run -a -s "-screen 0 1280x900x24" build/shot/bin/zelto-screenshot \
        --port "$port" --size 1000x720 --wait 12000 "$@"
}
shot --out docs/profiler.png --rows 3
shot --out docs/profiler-cpu-volume.png --rows 2 --cpu-usage --volume --tab 3
echo "written: docs/profiler.png docs/profiler-cpu-volume.png"
