#include "platform/graph_walk.h"

#include <cstddef>
#include <utility>

namespace qdvm {

namespace {

// The sort walks the filters depth first and lists each on its way back.
class DownstreamSorter {
public:
    explicit DownstreamSorter(const std::vector<Ref<IBaseFilter>>& list)
        : filters(list), isVisited(list.size(), false) {}

    std::vector<Ref<IBaseFilter>> Sort() {
        for (std::size_t i = 0; i < filters.size(); ++i) {
            Visit(i);
        }
        return sorted;
    }

private:
    void Visit(std::size_t index) {
        if (isVisited[index]) {
            return;
        }
        isVisited[index] = true;
        for (const Ref<IPin>& pin : PinsOf(filters[index].Get())) {
            if (DirectionOf(pin.Get()) == PINDIR_OUTPUT) {
                VisitPeer(pin.Get());
            }
        }
        sorted.push_back(filters[index]);
    }

    void VisitPeer(IPin* output) {
        const Ref<IPin> peer = PeerOf(output);
        const Ref<IBaseFilter> filter = peer ? FilterOf(peer.Get()) : nullptr;
        for (std::size_t i = 0; filter && i < filters.size(); ++i) {
            if (IsSameObject(filters[i].Get(), filter.Get())) {
                Visit(i);
            }
        }
    }

    const std::vector<Ref<IBaseFilter>>& filters;
    std::vector<bool> isVisited;
    std::vector<Ref<IBaseFilter>> sorted;
};

}  // namespace

std::vector<Ref<IPin>> PinsOf(IBaseFilter* filter) {
    constexpr int kTries = 16;
    Ref<IEnumPins> enumerator;
    if (Failed(filter->EnumPins(enumerator.Put())) || !enumerator) {
        return {};
    }
    for (int i = 0; i < kTries; ++i) {
        std::vector<Ref<IPin>> pins;
        Ref<IPin> pin;
        HRESULT result = enumerator->Reset();
        while ((result = enumerator->Next(1, pin.Put(), nullptr)) == S_OK) {
            pins.push_back(std::move(pin));
        }
        if (result != VFW_E_ENUM_OUT_OF_SYNC) {
            return pins;
        }
    }
    return {};
}

Ref<IPin> PeerOf(IPin* pin) {
    Ref<IPin> peer;
    if (Failed(pin->ConnectedTo(peer.Put()))) {
        return {};
    }
    return peer;
}

Ref<IBaseFilter> FilterOf(IPin* pin) {
    PIN_INFO info = {};
    if (Failed(pin->QueryPinInfo(&info))) {
        return {};
    }
    return Ref<IBaseFilter>::Adopt(info.pFilter);
}

PIN_DIRECTION DirectionOf(IPin* pin) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    (void)pin->QueryDirection(&direction);
    return direction;
}

std::vector<Ref<IBaseFilter>> SortDownstreamFirst(const std::vector<Ref<IBaseFilter>>& filters) {
    return DownstreamSorter(filters).Sort();
}

}  // namespace qdvm
