#include "graph/graph_handles.h"

#include "platform/event.h"

namespace qdvm {
namespace {

IMediaSample& Sample(void* sample) { return *static_cast<IMediaSample*>(sample); }

constexpr MediaFrameMethods kSampleMethods = {
    .hold = [](void* sample) { (void)Sample(sample).AddRef(); },
    .drop = [](void* sample) { (void)Sample(sample).Release(); },
    .getPointer = [](void* sample, BYTE** data) { return Sample(sample).GetPointer(data); },
    .getSize = [](void* sample) { return Sample(sample).GetSize(); },
    .getActualLength = [](void* sample) { return Sample(sample).GetActualDataLength(); },
    .setActualLength = [](void* sample,
                          LONG length) { return Sample(sample).SetActualDataLength(length); },
    .getTime = [](void* sample, std::int64_t* start,
                  std::int64_t* stop) { return Sample(sample).GetTime(start, stop); },
    .setTime = [](void* sample, std::int64_t* start,
                  std::int64_t* stop) { return Sample(sample).SetTime(start, stop); },
    .getMediaTime = [](void* sample, std::int64_t* start,
                       std::int64_t* stop) { return Sample(sample).GetMediaTime(start, stop); },
    .setMediaTime = [](void* sample, std::int64_t* start,
                       std::int64_t* stop) { return Sample(sample).SetMediaTime(start, stop); },
    .isSyncPoint = [](void* sample) { return Sample(sample).IsSyncPoint() == S_OK; },
    .setSyncPoint = [](void* sample, bool set) { return Sample(sample).SetSyncPoint(set); },
    .isPreroll = [](void* sample) { return Sample(sample).IsPreroll() == S_OK; },
    .setPreroll = [](void* sample, bool set) { return Sample(sample).SetPreroll(set); },
    .isDiscontinuity = [](void* sample) { return Sample(sample).IsDiscontinuity() == S_OK; },
    .setDiscontinuity = [](void* sample, bool set) { return Sample(sample).SetDiscontinuity(set); },
};

IReferenceClock& Clock(void* clock) { return *static_cast<IReferenceClock*>(clock); }

constexpr ClockMethods kClockMethods = {
    .hold = [](void* clock) { (void)Clock(clock).AddRef(); },
    .drop = [](void* clock) { (void)Clock(clock).Release(); },
    .getTime = [](void* clock, std::int64_t* now) { return Clock(clock).GetTime(now); },
    .advise =
        [](void* clock, std::int64_t base, std::int64_t offset, Event& event,
           std::uintptr_t* cookie) {
            return Clock(clock).AdviseTime(base, offset, event.Handle(), cookie);
        },
    .unadvise = [](void* clock, std::uintptr_t cookie) { return Clock(clock).Unadvise(cookie); },
};

}  // namespace

MediaFrame FrameOf(IMediaSample* sample) { return MediaFrame(sample, &kSampleMethods); }

IMediaSample* SampleOf(const MediaFrame& frame) {
    return static_cast<IMediaSample*>(frame.Sample());
}

ClockHandle ClockOf(IReferenceClock* clock) { return ClockHandle(clock, &kClockMethods); }

}  // namespace qdvm
