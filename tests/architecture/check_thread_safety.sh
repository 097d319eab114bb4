#!/usr/bin/env bash
# Compiles the sources of one room for their lock annotations alone.
# usage: check_thread_safety.sh CLANGXX ROOT GENERATED_INCLUDES DIR...   (DIR below src/)
set -euo pipefail
shopt -s nullglob

clang=$1 root=$2 generated=$3
shift 3

sources=()
for dir in "$@"; do
    for source in "$root/src/$dir"/*.cpp; do
        # A source of one instruction set needs that set's flags, and takes no lock.
        [[ $source =~ _(ssse3|sse41|avx2|avx512)\.cpp$ ]] || sources+=("$source")
    done
done

compile=("$clang" -std=c++20 -fsyntax-only -Wthread-safety -Werror=thread-safety
    -DQDVM_DATA_DIR='""' -I "$root/include" -I "$generated" -I "$root/src")
if [[ ${#sources[@]} -gt 0 ]]; then
    printf '%s\0' "${sources[@]}" | xargs -0 -n 4 -P 2 "${compile[@]}"
fi
echo "${#sources[@]} sources checked"
