#!/usr/bin/env bash
# Builds the project with ASan+UBSan and in release and runs the whole test suite in both; builds
# with ThreadSanitizer and runs the receive-path race tests; builds the fuzz targets with clang and
# runs each for a bounded time from its seed corpus.
#
#   ESW_FUZZ_SECONDS=N   time per fuzz target (default 50)
#   ESW_STAGES="..."     stages to run, of: asan release tsan fuzz (default all)
#
# The release test suite includes the full soak run (tests/soak); ESW_SOAK=1 prints its figures
# once more at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

jobs=$(nproc)
stages=${ESW_STAGES:-"asan release tsan fuzz"}
fuzz_seconds=${ESW_FUZZ_SECONDS:-50}

has_stage() { [[ " ${stages} " == *" $1 "* ]]; }

for preset in asan release; do
  has_stage "$preset" || continue
  echo "== ${preset}: build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== ${preset}: test"
  ctest --preset "$preset" -j "$jobs"
done

if has_stage tsan; then
  echo "== tsan: build the race tests"
  cmake --preset tsan >/dev/null
  cmake --build --preset tsan -j "$jobs" --target test_rx_race
  echo "== tsan: race tests"
  # Any report fails the test: TSan exits non-zero at the end of a run that reported.
  TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" ctest --preset tsan -R Race
fi

if has_stage fuzz; then
  echo "== fuzz: build (clang)"
  cmake --preset fuzz >/dev/null
  cmake --build --preset fuzz -j "$jobs"
  for target in port_path_fuzzer dispatcher_fuzzer; do
    echo "== fuzz: ${target} for ${fuzz_seconds} s"
    # New inputs go to a working corpus under build/; the committed seeds stay as they are. A
    # failing input is written to build/fuzz/ (crash-*, leak-*, timeout-*).
    work="build/fuzz/corpus/${target}"
    log="build/fuzz/${target}.log"
    mkdir -p "$work"
    if ! (cd build/fuzz && "./fuzz/${target}" -max_total_time="${fuzz_seconds}" -close_fd_mask=1 \
      -print_final_stats=1 "corpus/${target}" "../../fuzz/corpus/${target}") >"$log" 2>&1; then
      tail -n 80 "$log"
      echo "== fuzz: ${target} failed; the input is in build/fuzz/"
      exit 1
    fi
    grep -E "stat::number_of_executed_units|stat::peak_rss_mb|cov: .* DONE|DONE " "$log" || true
  done
fi

if [ "${ESW_SOAK:-0}" = 1 ]; then
  echo "== soak (release)"
  cmake --preset release >/dev/null
  cmake --build --preset release -j "$jobs" --target esw_soak
  build/release/tests/soak/esw_soak
fi
