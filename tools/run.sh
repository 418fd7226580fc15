#!/usr/bin/env bash
# Builds the program folder and starts the panel. On a machine without a
# display the panel runs on a virtual display for a while, a screenshot is
# saved, and its path is printed.
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install-deps.sh
[ -x tools/install-web.sh ] && bash tools/install-web.sh

cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSKERRY_BENCH=OFF -DSKERRY_WERROR=ON >/dev/null
cmake --build build/run -j "$(nproc)"
program=build/run/program/skerry

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  exec "$program"
fi

seconds=${SKERRY_RUN_SECONDS:-15}
mkdir -p screenshots
shot=$PWD/screenshots/run.png
echo "run: no display; starting the panel on a virtual display for ${seconds}s"
xvfb-run -a -s "-noreset -screen 0 1280x800x24" bash -c '
  "$1" & pid=$!
  sleep "$2"
  import -window root "$3" 2>/dev/null || xwd -root -silent | convert xwd:- "$3"
  kill "$pid" 2>/dev/null; wait "$pid" 2>/dev/null || true
' _ "$PWD/$program" "$seconds" "$shot"
echo "run: screenshot of the panel: $shot"
