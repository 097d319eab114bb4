#pragma once

// How the output pin and the pin downstream agree on an allocator.

#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>

#include <cstdint>

namespace qdvm {

// Whose allocator a connection uses.
enum class AllocatorMode : std::int32_t { kNone = 0, kOwn = 2, kPeer = 3 };

struct AgreedAllocator {
    Ref<IMemAllocator> allocator;
    ALLOCATOR_PROPERTIES properties{};  // as the allocator reports them
    AllocatorMode mode = AllocatorMode::kNone;
};

// Buffers that the output needs at least: one is kept as the last frame, one is being composed,
// the others wait for delivery or are downstream.
inline constexpr LONG kLeastOutputBuffers = 8;

// Buffers that an input asks for at least, so that upstream jitter is absorbed there.
inline constexpr LONG kLeastInputBuffers = 4;

// Agrees with `input` on an allocator for frames of frameBytes: its own if that takes what both
// need, else a plain one of ours. The failure of the last step otherwise, never a positive result.
HRESULT NegotiateAllocator(IMemInputPin& input, LONG frameBytes, AgreedAllocator* agreed);

}  // namespace qdvm
