#!/usr/bin/env bash
# Sets up, builds and runs the host; arguments go on to it. Without arguments it plays real pictures: a printed
# circuit board, chessboards and a video go through a camera driver, a clip and a quarter turn, and out to files.
set -euo pipefail
source "$(dirname "$0")/common.sh"

"$root/scripts/setup.sh"
build release alidade-host alidade alidade-drivers
host=$root/build/release/bin/alidade-host

if [ $# -gt 0 ]; then
  exec "$host" "$@"
fi

pictures=$(samples)
if [ -z "$pictures" ]; then
  echo "run: the sample pictures cannot be had; painting synthetic ones instead" >&2
  rm -rf "$root/out/synthetic"
  mkdir -p "$root/out/synthetic"
  exec "$host" --grabber Dummy --set Dummy.FrameRate=30 --frames 15 \
    --save "$root/out/synthetic/%04d.png" --report "$root/out/synthetic/report.json"
fi

# play NAME SOURCE FRAMES CLIP: pictures and report of one source to out/NAME.
play() {
  local out=$root/out/$1
  rm -rf "$out"
  mkdir -p "$out"
  echo
  echo "== $1: $2"
  "$host" --grabber Replay --set "Replay.Source=$2" --set Replay.FrameRate=25 --set Replay.Loop=false \
    --set Image.Rotate=1 --clip "$4" --frames "$3" --save "$out/%04d.png" --report "$out/report.json"
}

cd "$root"
play board "$pictures/board.jpg" 1 40,30,560,420
play chessboards "$pictures/left??.jpg" 13 40,20,560,440
play video "$pictures/vtest.avi" 50 96,48,576,480
echo
echo "The pictures and reports are in out/board, out/chessboards and out/video."
