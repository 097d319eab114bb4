#pragma once

// Raw storage for objects that come and go with every frame.

#include <cstddef>
#include <new>

namespace qdvm {

// Slots of one size, handed out zeroed. It grows by a slot when none is free, and else allocates
// nothing. Not safe for use by several threads at a time.
class SlotPool {
public:
    // bytes: of one slot, suited for any object of that size.
    explicit SlotPool(std::size_t bytes);
    ~SlotPool() { Clear(); }
    SlotPool(const SlotPool&) = delete;
    SlotPool& operator=(const SlotPool&) = delete;

    // Starts anew with `count` free slots. False, and no slots, if memory is short. No slot may be
    // out.
    bool Make(std::size_t count);

    // Frees all slots; none may be out.
    void Clear();

    // Null if memory is short.
    void* Take();
    void Put(void* slot);

    std::size_t Total() const { return total; }
    std::size_t Free() const { return free; }

private:
    bool Grow();

    const std::size_t slotBytes;
    std::byte* block = nullptr;  // the first `inBlock` slots; later ones are allocated one by one
    std::size_t inBlock = 0;
    void** slots = nullptr;  // the free ones come first
    std::size_t capacity = 0;
    std::size_t total = 0;
    std::size_t free = 0;
};

}  // namespace qdvm
