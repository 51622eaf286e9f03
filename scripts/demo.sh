#!/usr/bin/env bash
# Sets up, builds the release preset and runs the library's main job.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target qvsv >/dev/null
exec build/release/bin/qvsv demo
