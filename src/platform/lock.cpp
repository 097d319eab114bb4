#include "platform/lock.h"

#ifdef QDVM_CHECK_LOCK_ORDER

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#endif

namespace qdvm {

const char* LockRankName(LockRank rank) {
    switch (rank) {
        case LockRank::Filter:
            return "Filter";
        case LockRank::InputPin:
            return "InputPin";
        case LockRank::OutputPin:
            return "OutputPin";
        case LockRank::Receive:
            return "Receive";
        case LockRank::Pins:
            return "Pins";
        case LockRank::Mix:
            return "Mix";
        case LockRank::Stream:
            return "Stream";
        case LockRank::Leaf:
            return "Leaf";
        case LockRank::Unranked:
            return "Unranked";
    }
    return "?";
}

#ifdef QDVM_CHECK_LOCK_ORDER

namespace {

struct HeldLock {
    const void* lock = nullptr;
    const void* owner = nullptr;
    LockRank rank = LockRank::Unranked;
    LockOrder::Mode mode = LockOrder::Mode::Exclusive;
    int depth = 0;
};

struct HeldLocks {
    std::array<HeldLock, 32> entries;
    std::size_t count = 0;

    HeldLock* Find(const void* lock) {
        for (std::size_t i = count; i > 0; --i) {
            if (entries[i - 1].lock == lock) {
                return &entries[i - 1];
            }
        }
        return nullptr;
    }
};

thread_local HeldLocks heldLocks;

[[noreturn]] void ReportAndAbort(const char* what, LockRank taken, LockRank held) {
    (void)std::fprintf(stderr, "lock order: %s: %s taken while %s is held\n", what,
                       LockRankName(taken), LockRankName(held));
    std::abort();
}

bool IsOutOfOrder(LockRank taken, LockRank held) {
    return taken < held || (taken == held && taken >= LockRank::Pins);
}

}  // namespace

void LockOrder::Acquired(LockRank rank, const void* lock, Mode mode, const void* owner) {
    if (rank == LockRank::Unranked) {
        return;
    }
    if (HeldLock* const again = heldLocks.Find(lock)) {
        if (again->mode == Mode::Shared && mode == Mode::Exclusive) {
            ReportAndAbort("exclusive inside shared", rank, again->rank);
        }
        ++again->depth;
        return;
    }
    for (std::size_t i = 0; i < heldLocks.count; ++i) {
        const HeldLock& held = heldLocks.entries[i];
        if (held.owner == owner && IsOutOfOrder(rank, held.rank)) {
            ReportAndAbort("out of order", rank, held.rank);
        }
    }
    if (heldLocks.count == heldLocks.entries.size()) {
        ReportAndAbort("too many locks", rank, heldLocks.entries.back().rank);
    }
    heldLocks.entries[heldLocks.count++] = {lock, owner, rank, mode, 1};
}

void LockOrder::Released(LockRank rank, const void* lock) {
    if (rank == LockRank::Unranked) {
        return;
    }
    HeldLock* const held = heldLocks.Find(lock);
    if (held == nullptr) {
        ReportAndAbort("released on a thread that doesn't hold it", rank, LockRank::Unranked);
    }
    if (--held->depth == 0) {
        // Locks may be given up in any order.
        *held = heldLocks.entries[--heldLocks.count];
    }
}

#endif

}  // namespace qdvm
