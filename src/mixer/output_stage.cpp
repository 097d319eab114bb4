#include "mixer/output_stage.h"

#include "frames/media_type_map.h"
#include "platform/no_throw.h"
#include "platform/ticks.h"
#include "platform/trace.h"

#include <algorithm>
#include <utility>

namespace qdvm {
namespace {

constexpr std::size_t kFirstQueueLength = 16;

VM_VIDEO_PROPS PropsOf(const MediaType& type) {
    VM_VIDEO_PROPS props{};
    if (ParseVideoMediaType(*type, &props.picProps) < 0) props.picProps = {};
    props.eInterlace = InterlaceOf(*type);
    const AspectRatio aspect = AspectOf(*type);
    props.nAspectX = aspect.x;
    props.nAspectY = aspect.y;
    props.dblStreamFPS = FramesPerSecondOf(AvgTimePerFrameOf(*type));
    return props;
}

HRESULT MakeRoom(std::vector<MediaFrame>& queue) {
    return NoThrow([&queue] {
        queue.reserve(std::max(kFirstQueueLength, queue.size() * 2));
        return S_OK;
    });
}

}  // namespace

HRESULT OutputStage::SetOutputType(const MediaType* type) {
    ScopedLock guard(formatLock);
    outputProps = {};
    const HRESULT result = outputType.Assign(type ? &type->Get() : nullptr);
    if (Failed(result) || !type) return result;
    outputProps = PropsOf(outputType);
    return S_OK;
}

MediaType OutputStage::OutputType() const {
    ScopedLock guard(formatLock);
    return outputType;
}

std::int64_t OutputStage::OutputTypeFrameTime() const {
    ScopedLock guard(formatLock);
    return AvgTimePerFrameOf(*outputType);
}

VM_VIDEO_PROPS OutputStage::OutputProps() const {
    ScopedLock guard(formatLock);
    return outputProps;
}

void OutputStage::PutOutput(MediaFrame frame) {
    if (!runDelivery) return;
    {
        ScopedLock guard(queueLock);
        // The end is signalled again and again: one signal that waits is enough.
        if (!frame && queueCount != 0 &&
            !deliveryQueue[(queueHead + queueCount - 1) % deliveryQueue.size()])
            return;
        if (queueCount == deliveryQueue.size() && !GrowQueue()) {
            Trace("[No room to deliver] %d wait", static_cast<int>(queueCount));
            return;
        }
        deliveryQueue[(queueHead + queueCount) % deliveryQueue.size()] = std::move(frame);
        ++queueCount;
    }
    wakeEvent.Set();
}

// False if memory is short, and the queue is as it was.
bool OutputStage::GrowQueue() {
    if (Failed(MakeRoom(deliveryQueue))) return false;
    std::rotate(deliveryQueue.begin(),
                deliveryQueue.begin() + static_cast<std::ptrdiff_t>(queueHead),
                deliveryQueue.end());
    queueHead = 0;
    deliveryQueue.resize(deliveryQueue.capacity());
    return true;
}

void OutputStage::FlushOutputQueue() {
    // Frames go back to their allocator one by one with the lock free.
    MediaFrame dropped;
    std::size_t left = 0;
    while (TakeItem(&dropped, &left)) dropped = MediaFrame();
    wakeEvent.Clear();
    // What was put in between the last look and the reset must not sleep.
    ScopedLock guard(queueLock);
    if (queueCount != 0) wakeEvent.Set();
}

bool OutputStage::TakeItem(MediaFrame* frame, std::size_t* left) {
    ScopedLock guard(queueLock);
    if (queueCount == 0) return false;
    *frame = std::exchange(deliveryQueue[queueHead], MediaFrame());
    queueHead = (queueHead + 1) % deliveryQueue.size();
    *left = --queueCount;
    if (queueCount != 0) wakeEvent.Set();
    return true;
}

HRESULT OutputStage::StartDelivery() {
    if (runDelivery) return S_FALSE;
    runDelivery = true;
    const HRESULT result =
        deliveryThread.Start("DeliveryThread", ThreadPriority::Normal, [this] { DeliveryLoop(); });
    if (Failed(result)) runDelivery = false;
    return result;
}

void OutputStage::StopDelivery() {
    runDelivery = false;
    wakeEvent.Set();
    deliveryThread.Join();
    FlushOutputQueue();
}

void OutputStage::DeliveryLoop() {
    for (;;) {
        wakeEvent.Wait();
        if (!runDelivery) return;
        MediaFrame frame;
        std::size_t left = 0;
        if (!TakeItem(&frame, &left)) continue;
        if (!frame) {
            DeliverEndOfStream();
            continue;
        }
        const std::uint32_t before = TickCountMs();
        (void)DeliverFrame(frame);
        frame = MediaFrame();
        TraceDelivery(TickCountMs() - before, left);
    }
}

}  // namespace qdvm
