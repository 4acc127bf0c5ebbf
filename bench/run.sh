#!/usr/bin/env bash
# The benchmark: installs what is missing, builds, starts the equipment and an echo server as the yardstick, and prints a
# table of medians, ratios and targets. Every process runs on CPU 0, so that a round trip counts its work and not the
# luck of the scheduler. A missed target is shown, not an error.
#
#   bench/run.sh                  round trips and codec
#   bench/run.sh --reports        event reports, and large tables beside small ones
#   bench/run.sh --steps          from S6F12 in to the next S6F11 out, beside an equipment with ready messages
#   bench/run.sh --memory         memory of the equipment over 200,000 S1F3
#   bench/run.sh ... --json FILE  the figures as JSON too
set -euo pipefail

mode=run
json=()
while [ $# -gt 0 ]; do
    case $1 in
        --memory) mode=memory ;;
        --reports) mode=reports ;;
        --steps) mode=steps ;;
        --json) json=(--json "$(realpath -m "${2:?--json needs a file}")"); shift ;;
        *) echo "usage: $0 [--memory | --reports | --steps] [--json FILE]" >&2; exit 2 ;;
    esac
    shift
done
cd "$(dirname "$0")/.."

tools/install-packages.sh
build=${FA_BUILD_DIR:-build/release}
cmake --preset release -B "$build"
cmake --build "$build" --target fa-equipment fa-bench fa-module-bench

# The equipment works on a copy, on a port of its own choice. S1F1 does not know Online_Init 9, so it is answered
# without an event report after it. Empty texts get what a working tool would show.
run=$(mktemp -d)
started=()
trap 'for pid in "${started[@]}"; do kill "$pid" 2>/dev/null || true; done; wait; rm -rf "$run"' EXIT
cp -r demo/machine/. "$run"
sed -i 's/^COMM_PORT .*/COMM_PORT     0/' "$run/Z/FA/FA_SAVE.inf"
sed -i 's/^Online_Init = .*/Online_Init = 9/' "$run/machine.toml"
sed -i '/^\[\[string\]\]/,/^$/ s/^value = ""/value = "LOT-2301.07"/' "$run/machine.toml"

# start NAME COMMAND...: runs it in the background on CPU 0 and sets `port` to the one it announces. Its standard input is
# NAME.in, where that is there.
start() {
    local name=$1 input=/dev/null
    shift
    [ -e "$run/$name.in" ] && input=$run/$name.in
    taskset -c 0 "$@" <"$input" >"$run/$name.out" &
    started+=($!)
    for _ in $(seq 100); do
        port=$(sed -n 's/^= ready //p' "$run/$name.out")
        [ -n "$port" ] && return
        kill -0 "${started[-1]}" || break
        sleep 0.1
    done
    echo "$name did not start:" >&2
    cat "$run/$name.out" >&2
    exit 1
}

if [ "$mode" = reports ]; then
    start echo "$build/bench/fa-bench" echo-server
    mkdir "$run/bench"
    echo
    taskset -c 0 "$build/bench/fa-module-bench" --echo "$port" --folder "$run/bench" "${json[@]}"
    exit
fi
if [ "$mode" = steps ]; then
    start canned "$build/bench/fa-bench" canned-server
    arguments=(--canned "$port" --commands "$run/steps.in" --answers "$run/steps.out")
    "$build/bench/fa-bench" step-machine "$run/steps"
    mkfifo "$run/steps.in"
    exec 3<>"$run/steps.in"  # or opening its ends would wait for each other
    start steps "$build/apps/equipment/fa-equipment" --data "$run/steps"
    echo
    taskset -c 0 "$build/bench/fa-bench" steps --equipment "$port" "${arguments[@]}" "${json[@]}"
    exit
fi
start equipment "$build/apps/equipment/fa-equipment" --data "$run"
arguments=(--equipment "$port" --svids "$run/Z/FA/SVID.cfg")
if [ "$mode" = memory ]; then
    arguments+=(--pid "${started[0]}")
else
    start echo "$build/bench/fa-bench" echo-server
    arguments+=(--echo "$port")
fi
echo
taskset -c 0 "$build/bench/fa-bench" "$mode" "${arguments[@]}" "${json[@]}"
