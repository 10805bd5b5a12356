#!/usr/bin/env bash
# Measures against the bare operations: prints one table and writes build/bench.json. Arguments go on, as in
# --filter "quarter turn". The machine should have nothing else to do.
set -euo pipefail
source "$(dirname "$0")/common.sh"

"$root/scripts/setup.sh"
build release alidade-bench
exec "$root/build/release/bin/alidade-bench" --json "$root/build/bench.json" "$@"
