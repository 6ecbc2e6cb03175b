# Sourced by the scripts that drive the simulated target.
#
#   start_sim LOGDIR PROGRAM [ARGUMENTS...]
#
# Starts the simulated target on a free port with its log in LOGDIR/target.log,
# stops it when the script exits, and waits up to ten seconds for its
# "listening on" line. Sets sim (its pid) and port; returns 1, with the log on
# stderr, when it did not listen in time.
start_sim() {
    local logdir=$1
    shift
    "$@" --port 0 >"$logdir/target.log" 2>&1 &
    sim=$!
    trap 'kill "$sim" 2>/dev/null; wait "$sim" 2>/dev/null || true' EXIT
    port=""
    for _ in $(seq 100); do
        port=$(sed -n 's/.*listening on [^ ]*:\([0-9]*\).*/\1/p' "$logdir/target.log" | head -n 1)
        [[ -n "$port" ]] && return 0
        sleep 0.1
    done
    cat "$logdir/target.log" >&2
    return 1
}
