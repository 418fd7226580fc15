#!/usr/bin/env bash
# Installs the Flash emulator that the browser program's game server hands to
# its pages: the npm package @ruffle-rs/ruffle (self-hosted build), into
# build/web/ below the repository, outside git. Idempotent: a folder that
# already holds the package is left alone. Set SKERRY_WEB_DIR to install
# elsewhere; the browser's build copies the package beside the program.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${SKERRY_WEB_DIR:-$PWD/build/web}
pkg=$dir/node_modules/@ruffle-rs/ruffle

if [ -f "$pkg/ruffle.js" ]; then
  exit 0
fi
if ! command -v npm >/dev/null 2>&1; then
  echo "install-web: npm is missing; games will show a note instead of playing" >&2
  exit 0
fi
mkdir -p "$dir"
[ -f "$dir/package.json" ] || echo '{ "name": "skerry-web", "private": true }' >"$dir/package.json"
echo "install-web: installing @ruffle-rs/ruffle into $dir"
npm install --prefix "$dir" --no-audit --no-fund --loglevel=error @ruffle-rs/ruffle@0.6.0
[ -f "$pkg/ruffle.js" ] || { echo "install-web: the package has no ruffle.js" >&2; exit 1; }
