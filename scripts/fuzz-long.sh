#!/usr/bin/env bash
# The long fuzz run: every fuzzer for a fixed number of executions (10 million
# by default), from its committed seeds, two at a time. Prints each fuzzer's
# last status line; artifacts of a finding land in build/fuzz/long/.
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
    local name=$1 seeds=$2
    mkdir -p "$out/$name-corpus"
    QT_QPA_PLATFORM=offscreen "build/fuzz/bin/$name" -runs="$runs" -timeout=10 \
        -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="$out/$name-" \
        "$out/$name-corpus" "$seeds" >"$out/$name.log" 2>&1
    echo "$name: $(grep -E '^stat::number_of_executed_units' "$out/$name.log" | awk '{print $2}') executions," \
         "$(grep -cE '^==[0-9]+==ERROR|deadly signal' "$out/$name.log") findings"
}
run fuzz_framecutter fuzz/link/corpus &
run fuzz_dsptree fuzz/model/corpus &
wait
run fuzz_history fuzz/history/corpus &
run fuzz_dspnetgraph fuzz/dspview/corpus &
wait
