#!/usr/bin/env bash
# Makes the HTML reference from the comments of the public header: build/docs/html/index.html.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
mkdir -p build/docs
doxygen docs/Doxyfile
echo "build/docs/html/index.html"
