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
