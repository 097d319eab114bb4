#pragma once

// Pins of other filters, picked by a rule.

#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>
#include <qdvideomixer/object.h>

#include <vector>

namespace qdvm {

// Not for use by several threads at a time. Takes no lock.
class CPinSelection {
public:
    CPinSelection() = default;
    virtual ~CPinSelection() = default;
    CPinSelection(const CPinSelection&) = delete;
    CPinSelection& operator=(const CPinSelection&) = delete;

    // Gathers the pins of a filter, given by any of its interfaces, in place of what was gathered
    // before. S_OK if pins were taken, S_FALSE if none; E_INVALIDARG if it is no filter. A walk
    // during which the filter's pins change starts over, up to 16 times.
    HRESULT Select(IUnknown* object);

    std::vector<Ref<IPin>> pins;

protected:
    // 0 to take the pin, 1 to pass over it, negative to stop with that failure; another positive
    // result stops with E_FAIL. `taken` are the pins taken in this walk.
    virtual HRESULT Accept(IPin& pin, const std::vector<Ref<IPin>>& taken);

private:
    HRESULT Walk(IEnumPins& enumerator, std::vector<Ref<IPin>>* taken);
};

// Pins of one direction that are, or are not, connected.
class CPinSelStd final : public CPinSelection {
public:
    CPinSelStd(PIN_DIRECTION wanted, bool wantsConnected)
        : direction(wanted), connected(wantsConnected) {}

protected:
    HRESULT Accept(IPin& pin, const std::vector<Ref<IPin>>& taken) override;

private:
    const PIN_DIRECTION direction;
    const bool connected;
};

// Pins of one direction whose connection has a type; GUID_NULL stands for any.
class CPinSelConnectedWithType final : public CPinSelection {
public:
    CPinSelConnectedWithType(PIN_DIRECTION wanted, const GUID& major, const GUID& sub)
        : direction(wanted), majorType(major), subType(sub) {}

protected:
    HRESULT Accept(IPin& pin, const std::vector<Ref<IPin>>& taken) override;

private:
    const PIN_DIRECTION direction;
    const GUID majorType;
    const GUID subType;
};

// 0 if the pin's state is the wanted one, 1 if not. E_FAIL if its peer doesn't know it.
HRESULT ConnectedState(IPin& pin, bool wanted);

// Duration of one frame on the way up from `pin`, 100 ns: its own connection's type, else what the
// filters further up tell; 0 if none does.
std::int64_t UpstreamFrameTime(IPin* pin);

}  // namespace qdvm
