# Shared by the scripts beside it: sourced, not run.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cores=$(nproc 2>/dev/null || echo 2)

# build PRESET [TARGET ...]: configures and builds; prints the log only when it fails.
build() {
  local preset=$1
  shift
  local log=$root/build/$preset-build.log
  mkdir -p "$root/build"
  echo "building $preset ..."
  if ! { cd "$root" && cmake --preset "$preset" && cmake --build --preset "$preset" -j "$cores" ${1:+--target "$@"}; } \
      >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    echo "building $preset failed; the whole log is $log" >&2
    return 1
  fi
}

# run_tests PRESET [ctest argument ...]: runs the tests. Up to three that fail get a second go, alone, since the
# end-to-end tests meet real clocks on machines that do other things too; they are named. What a sanitizer found
# gets none.
run_tests() {
  local preset=$1 failed=$root/build/$1/Testing/Temporary/LastTestsFailed.log
  local log=$root/build/$1-tests.log
  rm -f "$failed"
  if (cd "$root" && ctest --preset "$@" --output-on-failure) 2>&1 | tee "$log"; then
    return 0
  fi
  if [ ! -s "$failed" ] || [ "$(wc -l <"$failed")" -gt 3 ] ||
    grep -qE 'Sanitizer|: runtime error: ' "$log"; then
    return 1
  fi
  local names
  names=$(cut -d: -f2- "$failed")
  echo "a second go for:"
  echo "$names"
  (cd "$root" && ctest --preset "$preset" --rerun-failed --output-on-failure) || return 1
  echo "UNSTEADY, passed at the second go only:"
  echo "$names"
}

# samples: sees that the real pictures of the distribution's opencv-doc lie in build/samples and prints the
# folder; prints nothing when they cannot be had. The package is unpacked, not installed.
samples() {
  local folder=$root/build/samples
  if [ ! -f "$folder/.complete" ]; then
    mkdir -p "$folder/package"
    (
      cd "$folder/package"
      apt-get download opencv-doc >/dev/null 2>&1 ||
        { apt-get update -qq >/dev/null 2>&1 && apt-get download opencv-doc >/dev/null 2>&1; }
      dpkg-deb -x opencv-doc_*.deb . && rm -f opencv-doc_*.deb
    ) >/dev/null 2>&1 || true
    find "$folder/package" -path '*/examples/data/*' -type f \
      \( -name '*.jpg' -o -name '*.png' -o -name '*.avi' -o -name '*.gz' \) -exec cp {} "$folder" \; 2>/dev/null
    gunzip -f "$folder"/*.gz 2>/dev/null || true
    rm -rf "$folder/package"
    [ -n "$(find "$folder" -name '*.jpg' -print -quit)" ] && touch "$folder/.complete"
  fi
  [ -f "$folder/.complete" ] && echo "$folder"
}
