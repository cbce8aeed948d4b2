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

# A new plug-in author's first project: two source files handed to
# vorn_add_plugin the way add_library takes them, without SOURCES.
mkdir -p "$work/outside"
cat > "$work/outside/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(outside C)
find_package(VORN CONFIG REQUIRED)
vorn_add_plugin(outside outside.c greeting.c
                OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/root/Resources/plugins)
END
cat > "$work/outside/greeting.c" <<'END'
const char* Greeting(void) { return "hello from outside\n"; }
END
cat > "$work/outside/outside.c" <<'END'
#include <VORN/VORNPlugin.h>
#include <VORN/VORNUtilities.h>
#include <string.h>
const char* Greeting(void);
VORN_PLUGIN_ENTRY int VPluginStart(char* name, char* signature, char* description)
{
    strcpy(name, "Outside");
    strcpy(signature, "me.outside");
    strcpy(description, "Built from two files without SOURCES.");
    return 1;
}
VORN_PLUGIN_ENTRY int VPluginEnable(void) { VORNDebugString(Greeting()); return 1; }
END
cmake -S "$work/outside" -B "$work/outside/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/outside/build" >/dev/null
"$work/prefix/bin/vorn-host" --root "$work/outside/build/root" --frames 1 > "$work/outside.txt"
grep -q "hello from outside" "$work/outside.txt"
grep -q "me.outside" "$work/outside.txt"
echo "sdk-smoke: the installed SDK builds and runs the examples and a plug-in without SOURCES"
