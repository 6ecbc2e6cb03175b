#!/usr/bin/env bash
# The profiler's reference figures in one run: installs what is missing, builds
# in Release, measures each figure beside its reference on this machine, and
# prints them as a Markdown table.
#
#   scripts/run-benchmarks.sh [--steady-seconds N]
#
# --steady-seconds  length of each of the two steady-cost windows (default 60)
#
# The raw Google Benchmark output stays in build/release/bench-report/.
set -euo pipefail
cd "$(dirname "$0")/.."

steady_seconds=60
while [[ $# -gt 0 ]]; do
    case "$1" in
    --steady-seconds)
        steady_seconds="${2:?--steady-seconds wants a number of seconds}"
        shift 2
        ;;
    --steady-seconds=*)
        steady_seconds="${1#*=}"
        shift
        ;;
    -h | --help)
        sed -n '2,10p' "$0" | sed 's/^# \{0,1\}//'
        exit 0
        ;;
    *)
        echo "run-benchmarks: unknown argument $1 (try --help)" >&2
        exit 2
        ;;
    esac
done

# Installs one Debian package unless it is there; fails quietly.
apt_install() {
    if dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; then
        return 0
    fi
    local sudo=""
    if [[ $(id -u) -ne 0 ]]; then
        command -v sudo >/dev/null || return 1
        sudo="sudo"
    fi
    echo "run-benchmarks: installing $1"
    $sudo apt-get update -qq >/dev/null 2>&1 || true
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "$1" \
        >/dev/null 2>&1
}

scripts/install-deps.sh --test
apt_install jq || { echo "run-benchmarks: jq is needed to read the results" >&2; exit 1; }
charts_note=""
if ! apt_install qt6-charts-dev; then
    charts_note="Qt Charts (qt6-charts-dev) could not be installed: the plot repaint line is left out."
fi

echo "== build (Release, log in build/release/bench-report/build.log)"
bin=build/release/bin
out=build/release/bench-report
cmake --preset release >/dev/null
mkdir -p "$out"
rm -f "$out"/*.json
targets=(bench_report zelto-target-sim)
known_targets=$(cmake --build --preset release --target help)
if [[ "$known_targets" == *bench_report_charts* ]]; then
    targets+=(bench_report_charts)
elif [[ -z "$charts_note" ]]; then
    charts_note="Qt Charts was not found by CMake: the plot repaint line is left out."
fi
if ! cmake --build --preset release -j"$(nproc)" --target "${targets[@]}" >"$out/build.log" 2>&1; then
    tail -n 40 "$out/build.log" >&2
    echo "run-benchmarks: the build failed" >&2
    exit 1
fi
export QT_QPA_PLATFORM=offscreen QT_FONT_DPI=96

echo "== benchmarks (steady-cost windows of ${steady_seconds} s)"
# Qt's chatter on stderr goes to a log of its own, shown if a bench fails.
run_bench() {
    local log="$1"
    shift
    if ! "$@" 2>"$log"; then
        tail -n 20 "$log" >&2
        echo "run-benchmarks: $1 failed" >&2
        exit 1
    fi
}
run_bench "$out/report.log" "$bin/bench_report" --sim="$bin/zelto-target-sim" \
    --steady-seconds="$steady_seconds" \
    --benchmark_out="$out/report.json" --benchmark_out_format=json
if [[ -x "$bin/bench_report_charts" && -z "$charts_note" ]]; then
    run_bench "$out/charts.log" "$bin/bench_report_charts" \
        --benchmark_out="$out/charts.json" --benchmark_out_format=json
fi

# The value of one field of one benchmark, by its name without Google
# Benchmark's suffixes ("BM_SnapshotPipeline/1000"): the median of repeated
# runs, else the single run. Empty when it is missing or failed.
value() {
    local file="$out/$1" name="$2" field="$3"
    [[ -f "$file" ]] || return 0
    jq -r --arg name "$name" --arg field "$field" '
        [.benchmarks[]
         | select((.run_name | split("/")[0:2] | join("/")) == $name)
         | select(.run_type == "iteration" or .aggregate_name == "median")]
        | first
        | if . == null or .error_occurred == true then "" else (.[$field] // "") end
    ' "$file"
}

# The reason a benchmark gave for failing, if it failed.
failure() {
    local file="$out/$1" name="$2"
    [[ -f "$file" ]] || return 0
    jq -r --arg name "$name" '
        [.benchmarks[]
         | select((.run_name | split("/")[0:2] | join("/")) == $name)
         | select(.error_occurred == true)]
        | first | if . == null then "" else .error_message end
    ' "$file"
}

calc() { awk "BEGIN { printf \"$1\", $2 }"; }

rows=()
notes=()
row() { rows+=("| $1 | $2 | $3 | $4 | $5 | $6 |"); }
# Whether `value op limit` holds, as yes or no.
met() { awk -v v="$1" -v l="$3" "BEGIN { print ((v $2 l) ? \"yes\" : \"no\") }"; }
missing() {
    local why
    why=$(failure "$1" "$2")
    notes+=("$2: not measured${why:+: $why}")
}

# Link ingest, two floods from a sender thread that writes the pre-built
# stream with send(): the samples alone (frames of 28 to 72 bytes, where the
# cost of each frame sets the pace) and the profiler's subscription mix of a
# 200-unit network (nearly all bytes in snapshots, where copying does). The
# floor is a recv() loop that only finds frame ends. Rates are frames per
# second of the reading thread's own processor time, so that the other loads
# of the machine weigh less; wall-clock rates are in the raw output. The floor
# is only a floor when the sender outruns it: the sender alone, into a reader
# that drops the bytes unread, must take at least twice as many frames a second
# of wall time as the floor reads in a second of its processor time.
ingest_rows() {
    local label="$1" bare_name="$2" link_name="$3" whole_name="$4" link_goal="$5" whole_goal="$6"
    local bare link whole alone
    bare=$(value report.json "$bare_name" frames_per_cpu_second)
    alone=$(value report.json "$bare_name" sender_alone_frames_per_second)
    link=$(value report.json "$link_name" frames_per_cpu_second)
    whole=$(value report.json "$whole_name" frames_per_cpu_second)
    if [[ -z "$bare" || -z "$alone" ]]; then
        missing report.json "$bare_name"
        return
    fi
    row "Flood sender alone, $label (wall time)" "$(calc '%.0f frames/s' "$alone")" \
        "$(calc '%.0f frames/cpu-s' "$bare") (bare recv loop)" "$(calc '%.2fx' "$alone/$bare")" \
        ">= 2x" "$(met "$(calc '%.4f' "$alone/$bare")" '>=' 2)"
    ratio_row "Link ingest, link + 5 decoders, $label" "$link" "$bare" "$link_goal" "$link_name"
    ratio_row "Link ingest, whole window, $label" "$whole" "$bare" "$whole_goal" "$whole_name"
}
# One ingest row: a rate beside the bare loop's, as a share of it.
ratio_row() {
    local label=$1 rate=$2 bare=$3 goal=$4 name=$5
    if [[ -z "$rate" ]]; then
        missing report.json "$name"
        return
    fi
    row "$label" "$(calc '%.0f frames/cpu-s' "$rate")" \
        "$(calc '%.0f frames/cpu-s' "$bare") (bare recv loop)" \
        "$(calc '%.1f %%' "100*$rate/$bare")" "$(goal_text "$goal")" \
        "$(goal_met "$(calc '%.4f' "$rate/$bare")" "$goal")"
}
goal_text() { if [[ -n "$1" ]]; then calc '>= %g %%' "100*$1"; else echo none; fi; }
goal_met() { if [[ -n "$2" ]]; then met "$1" '>=' "$2"; else echo -; fi; }
ingest_rows "sample frames" BM_IngestBareRecv/200 BM_IngestLink/80 BM_IngestWholeProgram/40 0.25 0.15
ingest_rows "subscription mix" BM_IngestBareRecv/500 BM_IngestLink/500 BM_IngestWholeProgram/100 "" ""

# Snapshot pipeline, in CPU time per snapshot, so that other loads on the
# machine weigh less; the floor is measured the same way. Linear scaling is
# 10x the time for 10x the units; it counts as met up to 12x, that is when
# the time per unit grows by at most a fifth from 10k to 100k units.
for n in 1000 10000 100000; do
    pipe=$(value report.json "BM_SnapshotPipeline/$n" cpu_time)
    floor=$(value report.json "BM_SnapshotBareRead/$n" cpu_time)
    if [[ -n "$pipe" && -n "$floor" ]]; then
        row "Snapshot pipeline, $n units (decode, CPU, depths, layout)" "$(calc '%.0f us' "$pipe")" \
            "$(calc '%.1f us' "$floor") (bare read of every record)" \
            "$(calc '%.0fx' "$pipe/$floor")" "none" "-"
    else
        missing report.json "BM_SnapshotPipeline/$n"
    fi
done
p10=$(value report.json BM_SnapshotPipeline/10000 cpu_time)
p100=$(value report.json BM_SnapshotPipeline/100000 cpu_time)
f10=$(value report.json BM_SnapshotBareRead/10000 cpu_time)
f100=$(value report.json BM_SnapshotBareRead/100000 cpu_time)
if [[ -n "$p10" && -n "$p100" && -n "$f10" && -n "$f100" ]]; then
    scaling=$(calc '%.4f' "$p100/$p10")
    row "Snapshot pipeline scaling, 10k to 100k units" "$(calc '%.1fx time' "$scaling")" \
        "$(calc '%.1fx time' "$f100/$f10") (bare read)" \
        "$(calc '%.2f' "$scaling/($f100/$f10)")" "~10x (<= 12x)" "$(met "$scaling" '<=' 12)"
fi

# Plot repaint, in CPU time per repaint.
if [[ -n "$charts_note" ]]; then
    notes+=("$charts_note")
else
    plot=$(value charts.json BM_PlotLineGraph/600 cpu_time)
    charts=$(value charts.json BM_PlotQtCharts/600 cpu_time)
    if [[ -n "$plot" && -n "$charts" ]]; then
        ratio=$(calc '%.4f' "$plot/$charts")
        row "Plot repaint, 18 full series, 600x200" "$(calc '%.0f us' "$plot")" \
            "$(calc '%.0f us' "$charts") (Qt Charts, 18 QLineSeries)" \
            "$(calc '%.0f %%' "100*$ratio")" "<= 50 %" "$(met "$ratio" '<=' 0.50)"
    else
        missing charts.json BM_PlotLineGraph/600
    fi
fi

# Steady cost: the process's CPU time over the window, as a share of one core,
# for each network size, with or without the CPU tab's five series ticked.
# A counter of the steady-cost run named BM_SteadyCost/UNITS/TICKED.
steady_value() {
    jq -r --arg name "$1" --arg field "$2" '
        [.benchmarks[] | select((.run_name | split("/")[0:3] | join("/")) == $name)] | first
        | if . == null or .error_occurred == true then "" else (.[$field] // "") end' "$out/report.json"
}
steady_row() {
    local n="$1" ticked="$2" limit="$3" label="$4"
    local name="BM_SteadyCost/$n/$ticked"
    local share gap
    share=$(steady_value "$name" cpu_share)
    gap=$(steady_value "$name" longest_loop_gap_s)
    if [[ -z "$share" ]]; then
        missing report.json "$name"
        return
    fi
    row "Steady cost, $n living units$label, ${steady_seconds} s" \
        "$(calc '%.1f %% of a core' "100*$share")" "1 core" "$(calc '%.1f %%' "100*$share")" \
        "$(calc '<= %g %%' "100*$limit")" "$(met "$share" '<=' "$limit")"
    if [[ -n "$gap" ]]; then
        row "Longest event-loop gap, $n living units$label" "$(calc '%.0f ms' "1000*$gap")" \
            "-" "-" "<= 100 ms" "$(met "$gap" '<=' 0.1)"
    fi
}
steady_row 200 0 0.010 ""
steady_row 200 1 0.015 " (five CPU series ticked)"
steady_row 10000 0 0.05 ""
steady_row 100000 0 0.60 ""

echo
echo "## Reference figures, $(date '+%Y-%m-%d %H:%M')"
echo
echo "Machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//')," \
    "load average $(cut -d' ' -f1-3 /proc/loadavg) at the end."
echo
echo "| Figure | Measured | Reference | Ratio | Goal | Met? |"
echo "|---|---|---|---|---|---|"
printf '%s\n' "${rows[@]}"
if [[ ${#notes[@]} -gt 0 ]]; then
    echo
    printf -- '- %s\n' "${notes[@]}"
fi
