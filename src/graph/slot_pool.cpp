#include "graph/slot_pool.h"

#include "platform/pages.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <utility>

namespace qdvm {
namespace {

constexpr std::size_t kSlotAlign = alignof(std::max_align_t);

}  // namespace

SlotPool::SlotPool(std::size_t bytes)
    : slotBytes((bytes + kSlotAlign - 1) / kSlotAlign * kSlotAlign) {}

bool SlotPool::Make(std::size_t count) {
    Clear();
    if (count == 0) return true;
    inBlock = count;
    // Pages cost nothing until they are used, so that an absurd count fails here, before anything
    // is written.
    block = static_cast<std::byte*>(AllocatePages(count * slotBytes));
    if (block) slots = static_cast<void**>(std::calloc(count, sizeof(void*)));
    if (!slots) {
        Clear();
        return false;
    }
    capacity = total = free = count;
    for (std::size_t i = 0; i < count; ++i) slots[i] = block + i * slotBytes;
    return true;
}

void SlotPool::Clear() {
    const std::byte* const end = block + inBlock * slotBytes;
    for (std::size_t i = 0; i < free; ++i) {
        const auto* slot = static_cast<const std::byte*>(slots[i]);
        const bool isInBlock =
            inBlock > 0 && !std::less<>()(slot, block) && std::less<>()(slot, end);
        if (!isInBlock) std::free(slots[i]);
    }
    std::free(std::exchange(slots, nullptr));
    FreePages(std::exchange(block, nullptr), inBlock * slotBytes);
    inBlock = capacity = total = free = 0;
}

void* SlotPool::Take() {
    if (free == 0 && !Grow()) return nullptr;
    void* const slot = slots[--free];
    std::memset(slot, 0, slotBytes);
    return slot;
}

void SlotPool::Put(void* slot) { slots[free++] = slot; }

// Called with no slot free, so that the array holds nothing worth keeping.
bool SlotPool::Grow() {
    if (total == capacity) {
        const std::size_t wanted = capacity == 0 ? 1 : capacity * 2;
        void** const larger = static_cast<void**>(std::calloc(wanted, sizeof(void*)));
        if (!larger) return false;
        std::free(std::exchange(slots, larger));
        capacity = wanted;
    }
    void* const slot = std::malloc(slotBytes);
    if (!slot) return false;
    slots[0] = slot;
    free = 1;
    ++total;
    return true;
}

}  // namespace qdvm
