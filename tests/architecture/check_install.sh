#!/usr/bin/env bash
# Installs a build into an empty folder and builds a client against it, by the CMake package and by
# pkg-config.
# usage: check_install.sh CMAKE CXX BUILD_DIR CLIENT_SOURCE_DIR
set -euo pipefail

cmake=$1 compiler=$2 build=$3 client=$4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
prefix=$folder/prefix

"$cmake" --install "$build" --prefix "$prefix" >"$folder/install.log"

"$cmake" -G Ninja -S "$client" -B "$folder/by-cmake" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix" >"$folder/configure.log"
"$cmake" --build "$folder/by-cmake"
"$folder/by-cmake/client"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name qdvideomixer.pc)")
export PKG_CONFIG_PATH
read -ra flags < <(pkg-config --cflags --libs qdvideomixer)
"$compiler" -std=c++20 "$client/main.cpp" "${flags[@]}" -o "$folder/by-pkg-config"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir qdvideomixer) "$folder/by-pkg-config"
