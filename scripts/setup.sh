#!/usr/bin/env bash
# Install what a fresh Debian 12 machine needs to build, test and run
# libvxplot.  Quick when everything is present already.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config
  qt6-base-dev libgl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libmseed-dev
  zlib1g-dev
  fonts-dejavu-core tzdata
  clang-14 libclang-rt-14-dev
)

# Natural Earth coastlines for the map data (coasts.vector.xmd, written by
# the build): the npm package world-atlas, kept in a cache folder.  npm comes
# with Debian's nodejs and npm, unless a node installation brings its own.
command -v npm >/dev/null 2>&1 || packages+=(nodejs npm)
fetch_world_atlas() {
  local cache="${VX_NPM_CACHE:-$HOME/.cache/vxplot/npm}"
  [ -f "$cache/node_modules/world-atlas/countries-50m.json" ] && return 0
  mkdir -p "$cache"
  npm install --prefix "$cache" --no-save --no-audit --no-fund world-atlas@2 >/dev/null \
    || echo "setup: npm install world-atlas failed: maps will have no coastlines" >&2
}

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  fetch_world_atlas
  exit 0
fi
echo "setup: installing ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fetch_world_atlas
