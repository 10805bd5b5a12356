#!/usr/bin/env bash
# Sets up, builds and runs every test; ends with ctest's summary. Arguments go on to ctest.
set -euo pipefail
source "$(dirname "$0")/common.sh"

"$root/scripts/setup.sh"
pictures=$(samples || true)
[ -n "$pictures" ] || echo "test: the sample pictures cannot be had; tests that need them are skipped"
build release
run_tests release -j "$cores" "$@"
