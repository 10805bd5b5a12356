#!/usr/bin/env bash
# Runs each fuzz target for some seconds (the first argument, 60 unless given) from its seed corpus.
set -euo pipefail
source "$(dirname "$0")/common.sh"

seconds=${1:-60}
build fuzz
for program in "$root"/build/fuzz/bin/alidade-fuzz-*; do
  name=${program##*/alidade-fuzz-}
  work=$root/build/fuzz/work/$name
  mkdir -p "$work"
  echo "fuzzing $name for $seconds s"
  if ! (cd "$work" && "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
      "$work" "$root/fuzz/corpus/$name") >"$work.log" 2>&1; then
    tail -n 40 "$work.log" >&2
    echo "fuzz: $name failed; the input is in $work" >&2
    exit 1
  fi
  grep -E 'number_of_executed_units|average_exec' "$work.log"
done
