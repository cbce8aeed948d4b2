#!/bin/sh
# Installs the SDK from a finished build into a scratch prefix, builds the
# examples out of tree against it with find_package(VORN), and runs the
# installed vorn-host on the result.
set -eu
build=${1:-build/dev}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S examples -B "$work/examples" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/examples" >/dev/null
if command -v pkg-config >/dev/null 2>&1; then
  flags=$(PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig" pkg-config --cflags --libs vorn)
  cc -shared -fPIC -o "$work/hello-pc.vpl" examples/hello.c $flags
fi
"$work/prefix/bin/vorn-host" --root "$work/examples/root" --frames 10 --quiet | tee "$work/out.txt"
grep -q "vorn.examples.hello" "$work/out.txt"
echo "sdk-smoke: the installed SDK builds and runs the examples"
