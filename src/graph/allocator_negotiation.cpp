#include "graph/allocator_negotiation.h"

#include "graph/sample_allocator.h"

#include <algorithm>
#include <bit>

namespace qdvm {
namespace {

// In steps where anything but S_OK means that it did not work.
HRESULT FailureOf(HRESULT result) { return result > 0 ? E_FAIL : result; }

ALLOCATOR_PROPERTIES WantedProperties(IMemInputPin& input, LONG frameBytes) {
    ALLOCATOR_PROPERTIES asked{};
    if (Failed(input.GetAllocatorRequirements(&asked))) asked = {};
    return {.cBuffers = std::max(asked.cBuffers, kLeastOutputBuffers),
            .cbBuffer = std::max({asked.cbBuffer, frameBytes, 1}),
            .cbAlign = std::max(asked.cbAlign, 1),
            .cbPrefix = std::max(asked.cbPrefix, 0)};
}

bool Satisfies(const ALLOCATOR_PROPERTIES& actual, const ALLOCATOR_PROPERTIES& wanted) {
    return actual.cBuffers >= wanted.cBuffers && actual.cbBuffer >= wanted.cbBuffer &&
           actual.cbAlign >= wanted.cbAlign && actual.cbPrefix >= wanted.cbPrefix &&
           std::has_single_bit(static_cast<std::uint32_t>(actual.cbAlign));
}

HRESULT Propose(IMemInputPin& input, IMemAllocator& allocator, const ALLOCATOR_PROPERTIES& wanted) {
    ALLOCATOR_PROPERTIES request = wanted;
    ALLOCATOR_PROPERTIES actual{};
    HRESULT result = allocator.SetProperties(&request, &actual);
    if (result != S_OK) return FailureOf(result);
    if (!Satisfies(actual, wanted)) return E_FAIL;
    result = input.NotifyAllocator(&allocator, 0);
    return FailureOf(result);
}

HRESULT ProposePeers(IMemInputPin& input, const ALLOCATOR_PROPERTIES& wanted,
                     Ref<IMemAllocator>* allocator) {
    const HRESULT result = input.GetAllocator(allocator->Put());
    if (result != S_OK) {
        // What stands in the place after a failure is nobody's reference.
        if (Failed(result)) (void)allocator->Detach();
        return FailureOf(result);
    }
    return *allocator ? Propose(input, **allocator, wanted) : E_POINTER;
}

}  // namespace

HRESULT NegotiateAllocator(IMemInputPin& input, LONG frameBytes, AgreedAllocator* agreed) {
    const ALLOCATOR_PROPERTIES wanted = WantedProperties(input, frameBytes);
    AgreedAllocator found;
    found.mode = AllocatorMode::kPeer;
    HRESULT result = ProposePeers(input, wanted, &found.allocator);
    if (Failed(result)) {
        found.mode = AllocatorMode::kOwn;
        found.allocator = Ref<IMemAllocator>(MakeObject<PlainMemoryAllocator>());
        if (!found.allocator) return E_OUTOFMEMORY;
        result = Propose(input, *found.allocator, wanted);
        if (Failed(result)) return result;
    }
    (void)found.allocator->GetProperties(&found.properties);
    *agreed = std::move(found);
    return S_OK;
}

}  // namespace qdvm
