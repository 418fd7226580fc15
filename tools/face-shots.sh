#!/usr/bin/env bash
# Starts the panel on a virtual display and saves what a user sees to
# screenshots/: face-upright.png, face-upright-lit.png (the mouse over the
# play button), face-turned.png, face-turned-lit.png. Each shot is cut from
# the whole screen, so the window's shape shows against the background.
# Usage: tools/face-shots.sh [program folder]   (default build/run/program)
set -euo pipefail
cd "$(dirname "$0")/.."
program_dir=${1:-build/run/program}
out=$PWD/screenshots
mkdir -p "$out"
state=$(mktemp -d)
trap 'rm -rf "$state"' EXIT

xvfb-run -a -s "-noreset -screen 0 1280x800x24" env TMPDIR="$state" XDG_RUNTIME_DIR="$state" SKERRY_SYSTEM_DIR="$state/sys" \
  bash -c '
  set -e
  program="$1"; out="$2"
  "$program" & pid=$!
  for i in $(seq 1 50); do
    id=$(xdotool search --name "^Tessel Skerry$" 2>/dev/null | head -1) && [ -n "$id" ] && break
    sleep 0.2
  done
  sleep 1.5
  shot() { # name
    eval "$(xdotool getwindowgeometry --shell "$id")"
    # The bare display has a black desktop; the black around the shape is
    # flooded with a desktop colour so that the outline stands out.
    import -window root "$TMPDIR/root.png"
    convert "$TMPDIR/root.png" -crop "$((WIDTH + 40))x$((HEIGHT + 40))+$((X - 20))+$((Y - 20))" \
      +repage -fill "#5d7797" -draw "color 0,0 floodfill" "$out/$1.png"
  }
  eval "$(xdotool getwindowgeometry --shell "$id")"
  xdotool mousemove $((X + 300)) $((Y + 300)); sleep 0.5
  shot face-upright
  xdotool mousemove $((X + 173)) $((Y + 496)); sleep 0.5
  shot face-upright-lit
  # Rotate is zone 17 (162..185, 58..74).
  xdotool mousemove $((X + 173)) $((Y + 66)); sleep 0.3; xdotool click 1; sleep 1.5
  eval "$(xdotool getwindowgeometry --shell "$id")"
  xdotool mousemove $((X + 300)) $((Y + 200)); sleep 0.5
  shot face-turned
  # The play button turned: upright (173, 496) lies at (592 - 496, 173).
  xdotool mousemove $((X + 96)) $((Y + 173)); sleep 0.5
  shot face-turned-lit
  # Turn back, so the next start is upright.
  xdotool mousemove $((X + 592 - 66)) $((Y + 173)); sleep 0.3; xdotool click 1; sleep 1
  kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true
' _ "$PWD/$program_dir/skerry" "$out"
ls -1 "$out"/face-*.png
