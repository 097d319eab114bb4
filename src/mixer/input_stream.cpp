#include "mixer/input_stream.h"

#include "frames/format_table.h"
#include "frames/media_type_map.h"
#include "frames/rounding.h"
#include "mixer/colour_bars.h"
#include "pixels/img_fill.h"
#include "platform/ticks.h"
#include "platform/trace.h"

#include <algorithm>
#include <utility>

namespace qdvm {
namespace {

constexpr double kTimeUnitsPerMs = 10000.0;

VM_VIDEO_PROPS PropsOf(const MediaType& type) {
    VM_VIDEO_PROPS props{};
    if (ParseVideoMediaType(*type, &props.picProps) < 0) props.picProps = {};
    props.eInterlace = InterlaceOf(*type);
    const AspectRatio aspect = AspectOf(*type);
    props.nAspectX = aspect.x;
    props.nAspectY = aspect.y;
    return props;
}

}  // namespace

InputStream::InputStream(const void* lockOwner) : streamLock(LockRank::Stream, lockOwner) {
    maxWaitFrames = settings.maxWaitFrames;
    lostShow = settings.lostShow;
    pixels.bARGB32Mix = settings.argb32Mix;
}

VM_VIDEO_PROPS InputStream::InputProps() const {
    ScopedLock guard(streamLock);
    return inputProps;
}

HRESULT InputStream::ApplyMediaType(const MediaType* type) {
    MediaType copy;
    VM_VIDEO_PROPS props{};
    std::int64_t duration = 0;
    HRESULT result = copy.Assign(type ? &type->Get() : nullptr);
    if (Succeeded(result) && type) {
        props = PropsOf(copy);
        duration = AvgTimePerFrameOf(*copy);
        // A walk over other filters' pins: with no lock held.
        if (duration == 0 && IsConnected()) duration = UpstreamFrameTime();
    }
    {
        ScopedLock guard(streamLock);
        inputProps = props;
        mediaType = std::move(copy);
        lostPicture.Clear();  // of the old format
    }
    frameTime = duration;
    if (Failed(result) || !type) return result;
    const auto show = static_cast<eVM_LostShow>(lostShow.load());
    (void)MarkStreamLost(false, -1, &show);
    return S_OK;
}

void InputStream::ResetStream() {
    ScopedLock guard(streamLock);
    gridSlot = 0;
    gridLag = 0;
    lastFrameStart = kUnknownTime;
    framesReceived = 0;
    framesDropped = 0;
    framesRepeated = 0;
    clockOffset = kUnknownTime;
    endOfStream = false;
    RestartWait();
    freeEvent.Set();
    freeEventOpen = true;
}

void InputStream::FlushStream() {
    MediaFrame dropped;  // goes back to its allocator with the lock free
    ScopedLock guard(streamLock);
    ++flushCount;
    readyEvent.Clear();
    freeEvent.Set();
    pacingEvent.Set();
    ServeThumbnail(currentFrame, frameProps);
    dropped = std::exchange(currentFrame, MediaFrame());
    frameWaits = false;
    endOfStream = false;
    newFrame = true;
    // What comes after a flush starts its times anew.
    clockOffset = kUnknownTime;
}

void InputStream::StopStream() {
    {
        // First of all, so that nothing is stored behind the flush.
        ScopedLock guard(streamLock);
        freeEventOpen = false;
    }
    FlushStream();
    ScopedLock guard(streamLock);
    newFrame = false;
    framesReceived = 0;
    gridSlot = 0;
    lastFrameStart = kUnknownTime;
}

void InputStream::EndStream() {
    if (loop && IsConnected() && SeekUpstreamToStart()) return;
    ScopedLock guard(streamLock);
    ServeThumbnail(currentFrame, frameProps);
    endOfStream = true;
    freeEvent.Set();
    readyEvent.Set();
}

void InputStream::RestartWait() {
    const std::int64_t known = frameTime;
    const std::int64_t duration = known > 0 ? known : kDefaultFrameTime;
    const std::int32_t frames = maxWaitFrames;
    const std::int32_t wait =
        RoundToInt32(frames * static_cast<double>(duration) / kTimeUnitsPerMs);
    // 0 stands for a stream that is waited for without end.
    waitLeftMs = frames > 0 ? std::max(wait, 1) : 0;
}

HRESULT InputStream::MarkStreamLost(bool lostNow, std::int32_t maxWait, const eVM_LostShow* show) {
    ScopedLock guard(streamLock);
    if (lostNow) {
        pixels.DropDerived();
        lost = true;
        freeEvent.Set();
        readyEvent.Set();
    }
    if (maxWait >= 0) maxWaitFrames = maxWait;
    RestartWait();
    if (!show || inputProps.picProps.fccType == 0) return S_OK;
    lostShow = *show;
    return BuildLostPicture(*show);
}

HRESULT InputStream::BuildLostPicture(eVM_LostShow show) {
    lostPicture.Clear();
    pixels.DropDerived();
    if (show < eVMLS_Black || show > eVMLS_Prepared) return S_OK;
    const HRESULT result = lostPicture.Resize(FrameBytes(inputProps.picProps));
    if (Failed(result)) return result;
    const HRESULT filled = FillLostPicture(show);
    if (filled == S_OK) return S_OK;
    lostPicture.Clear();
    Trace("[Lost picture] not made: %08X", static_cast<unsigned>(filled));
    return E_UNEXPECTED;
}

HRESULT InputStream::FillLostPicture(eVM_LostShow show) {
    constexpr std::uint32_t kBlack = 0xFF000000u;
    constexpr std::uint32_t kWhite = 0xFFFFFFFFu;
    BYTE* const picture = lostPicture.At(0);
    const PIC_PROPS& props = inputProps.picProps;
    if (show == eVMLS_Black) return Img_FillRect(picture, &props, kBlack, nullptr, 255);
    if (show == eVMLS_White) return Img_FillRect(picture, &props, kWhite, nullptr, 255);
    // The bars stand for a prepared picture too, which has no other source.
    return DrawColourBars(picture, props);
}

bool InputStream::StoreFrame(const MediaFrame& frame, std::uint32_t flushesSeen) {
    MediaFrame replaced;  // goes back to its allocator with the lock free
    ScopedLock guard(streamLock);
    if (!freeEventOpen || flushCount != flushesSeen) return false;
    if (frame && (frame.ActualLength() >= 1 || !hasData)) {
        lastReceiveTick = TickCountMs();
        ++framesReceived;
        pixels.fieldPass = 0;
        pixels.DropDerived();
        replaced = std::exchange(currentFrame, frame);
        frameProps = inputProps;
        frameWaits = true;
        newFrame = true;
    } else if (inputProps.eInterlace != eVMI_Progressive) {
        RepeatOneField();
    }
    return true;
}

// A frame that is shown again is drawn from one field: the one that comes second.
void InputStream::RepeatOneField() {
    const std::int32_t field = inputProps.eInterlace == eVMI_Field1First ? 2 : 1;
    if (pixels.fieldPass == field) return;
    pixels.DropDerived();
    pixels.fieldPass = field;
}

void InputStream::ReleaseFrame() {
    frameWaits = false;
    if (!endOfStream && !lost) readyEvent.Clear();
    freeEvent.Set();
}

bool InputStream::CloseIfFadedOut() {
    if (!hidePending || !pixels.rects.empty()) return false;
    enabled = false;
    hidePending = false;
    return true;
}

}  // namespace qdvm
