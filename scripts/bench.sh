#!/usr/bin/env bash
# Builds the benchmarks (release preset) and runs them all; prints one markdown table of the
# figures, each against its baseline from the same run, with the goals. The programs' own output
# (Google Benchmark tables, per-command counts, raw numbers) goes to build/release/bench/bench.log.
#
# The capture-path benchmarks create veth pairs in a private network namespace: run as root, or
# where unprivileged user namespaces are allowed. Takes a few minutes; the default-mode latency run
# alone waits up to a second per frame.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=2
# Only the table goes to standard output.
cmake --preset release >&2
cmake --build --preset release -j "$jobs" --target bench_command_path bench_allocations bench_capture_path >&2

dir=build/release/bench
log=$dir/bench.log
: >"$log"
rows=$(mktemp)
trap 'rm -f "$rows"' EXIT

run() {
    echo "== $*" >&2
    echo "== $*" >>"$log"
    if ! "$@" >>"$rows" 2>>"$log"; then
        echo "   $1 failed; see $log" >&2
    fi
}

load=$(cut -d' ' -f1-3 /proc/loadavg)
start=$(date +%s)
run "$dir/bench_command_path"
run "$dir/bench_allocations"
run "$dir/bench_capture_path" "$@"
elapsed=$(($(date +%s) - start))

cpu=$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n1)
echo
pcap=$(pkg-config --modversion libpcap 2>/dev/null || echo '?')
echo "Machine: $(nproc) CPUs, ${cpu:-unknown CPU}; Linux $(uname -r); libpcap ${pcap};" \
     "load average before the run ${load}; benchmarks ran ${elapsed} s."
echo
echo "| Figure | Measured | Baseline (same run) | Ratio | Goal | Met |"
echo "|---|---|---|---|---|---|"
cat "$rows"
