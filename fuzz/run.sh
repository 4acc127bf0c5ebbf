#!/usr/bin/env bash
# Builds the fuzz targets with clang and the sanitizers and runs each for some seconds (60 by default, or the first
# argument), starting from the corpus in the tree. What is found on the way stays below the build folder; a crash is
# printed, kept there too, and ends this with status 1.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
tools/install-packages.sh --lint
build=${FA_BUILD_DIR:-build/fuzz}
cmake --preset fuzz -B "$build"
cmake --build "$build" --target fuzz-all

status=0
summary=()
for program in "$build"/fuzz/fuzz-*; do
    [ -x "$program" ] && [ -f "$program" ] || continue
    target=$(basename "$program" | sed 's/^fuzz-//')
    grown=$build/fuzz/grown/$target
    log=$build/fuzz/$target.log
    mkdir -p "$grown" "$build/fuzz/crashes"
    dictionary=()
    case $target in sml | script) dictionary=(-dict=fuzz/sml.dict) ;; esac
    echo "$target: $seconds seconds"
    "$program" -max_total_time="$seconds" -max_len=4096 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$build/fuzz/crashes/$target-" "${dictionary[@]}" \
        "$grown" "fuzz/corpus/$target" >"$log" 2>&1 || { status=1; tail -n 60 "$log"; }
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    summary+=("$(printf '%-12s %12s executions, corpus of %s seeds grown by %s inputs' "$target" "${executions:-?}" \
        "$(find "fuzz/corpus/$target" -type f | wc -l)" "$(find "$grown" -type f | wc -l)")")
done
echo
printf '%s\n' "${summary[@]}"
exit "$status"
