#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests. The optional argument is a preset (dev, release, asan, tsan,
# clang); dev by default.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${1:-dev}
tools/install-packages.sh $([ "$preset" = clang ] && echo --lint)
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset" --no-tests=error -j "$(nproc)"
