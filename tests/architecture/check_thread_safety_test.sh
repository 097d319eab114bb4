#!/usr/bin/env bash
# The lock check refuses a source that touches a guarded member without its lock.
# usage: check_thread_safety_test.sh CLANGXX ROOT GENERATED_INCLUDES
set -euo pipefail

clang=$1 root=$2 generated=$3
check=$(dirname "$0")/check_thread_safety.sh
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/src/room" "$folder/include"
ln -s "$root/src/platform" "$folder/src/platform"
ln -s "$root/include/qdvideomixer" "$folder/include/qdvideomixer"

write_source() {
    cat >"$folder/src/room/counter.cpp" <<TEXT
#include "platform/lock.h"
class Counter {
  public:
    void Add() {
        $1
        ++count;
    }

  private:
    qdvm::CriticalSection lock{qdvm::LockRank::Leaf};
    int count QDVM_GUARDED_BY(lock) = 0;
};
TEXT
}

write_source "qdvm::ScopedLock guard(lock);"
"$check" "$clang" "$folder" "$generated" room

write_source ""
if "$check" "$clang" "$folder" "$generated" room 2>"$folder/messages"; then
    echo "an unguarded access was accepted"
    exit 1
fi
grep -q 'requires holding' "$folder/messages"
