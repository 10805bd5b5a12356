#!/usr/bin/env bash
# Sets up, builds and runs the host; arguments go on to it. Without arguments it opens a window with four cameras
# over a simulated machine, with a printed circuit board as the work piece. On a machine without a display it writes
# what the window shows to out/screenshot.png.
#   run.sh --demo record   plays real pictures through a camera driver, a clip and a quarter turn, out to files
#   run.sh --demo stage    moves the simulated stage and writes a sheet of what a camera saw at each stop
set -euo pipefail
source "$(dirname "$0")/common.sh"

case "$#:${1:-}:${2:-}" in
  0::) demo=window ;;
  2:--demo:record | 2:--demo:stage) demo=$2 ;;
  *:--demo:*)
    echo "run: the demonstrations are: --demo record, --demo stage" >&2
    exit 2
    ;;
  *) demo= ;;
esac

"$root/scripts/setup.sh"
build release alidade-host alidade alidade-drivers alidade-layout
bin=$root/build/release/bin
host=$bin/alidade-host

# synthetic_pictures: paints some into out/synthetic, for machines that cannot have the real ones.
synthetic_pictures() {
  echo "run: the sample pictures cannot be had; painting synthetic ones instead" >&2
  rm -rf "$root/out/synthetic"
  mkdir -p "$root/out/synthetic"
  "$host" --grabber Dummy --set Dummy.FrameRate=30 --frames 15 \
    --save "$root/out/synthetic/%04d.png" --report "$root/out/synthetic/report.json"
}

demo_stage() {
  local pictures piece=(--set Scene.WorkPiece=Wafer)
  pictures=$(samples || true)
  if [ -n "$pictures" ]; then
    piece=(--set Scene.WorkPiece=Picture --set "Scene.Picture=$pictures/board.jpg" --set Scene.PictureMmPerPixel=0.1)
  fi
  mkdir -p "$root/out/stage"
  "$host" --machine simulated --grabber Scene --set Scene.Color=Color --set Scene.Width=640 --set Scene.Height=480 \
    --set Scene.MmPerPixel=0.02 "${piece[@]}" --unit Camera1 --headless --demo-stage "$root/out/stage/stops.png"
  echo "The sheet is out/stage/stops.png."
}

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

demo_record() {
  local pictures
  pictures=$(samples || true)
  if [ -z "$pictures" ]; then
    synthetic_pictures
    return
  fi
  cd "$root"
  play board "$pictures/board.jpg" 1 40,30,560,420
  play chessboards "$pictures/left??.jpg" 13 40,20,560,440
  play video "$pictures/vtest.avi" 50 96,48,576,480
  echo
  echo "The pictures and reports are in out/board, out/chessboards and out/video."
}

# json_text TEXT: as it stands between the quotes of a JSON text.
json_text() {
  local text=${1//\\/\\\\}
  printf '%s' "${text//\"/\\\"}"
}

# make_layout FILE: the layout of resources/layout/demo.json with this machine's pictures in it.
make_layout() {
  local pictures piece=Picture picture replay json
  pictures=$(samples || true)
  picture=$pictures/board.jpg
  replay="$pictures/left??.jpg"
  if [ -z "$pictures" ]; then
    synthetic_pictures
    piece=Wafer
    picture=
    replay="$root/out/synthetic/????.png"
  fi
  json=$(<"$root/resources/layout/demo.json")
  json=${json//@WORK_PIECE@/"$piece"}
  json=${json//@PICTURE@/"$(json_text "$picture")"}
  json=${json//@REPLAY@/"$(json_text "$replay")"}
  printf '%s\n' "$json" >"$root/out/demo.json"
  "$bin/alidade-layout" make "$root/out/demo.json" "$1"
}

demo_window() {
  local layout=$root/out/demo.layout
  mkdir -p "$root/out"
  make_layout "$layout"
  # Settings that the operator changes are in out/alidade.ini and hold when it is run again.
  local show=("$host" --machine simulated --layout "$layout" --profile "$root/out/alidade.ini" --size 1280x960)
  if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}${QT_QPA_PLATFORM:-}" ]; then
    exec "${show[@]}"
  fi
  # A slow move, so that there is more to see than a machine at rest.
  "${show[@]}" --headless --exec '"" Stage StageMovePos TargetX=3 TargetY=2 Speed=2' \
    --screenshot "$root/out/screenshot.png" >/dev/null
  echo "This machine has no display. What the window would show is in out/screenshot.png."
}

if [ -n "$demo" ]; then
  "demo_$demo"
else
  exec "$host" "$@"
fi
