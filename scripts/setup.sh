#!/usr/bin/env bash
# Installs what building, testing, measuring and documenting zelj needs, on Debian 12 or a relative of it. Does nothing
# where everything is there.
set -euo pipefail

packages=(
  g++ cmake ninja-build pkg-config libhwy-dev                # the library
  libpng-dev                                                 # zelimg
  libgtest-dev libjpeg-turbo-progs libtiff-tools python3-pil # the tests, and the programs that they work with
  libopenjp2-tools libjxr-tools
  libbenchmark-dev libjpeg62-turbo-dev libtiff-dev valgrind  # the benchmarks and their peers
  libsquish-dev libstb-dev libopenjp2-7-dev libjxr-dev
  clang libclang-rt-14-dev libomp-dev                        # the second compiler, fuzzers, thread sanitizer
  doxygen python3 time                                       # the reference and the benchmark report
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if ! command -v apt-get > /dev/null; then
  echo "setup: this system has no apt-get; install what is named here by its own means: ${missing[*]}" >&2
  exit 1
fi
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "setup: installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
