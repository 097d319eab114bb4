#include "hosts/gstreamer/element_clock.h"

#include <qdvideomixer/create.h>

#include <algorithm>

namespace qdvm {
namespace {

constexpr GstClockTime kNsPerUnit = 100;

}  // namespace

ElementClock::ElementClock(GstElement* watched) : element(watched) {
    if (Failed(CreateSystemClock(IID_IReferenceClock, timer.PutVoid()))) (void)timer.Detach();
}

void ElementClock::Detach() {
    ScopedLock guard(lock);
    if (playing) frozen = Measure();
    playing = false;
    element = nullptr;
}

void ElementClock::SetPlaying(bool isPlaying) {
    ScopedLock guard(lock);
    if (playing == isPlaying) return;
    if (playing) frozen = Measure();
    playing = isPlaying;
}

bool ElementClock::IsPlaying() const {
    ScopedLock guard(lock);
    return playing;
}

GstClockTime ElementClock::Measure() const {
    if (!element) return frozen;
    GstClock* clock = gst_element_get_clock(element);
    if (!clock) return frozen;
    const GstClockTime now = gst_clock_get_time(clock);
    const GstClockTime base = gst_element_get_base_time(element);
    gst_object_unref(clock);
    return now > base ? now - base : 0;
}

GstClockTime ElementClock::RunningTime() const {
    ScopedLock guard(lock);
    return playing ? Measure() : frozen;
}

void ElementClock::Pretend(std::optional<REFERENCE_TIME> time) {
    ScopedLock guard(lock);
    pretended = time;
}

REFERENCE_TIME ElementClock::Now() const {
    ScopedLock guard(lock);
    if (pretended) return *pretended;
    return static_cast<REFERENCE_TIME>((playing ? Measure() : frozen) / kNsPerUnit);
}

HRESULT ElementClock::GetTime(REFERENCE_TIME* time) {
    if (!time) return E_POINTER;
    *time = Now();
    ScopedLock guard(lock);
    const bool isNew = *time != lastTime;
    lastTime = *time;
    return isNew ? S_OK : S_FALSE;
}

HRESULT ElementClock::AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT event,
                                 DWORD_PTR* cookie) {
    if (!timer) return E_UNEXPECTED;
    const REFERENCE_TIME span = std::max<REFERENCE_TIME>(baseTime + streamTime - Now(), 0);
    REFERENCE_TIME now = 0;
    const HRESULT result = timer->GetTime(&now);
    return Failed(result) ? result : timer->AdviseTime(now, span, event, cookie);
}

HRESULT ElementClock::Unadvise(DWORD_PTR cookie) {
    return timer ? timer->Unadvise(cookie) : S_FALSE;
}

}  // namespace qdvm
