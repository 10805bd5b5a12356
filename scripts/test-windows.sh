#!/usr/bin/env bash
# Builds the folders that need no OpenCV, with their tests, for Windows and runs the tests under wine.
# Assumes the tools that setup.sh installs. Ends with the number of test cases passed and failed.
set -euo pipefail
source "$(dirname "$0")/common.sh"

out=$root/build/windows
headers=$out/headers
compiler=x86_64-w64-mingw32-g++-posix
wine=/usr/lib/wine/wine64
googletest=/usr/src/googletest
programs=(platform containers config utility)

need() { # need FILE PACKAGE
  if [ ! -e "$1" ]; then
    echo "test-windows: $1 is missing; install the package $2 (scripts/setup.sh does)" >&2
    missing=1
  fi
}
missing=0
need "/usr/bin/$compiler" g++-mingw-w64-x86-64-posix
need "$wine" wine64
need "$googletest/CMakeLists.txt" googletest
need /usr/include/fmt/format.h libfmt-dev
need /usr/include/spdlog/spdlog.h libspdlog-dev
need /usr/include/SimpleIni.h libsimpleini-dev
[ "$missing" -eq 0 ] || exit 1

# Only these headers of the building machine are for every platform.
mkdir -p "$headers"
ln -sfn /usr/include/fmt "$headers/fmt"
ln -sfn /usr/include/spdlog "$headers/spdlog"
ln -sfn /usr/include/SimpleIni.h "$headers/SimpleIni.h"

echo "building for Windows ..."
targets=("${programs[@]/#/alidade-test-}" alidade-test-module)
if ! { cmake -S "$root" -B "$out/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
         -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" -DALIDADE_BASE_ONLY=ON \
         -DALIDADE_HEADERS="$headers" -DALIDADE_GOOGLETEST="$googletest" &&
       cmake --build "$out/build" -j "$cores" --target "${targets[@]}"; } >"$out/build.log" 2>&1; then
  tail -n 60 "$out/build.log" >&2
  echo "test-windows: building failed; the whole log is $out/build.log" >&2
  exit 1
fi

# The compiler's run-time libraries lie beside what it links with.
library_folder() { dirname "$("$compiler" -print-file-name="$1")"; }
export WINEPATH="Z:$(library_folder libstdc++-6.dll);Z:$(library_folder libwinpthread-1.dll)"
export WINEPREFIX=$out/wine WINEARCH=win64 WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe=" # no offers of components that the tests do not use
unset DISPLAY WAYLAND_DISPLAY

passed=0
failed=0
for program in "${programs[@]}"; do
  log=$out/$program.log
  status=0
  (cd "$out/build/bin" && timeout 300 "$wine" "alidade-test-$program.exe" --gtest_color=no) >"$log" 2>&1 || status=$?
  good=$(grep -c '^\[       OK \]' "$log" || true)
  bad=$(grep -c '^\[  FAILED  \].*ms)' "$log" || true)
  # A program that ends without its summary crashed in a case, or never began.
  if [ "$status" -ne 0 ] && [ "$bad" -eq 0 ]; then
    bad=1
  fi
  if [ "$bad" -gt 0 ]; then
    grep -v '^\[ RUN\|^\[       OK' "$log" | tail -n 40
  fi
  echo "$program: $good passed, $bad failed (exit status $status)"
  passed=$((passed + good))
  failed=$((failed + bad))
done

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
