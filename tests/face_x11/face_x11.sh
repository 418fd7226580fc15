#!/usr/bin/env bash
# Runs the panel from the program folder ($1) under xvfb-run and checks, with
# the X tools, what a user would see: the window's size and shape upright and
# turned, and the lit twin of a button under the mouse, pixel for pixel
# against the skin beside the program; a face covered and uncovered is drawn
# again; and in Traditional Chinese a tip shows while another window has the
# focus, and a question box, both kept as pictures in the folder $2.
set -euo pipefail
program_dir=$1
shots=${2:-}
state=$(mktemp -d)
# A file in Game keeps the first start's top-list question off the face.
keep="$program_dir/Game/.face-x11"
trap 'rm -rf "$state" "$keep"' EXIT
cp "$program_dir/Define.ini" "$state/Define.ini.saved" 2>/dev/null || true
mkdir -p "$program_dir/Game" && : >"$keep"

xvfb-run -a -s "-noreset -screen 0 1280x800x24" env TMPDIR="$state" XDG_RUNTIME_DIR="$state" \
  SKERRY_SYSTEM_DIR="$state/sys" bash -c '
set -u
dir="$1"
shots="$2"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
"$dir/skerry" & pid=$!
id=""
for i in $(seq 1 75); do
  id=$(xdotool search --name "^Tessel Skerry$" 2>/dev/null | head -1) || true
  [ -n "$id" ] && break
  sleep 0.2
done
[ -n "$id" ] || { echo "FAIL: no window titled Tessel Skerry"; kill $pid; exit 1; }
sleep 1.5

geometry() { eval "$(xdotool getwindowgeometry --shell "$id")"; }
# Pixel (x, y) of the window as shown on the screen, as ImageMagick names it.
shown() {
  geometry
  import -window root "$TMPDIR/screen.png"
  convert "$TMPDIR/screen.png" -format "%[pixel:p{$((X + $1)),$((Y + $2))}]" info:
}
skin() { convert "$dir/@VEXANH.BMP" -format "%[pixel:p{$1,$2}]" info:; }
expect_size() {
  geometry
  [ "$WIDTH" = "$1" ] && [ "$HEIGHT" = "$2" ] || fail "$3: size ${WIDTH}x${HEIGHT}, want $1x$2"
}
expect_shaped() { # label: the window has a window shape smaller than itself
  extents=$(xwininfo -shape -id "$id" | sed -n "s/.*Window shape extents: *//p" | head -1)
  echo "$1 window shape: $extents"
  case "$extents" in
    *"$2"*) ;;
    *) fail "$1: window shape \"$extents\", want $2" ;;
  esac
}
same() { [ "$1" = "$2" ] || fail "$3: shown $1, skin $2"; }

# Upright: 350 x 593, shaped by the outline (x 1-346, y 0-590).
expect_size 350 593 upright
expect_shaped upright "345x590+1+0"
geometry
xdotool mousemove $((X + 300)) $((Y + 300)); sleep 0.6
same "$(shown 3 3)" "$(convert -size 1x1 xc:black -format "%[pixel:p{0,0}]" info:)" "upright corner outside the shape"
same "$(shown 10 300)" "$(skin 10 300)" "upright left edge at rest"
same "$(shown 160 480)" "$(skin 160 480)" "play button at rest"
# The mouse over the play button (zone 9) lights it from the lit face.
xdotool mousemove $((X + 173)) $((Y + 496)); sleep 0.6
same "$(shown 160 480)" "$(skin 511 480)" "play button lit"
same "$(shown 100 480)" "$(skin 100 480)" "the button beside stays at rest"

# Rotate (zone 17) turns the panel: 593 x 350 around the cursor.
xdotool mousemove $((X + 173)) $((Y + 66)); sleep 0.3; xdotool click 1; sleep 1.5
expect_size 593 350 turned
expect_shaped turned "590x345+2+1"
geometry
xdotool mousemove $((X + 300)) $((Y + 200)); sleep 0.6
# Turned (x, y) shows upright (y, 592 - x); the big icons stay upright.
same "$(shown 200 10)" "$(skin 10 392)" "turned frame"
same "$(shown 96 173)" "$(skin 174 495)" "upright icon, turned panel, at rest"
xdotool mousemove $((X + 96)) $((Y + 173)); sleep 0.6
same "$(shown 96 173)" "$(skin 525 495)" "upright icon, turned panel, lit"

# And back: Rotate lies at turned (592 - 66, 173).
xdotool mousemove $((X + 526)) $((Y + 173)); sleep 0.3; xdotool click 1; sleep 1.5
expect_size 350 593 "upright again"

# Another window over the face and gone again: the uncovered face is drawn.
geometry
xmessage -geometry 200x200+$((X + 20))+$((Y + 200)) covering & cover=$!
sleep 1; kill $cover; sleep 1
same "$(shown 10 300)" "$(skin 10 300)" "uncovered left edge"
same "$(shown 160 480)" "$(skin 160 480)" "uncovered play button"
kill $pid 2>/dev/null; wait $pid 2>/dev/null

# Traditional Chinese: a tip while another window has the focus, then the
# exit question (zone 13), both as pictures.
# Started again should the display refuse the connection of a start that
# follows the end of the last client.
for attempt in 1 2 3; do
  LANG=zh_TW.UTF-8 LC_ALL=zh_TW.UTF-8 "$dir/skerry" & pid=$!
  sleep 1
  kill -0 $pid 2>/dev/null && break
done
for i in $(seq 1 75); do
  id=$(xdotool search --name "^Tessel Skerry$" 2>/dev/null | head -1) || true
  [ -n "$id" ] && break
  sleep 0.2
done
sleep 1.5
geometry
xmessage -geometry 150x50+0+0 focus & other=$!
sleep 1
xdotool windowfocus --sync "$(xdotool search --pid $other | tail -1)" 2>/dev/null || true
xdotool mousemove $((X + 173)) $((Y + 496)); sleep 0.3
xdotool mousemove $((X + 174)) $((Y + 497)); sleep 2
visible=$(xdotool search --onlyvisible --pid $pid 2>/dev/null | wc -l)
[ "$visible" -ge 2 ] || fail "no tip while another window has the focus"
[ -n "$shots" ] && import -window root -crop 600x700+$((X - 40))+$((Y - 20)) "$shots/zh-tip.png"
kill $other
xdotool mousemove $((X + 173)) $((Y + 558)); sleep 0.3; xdotool click 1; sleep 2
box=$(xdotool search --onlyvisible --name "^Tessel Skerry$" 2>/dev/null | grep -vx "$id" | head -1) || true
[ -n "$box" ] || fail "no exit question"
[ -n "$shots" ] && [ -n "$box" ] && import -window "$box" "$shots/zh-box.png"
kill $pid 2>/dev/null; wait $pid 2>/dev/null
echo "face_x11: $failures failure(s)"
[ $failures -eq 0 ]
' _ "$program_dir" "$shots"
status=$?
[ -f "$state/Define.ini.saved" ] && cp "$state/Define.ini.saved" "$program_dir/Define.ini"
exit $status
