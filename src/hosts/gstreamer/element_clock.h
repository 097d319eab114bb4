#pragma once

// The clock that the hosted filter runs by.

#include "platform/lock.h"
#include "platform/object_root.h"
#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>

#include <gst/gst.h>

#include <optional>

namespace qdvm {

// The running time of an element in 100 ns: it goes on while the element plays and stands still
// otherwise. Without a clock in the pipeline it stands still too.
//
// Thread-safety: all operations can be called from any thread.
class ElementClock final : public ObjectRoot<IReferenceClock> {
public:
    // The element outlives this clock's use: Detach comes before its end.
    explicit ElementClock(GstElement* watched);

    // From now on the time stands still.
    void Detach();

    void SetPlaying(bool isPlaying);
    bool IsPlaying() const;

    // Running time in ns.
    GstClockTime RunningTime() const;

    // Makes GetTime give this time (100 ns) until it is given none.
    void Pretend(std::optional<REFERENCE_TIME> time);

    HRESULT GetTime(REFERENCE_TIME* time) override;
    HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT event,
                       DWORD_PTR* cookie) override;
    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override {
        return E_NOTIMPL;
    }
    HRESULT Unadvise(DWORD_PTR cookie) override;

private:
    ~ElementClock() override = default;

    GstClockTime Measure() const QDVM_REQUIRES(lock);
    REFERENCE_TIME Now() const;

    mutable CriticalSection lock{LockRank::Leaf};
    GstElement* element QDVM_GUARDED_BY(lock);
    bool playing QDVM_GUARDED_BY(lock) = false;
    GstClockTime frozen QDVM_GUARDED_BY(lock) = 0;
    std::optional<REFERENCE_TIME> pretended QDVM_GUARDED_BY(lock);
    REFERENCE_TIME lastTime QDVM_GUARDED_BY(lock) = -1;
    Ref<IReferenceClock> timer;  // signals after a span of time
};

}  // namespace qdvm
