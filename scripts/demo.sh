#!/usr/bin/env bash
# Set up, build and run the demo.  With a display the window opens and stays
# until it is closed; without one the picture goes to demo.png.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DVX_BUILD_TESTS=OFF
cmake --build build/release -j "$(nproc)" --target vxsh vxgen
# the map beside the plot draws the coastlines converted at build time
cmake --build build/release -j "$(nproc)" --target vx_coasts
# the sample database the trace view shows
if [ ! -e build/demo/db.wfdisc ]; then
  rm -rf build/demo && mkdir -p build/demo
  build/release/tools/vxgen --seed 7 build/demo/db
fi

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  exec build/release/tools/vxsh examples/demo.vxs
fi
build/release/tools/vxsh --snapshot demo.png examples/demo.vxs
echo "demo: wrote $(pwd)/demo.png"
