#!/usr/bin/env bash
# Installs the built project into a scratch prefix and builds a small consumer against it, once
# with find_package(tarndll) and once with pkg-config, then runs both.
set -euo pipefail
build_dir=$1
here=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build_dir" --prefix "$scratch/prefix" >/dev/null
libdir=$(ls -d "$scratch"/prefix/lib*/ | head -n1)
for link in libtarndll.so libtarndll.so.2 libtarnvna.so libtarnvna.so.1; do
    [[ -L $libdir/$link ]] || { echo "missing SONAME link $link"; exit 1; }
done

cmake -S "$here" -B "$scratch/cmake-build" -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/cmake-build" >/dev/null
LD_LIBRARY_PATH=$libdir "$scratch/cmake-build/consumer"

export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
cc -std=c99 -o "$scratch/pkg-consumer" "$here/consumer.c" $(pkg-config --cflags --libs tarndll)
LD_LIBRARY_PATH=$libdir "$scratch/pkg-consumer"

# shellcheck disable=SC2046
cc -std=c99 -o "$scratch/vna-consumer" "$here/vna_consumer.c" $(pkg-config --cflags --libs tarnvna)
LD_LIBRARY_PATH=$libdir "$scratch/vna-consumer"
"$scratch/prefix/bin/tarnctl" --version
