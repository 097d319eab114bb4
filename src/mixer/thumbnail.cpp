// The small picture of a stream that a dialog asks for.

#include "frames/format_table.h"
#include "mixer/input_stream.h"
#include "pixels/convert_picture.h"

#include <algorithm>

namespace qdvm {
namespace {

constexpr std::uint32_t kLongestWaitMs = 50000;
constexpr LONG kLargestSide = 16384;
constexpr double kDefaultAspect = 4.0 / 3;

double AspectOf(const VM_VIDEO_PROPS& props) {
    if (props.nAspectX > 0 && props.nAspectY > 0)
        return static_cast<double>(props.nAspectX) / props.nAspectY;
    const std::int32_t height = AbsHeight(props.picProps);
    if (props.picProps.nWidth < 1 || height < 1) return kDefaultAspect;
    return static_cast<double>(props.picProps.nWidth) / height;
}

// The missing side from the aspect, both even.
ThumbnailSize WholeSize(ThumbnailSize size, const VM_VIDEO_PROPS& props) {
    if (size.width == 0 && size.height == 0)
        return {props.picProps.nWidth, AbsHeight(props.picProps)};
    const double aspect = AspectOf(props);
    const auto side = [](double value) {
        return static_cast<LONG>(std::clamp<double>(value, 1, kLargestSide));
    };
    if (size.width == 0) size.width = side(size.height * aspect);
    if (size.height == 0) size.height = side(size.width / aspect);
    return {(size.width + 1) & ~1, (size.height + 1) & ~1};
}

}  // namespace

HRESULT InputStream::RequestThumbnail(ThumbnailSize size, bool isRunning) {
    if (std::min(size.width, size.height) < 0 || std::max(size.width, size.height) > kLargestSide)
        return E_INVALIDARG;
    bool isComing = false;
    {
        ScopedLock guard(streamLock);
        isComing = isRunning && freeEventOpen && !endOfStream && framesReceived >= 1;
        if (isComing) {
            thumbnailEvent.Clear();
            thumbnailSize = size;
            thumbnailWanted = true;
        }
    }
    if (isComing) (void)thumbnailEvent.WaitFor(kLongestWaitMs);
    ScopedLock guard(streamLock);
    return thumbnail.HasData() ? S_OK : E_UNEXPECTED;
}

void InputStream::OfferThumbnail(const MediaFrame& frame) {
    if (!thumbnailWanted || !frame || frame.ActualLength() == 0) return;
    ScopedLock guard(streamLock);
    ServeThumbnail(frame, inputProps);
}

void InputStream::ServeThumbnail(const MediaFrame& frame, const VM_VIDEO_PROPS& props) {
    if (!thumbnailWanted) return;
    if (frame) MakeThumbnail(frame, props);
    thumbnailWanted = false;
    thumbnailEvent.Set();
}

void InputStream::MakeThumbnail(const MediaFrame& frame, const VM_VIDEO_PROPS& props) {
    thumbnail.Clear();
    BYTE* data = nullptr;
    if (Failed(frame.GetPointer(&data)) || !data) return;
    const std::uint32_t bytes = FrameBytes(props.picProps);
    if (frame.Size() < 0 || static_cast<std::uint32_t>(frame.Size()) < bytes) return;
    const ThumbnailSize size = WholeSize(thumbnailSize, props);
    thumbnailProps = {kFccRGB24, size.width, size.height, size.width};
    if (Failed(thumbnail.Resize(FrameBytes(thumbnailProps)))) return;
    const HRESULT made = ConvertPicture(data, thumbnail.At(0), props.picProps, thumbnailProps,
                                        props.eInterlace != eVMI_Progressive);
    if (made != S_OK) thumbnail.Clear();
}

}  // namespace qdvm
