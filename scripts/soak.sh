#!/usr/bin/env bash
# Soak run: the profiler's main window, offscreen, against the simulated target
# with a living network of 2,000 units, at twenty times the window's own
# rates, the target dropping the link every minute. The resident memory is
# printed every 10 s; the run passes when it grew by at most 10 % between the
# first minute and the end.
#
#   scripts/soak.sh                   10 minutes
#   scripts/soak.sh --minutes 3       shorter (or --seconds N)
#   scripts/soak.sh --build-dir DIR   use (and update) another build tree
#   scripts/soak.sh --nodes N         another network size
#
# Frames of kinds that nobody takes stay queued by design, so the target's
# noise option is left out here.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=600
build=build/soak
nodes=2000
reconnect=60
while [[ $# -gt 0 ]]; do
    case "$1" in
        --minutes) seconds=$(( $2 * 60 )); shift 2 ;;
        --seconds) seconds=$2; shift 2 ;;
        --build-dir) build=$2; shift 2 ;;
        --nodes) nodes=$2; shift 2 ;;
        *) echo "soak: unknown argument $1 (see the head of $0)" >&2; exit 2 ;;
    esac
done

if [[ ! -f "$build/CMakeCache.txt" ]]; then
    cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZELTO_BUILD_TESTS=OFF >/dev/null
fi
cmake --build "$build" -j"$(nproc)" --target zelto-soak zelto-target-sim >/dev/null

logs=$(mktemp -d /tmp/zelto-soak.XXXXXX)
. scripts/lib/sim-port.sh
start_sim "$logs" "$build/bin/zelto-target-sim" --nodes "$nodes" --close-after "$reconnect" ||
    { echo "soak: the simulated target did not start" >&2; exit 2; }

echo "soak: ${seconds} s, ${nodes} units, target on port ${port}, logs in ${logs}"
status=0
QT_QPA_PLATFORM=offscreen "$build/bin/zelto-soak" --port "$port" --seconds "$seconds" \
    --report-every 10 --rate-scale 20 2>"$logs/soak.stderr" | tee "$logs/soak.log" ||
    status=$?
kill "$sim" 2>/dev/null && wait "$sim" 2>/dev/null || true
trap - EXIT
echo "target, per connection:"
grep -E 'client left|skipping' "$logs/target.log" | sed 's/^/    /'
exit "$status"
