#!/usr/bin/env bash
# Builds everything and runs every test: the unit and integration tests under
# ctest, then a short run of each fuzz target. Installs what it needs first.
# Usage: tools/test.sh            (build dir: build/test)
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install-deps.sh
[ -x tools/install-web.sh ] && bash tools/install-web.sh

jobs=$(nproc)
cmake -S . -B build/test -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSKERRY_WERROR=ON >/dev/null
cmake --build build/test -j "$jobs"
ctest --test-dir build/test -j "$jobs" --output-on-failure

if [ -d fuzz ] && ls fuzz/*.cpp >/dev/null 2>&1; then
  bash tools/fuzz.sh 20
fi
