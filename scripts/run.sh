#!/usr/bin/env bash
# The main job: installs what is missing, builds the release tree, and runs the small-office
# scenario in eswctl against the simulated host (eight capture interfaces in a private network
# namespace; the machine's own network is never touched).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target eswctl switch_soho_driver
exec build/release/tools/eswctl/eswctl -f examples/office.esw "$@"
