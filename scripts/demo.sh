#!/usr/bin/env bash
# The main job, to look at: encodes an image to baseline JPEG at several qualities and decodes it again. Installs what is
# missing and builds first. Writes demo-out/: the files, comparison.png and index.html.
# Usage: scripts/demo.sh [IMAGE]   IMAGE: PNG, PPM, PGM or JPEG; without it, a scene that the demo renders
set -euo pipefail
image=${1:+$(realpath "$1")}
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release > /dev/null
cmake --build --preset release --target zelimg zelimg_demo > /dev/null
mkdir -p demo-out
build/bin/zelimg_demo demo-out ${image:+"$image"}
