#!/usr/bin/env bash
# Installs every Debian package the build, the program and the tests need.
# Idempotent: packages already present are left alone, and apt is only asked
# when something is missing. Needs root (or sudo) on a Debian 12 machine.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  clang clang-format libclang-rt-14-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  qt6-base-dev qt6-base-dev-tools libqt6opengl6-dev
  qt6-webengine-dev qt6-webengine-dev-tools
  libgl-dev libxkbcommon-dev
  libcurl4-openssl-dev curl
  ffmpeg yt-dlp
  xvfb xauth xdotool x11-utils imagemagick libx11-dev openbox
  fonts-dejavu-core fonts-wqy-microhei qt6-translations-l10n
  python3 openssl xclip
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

# Node and npm fetch the page-side game player; a machine that already has
# them (from any source) keeps its own, since Debian's npm conflicts with a
# node that bundles npm.
if ! command -v npm >/dev/null 2>&1; then
  missing+=(nodejs npm)
fi

if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  echo "install-deps: installing ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
