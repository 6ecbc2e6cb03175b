#!/usr/bin/env bash
# The long fuzz run: every fuzzer for a fixed number of executions (10 million
# by default), from its committed seeds and whatever corpus an earlier long
# run left in build/fuzz/long/, two at a time. Prints each fuzzer's
# executions, rate, time and findings; artifacts of a finding land there too.
#
#   scripts/fuzz-long.sh            10,000,000 executions per fuzzer
#   scripts/fuzz-long.sh 1000000    another count
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-10000000}
scripts/install-deps.sh --test
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j"$(nproc)"

out=build/fuzz/long
mkdir -p "$out"
run() {
    local name=$1 seeds=$2 start=$SECONDS status=0
    mkdir -p "$out/$name-corpus"
    QT_QPA_PLATFORM=offscreen "build/fuzz/bin/$name" -runs="$runs" -timeout=10 \
        -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="$out/$name-" \
        "$out/$name-corpus" "$seeds" >"$out/$name.log" 2>&1 || status=$?
    echo "$name: $(stat_of "$name" number_of_executed_units) executions," \
         "$(stat_of "$name" average_exec_per_sec) per second, $(((SECONDS - start) / 60)) min," \
         "$(grep -cE '^==[0-9]+== ?ERROR' "$out/$name.log") findings"
    return "$status"
}
stat_of() {
    grep -E "^stat::$2:" "$out/$1.log" | awk '{print $2}'
}
# Two lanes of about the same length: the layout and sample-store fuzzers
# are the slow ones, so each leads a lane.
lane() {
    local status=0
    run "$1" "$2" || status=1
    run "$3" "$4" || status=1
    return "$status"
}
lane fuzz_dspnetgraph fuzz/dspview/corpus fuzz_framecutter fuzz/link/corpus &
first=$!
lane fuzz_history fuzz/history/corpus fuzz_dsptree fuzz/model/corpus &
second=$!
status=0
wait "$first" || status=1
wait "$second" || status=1
exit "$status"
