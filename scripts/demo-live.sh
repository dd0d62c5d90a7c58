#!/usr/bin/env bash
# Set up, build and run the live demo: vxseedlinkd plays generated channels
# as a SeedLink stream in real time and a trace view follows it, its right
# edge moving with the present.  With a display the window opens and stays
# until it is closed; without one a frame goes to demo-live.png after 30 s.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DVX_BUILD_TESTS=OFF
cmake --build build/release -j "$(nproc)" --target vxseedlinkd live_traces

port=${VX_DEMO_PORT:-18123}
# two and a half minutes of history first, so that the view starts full; then real time
build/release/tools/vxseedlinkd --bind 127.0.0.1 --port "$port" --synthetic \
  --stations 4 --channels 3 --samprate 40 --history 150 &
server=$!
trap 'kill "$server" 2>/dev/null || true' EXIT
sleep 1

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  build/release/examples/live_traces --seconds 140 "127.0.0.1:$port"
else
  build/release/examples/live_traces --seconds 140 --png demo-live.png --after 30 "127.0.0.1:$port"
  echo "demo-live: wrote $(pwd)/demo-live.png"
fi
