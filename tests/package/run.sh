#!/usr/bin/env bash
# Installs a build into a fresh prefix and builds and runs a C and a C++ program against it, through find_package and
# through pkg-config. Usage: CC=... CXX=... run.sh BUILD_DIRECTORY, with the compilers of the build, since the static
# library wants their OpenMP runtime.
set -euo pipefail
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" > "$work/log" || { cat "$work/log"; exit 1; }

cmake -S "$here" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" > "$work/log" || { cat "$work/log"; exit 1; }
cmake --build "$work/cmake" > "$work/log" || { cat "$work/log"; exit 1; }
for program in c_zelj c_zelj_static cpp_zelj cpp_zelj_static; do
  echo "find_package, $program:"
  LD_LIBRARY_PATH="$work/prefix/lib" "$work/cmake/$program"
done

PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name zelj.pc)")
export PKG_CONFIG_PATH
libdir=$(pkg-config --variable=libdir zelj)
flags=$(pkg-config --cflags --libs zelj)
# shellcheck disable=SC2086
for compiler in "$CC -std=c99 consumer.c" "$CXX consumer.cpp"; do
  echo "pkg-config, $compiler:"
  (cd "$here" && $compiler -Wall -Wextra -pedantic -Werror $flags -o "$work/program")
  LD_LIBRARY_PATH="$libdir" "$work/program"
done

# What is installed loads from its level's folder, too, with libzelcore two folders above.
for library in "$libdir"/glibc-hwcaps/*/libzelj.so.7; do
  [ -e "$library" ] || continue
  if ldd "$library" | grep -F 'not found'; then exit 1; fi
done

# The program finds the libraries beside it.
if [ -e "$work/prefix/bin/zelimg" ]; then
  "$work/prefix/bin/zelimg" --version
  test -s "$work"/prefix/share/man/man1/zelimg.1
fi
