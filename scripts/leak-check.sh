#!/usr/bin/env bash
# Leak run: a scripted session of the profiler's main window under valgrind
# --leak-check=full, against the simulated target at twenty times the window's
# own rates: connect, take packets for a while (1,000 network snapshots at
# least), disconnect, connect again, take packets as long again, close the
# window. Prints valgrind's leak summary, then every definitely or indirectly
# lost block whose allocation passed through this project's own code, and
# fails when there is any. Blocks that only Qt, fontconfig, the C library and
# the like allocated and kept are theirs, not ours; they are counted apart.
#
#   scripts/leak-check.sh                   phases of 20 s
#   scripts/leak-check.sh --phase 40        longer phases
#   scripts/leak-check.sh --build-dir DIR   use (and update) another build tree
set -euo pipefail
cd "$(dirname "$0")/.."

phase=20
build=build/leak
while [[ $# -gt 0 ]]; do
    case "$1" in
        --phase) phase=$2; shift 2 ;;
        --build-dir) build=$2; shift 2 ;;
        *) echo "leak-check: unknown argument $1 (see the head of $0)" >&2; exit 2 ;;
    esac
done
command -v valgrind >/dev/null || { echo "leak-check: valgrind is not installed" >&2; exit 2; }

if [[ ! -f "$build/CMakeCache.txt" ]]; then
    cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DZELTO_BUILD_TESTS=OFF >/dev/null
fi
cmake --build "$build" -j"$(nproc)" --target zelto-soak zelto-target-sim >/dev/null

logs=$(mktemp -d /tmp/zelto-leak.XXXXXX)
. scripts/lib/sim-port.sh
start_sim "$logs" "$build/bin/zelto-target-sim" ||
    { echo "leak-check: the simulated target did not start" >&2; exit 2; }

echo "leak-check: phases of ${phase} s, target on port ${port}, logs in ${logs}"
session=0
QT_QPA_PLATFORM=offscreen valgrind --leak-check=full --show-leak-kinds=definite,indirect \
    --num-callers=40 --log-file="$logs/valgrind.log" \
    "$build/bin/zelto-soak" --port "$port" --script "$phase" --rate-scale 20 \
    >"$logs/session.log" 2>&1 || session=$?
kill "$sim" 2>/dev/null && wait "$sim" 2>/dev/null || true
trap - EXIT
tail -n 3 "$logs/session.log"
[[ $session -eq 0 ]] || { echo "leak-check: the scripted session failed ($session)" >&2; exit 2; }

snapshots=$(sed -n 's/.*client left:.*frames sent: dsp \([0-9]*\),.*/\1/p' "$logs/target.log" |
    awk '{ n += $1 } END { print n + 0 }')
echo "network snapshots sent over $(grep -c 'client left:' "$logs/target.log") connections: ${snapshots}"
echo "valgrind:"
sed -n '/LEAK SUMMARY/,/suppressed:/p' "$logs/valgrind.log" | sed 's/^==[0-9]*== /    /'

# Source files of the program itself: a lost block counts as ours when any
# frame of its allocation stack is in one of them (moc output included).
ours=$(find app link model dspview lineview resources tools/soak -name '*.cpp' -printf '%f\n' |
    sed 's/\.cpp$//' | paste -sd'|')
awk -v ours="[(_](${ours})\\.(cpp|h):[0-9]+\\)" '
    /are (definitely|indirectly) lost in loss record/ { record = $0 "\n"; inRecord = 1; next }
    inRecord && /^==[0-9]+== *$/ {
        inRecord = 0
        if (record ~ ours) {
            print record
            kind = record ~ /definitely lost/ ? "definitely" : "indirectly"
            line = record; sub(/^==[0-9]+== /, "", line)
            if (match(line, /\(([0-9,]+) direct/)) bytes = substr(line, RSTART + 1, RLENGTH - 8)
            else { match(line, /^[0-9,]+/); bytes = substr(line, RSTART, RLENGTH) }
            gsub(/,/, "", bytes)
            lost[kind] += bytes
        }
        next
    }
    inRecord { record = record $0 "\n" }
    END {
        printf "project code: definitely lost %d bytes, indirectly lost %d bytes\n",
            lost["definitely"], lost["indirectly"]
        exit (lost["definitely"] + lost["indirectly"] > 0)
    }
' "$logs/valgrind.log" | tee "$logs/ours.txt"
status=${PIPESTATUS[0]}
[[ $snapshots -ge 1000 ]] || { echo "leak-check: fewer than 1,000 snapshots; try a longer --phase" >&2; exit 2; }
exit "$status"
