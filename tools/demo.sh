#!/usr/bin/env bash
# The offline demo: builds the program folder (as tools/run.sh does), starts
# a web of demo sites on loopback (tests/testweb/testweb.py), makes a copy of
# the program folder in build/demo/ pointed at it (its own Define.ini, a
# system folder with hosts.ini and drives.ini, a phone card folder) and starts
# the panel from it. On a machine without a display the demo runs on a virtual
# display, walks the roads itself and saves screenshots/demo-*.png.
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install-deps.sh
[ -x tools/install-web.sh ] && bash tools/install-web.sh

cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSKERRY_BENCH=OFF -DSKERRY_WERROR=ON >/dev/null
cmake --build build/run -j "$(nproc)" --target skerry lumbrel program_data program_web
program=build/run/program

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  exec python3 tools/demo.py "$program" build/demo
fi
mkdir -p screenshots
echo "demo: no display; the demo walks the roads on a virtual display"
xvfb-run -a -s "-noreset -screen 0 1280x800x24" python3 tools/demo.py "$program" build/demo \
  --shots screenshots
