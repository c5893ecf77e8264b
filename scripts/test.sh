#!/usr/bin/env bash
# Builds the project with ASan+UBSan and in release, and runs the whole test suite in both.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

jobs=$(nproc)
for preset in asan release; do
  echo "== ${preset}: build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== ${preset}: test"
  ctest --preset "$preset" -j "$jobs"
done
