#!/usr/bin/env bash
# Installs what is missing, builds and runs all tests on every instruction-set level that the machine has.
# Usage: scripts/test.sh [PRESET]   release (default), debug, asan, tsan, clang
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}

scripts/setup.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset" --parallel "$(nproc)"
