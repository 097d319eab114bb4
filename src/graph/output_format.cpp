// What the output looks like: how its format follows from the inputs and from what was asked for,
// and how a change reaches a connected output.

#include "graph/mixer_filter.h"
#include "graph/output_pin.h"

#include "frames/format_table.h"
#include "frames/media_type_map.h"
#include "platform/no_throw.h"
#include "platform/trace.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace qdvm {
namespace {

using Mode = SharedLockGuard::Mode;

constexpr std::int32_t kDefaultWidth = 720;
constexpr std::int32_t kDefaultHeight = 576;

// dwInterlaceFlags of the formats on offer besides the output's own.
constexpr DWORD kOfferedField1First = 5;
constexpr DWORD kOfferedField2First = 1;

bool HasAspect(const VM_VIDEO_PROPS& props) { return props.nAspectX != 0 && props.nAspectY != 0; }

// Frame time and the rects over the whole picture, the same in both kinds of block.
template <class VideoInfo>
void FillCommon(VideoInfo* info, std::int64_t frameTime) {
    info->AvgTimePerFrame = frameTime;
    const RECT whole = {0, 0, info->bmiHeader.biWidth, AbsHeight(info->bmiHeader.biHeight)};
    info->rcSource = whole;
    info->rcTarget = whole;
}

void FillCommon(MediaType* type, std::int64_t frameTime) {
    if (VIDEOINFOHEADER2* const info2 = type->VideoInfo2())
        FillCommon(info2, frameTime);
    else if (VIDEOINFOHEADER* const info = type->VideoInfo())
        FillCommon(info, frameTime);
}

void FillInterlaceAndAspect(MediaType* type, DWORD interlaceFlags, const AspectRatio& aspect) {
    VIDEOINFOHEADER2* const info = type->VideoInfo2();
    if (!info) return;
    info->dwInterlaceFlags = interlaceFlags;
    info->dwPictAspectRatioX = static_cast<DWORD>(aspect.x);
    info->dwPictAspectRatioY = static_cast<DWORD>(aspect.y);
}

DWORD OfferedInterlaceFlags(eVM_Interlace interlace) {
    if (interlace == eVMI_Field1First) return kOfferedField1First;
    return interlace == eVMI_Field2First ? kOfferedField2First : 0;
}

bool Differs(std::int32_t wanted, std::int32_t present) { return wanted != 0 && wanted != present; }

}  // namespace

HRESULT CCoQDVideoMixer::BuildOutputFormat(bool reconnect) {
    return NoThrow([&] {
        MediaType built;
        const HRESULT result = RebuildOutput(&built);
        if (Succeeded(result) && reconnect) (void)ReconnectOutput(built);
        return result;
    });
}

HRESULT CCoQDVideoMixer::RebuildOutput(MediaType* built) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const VM_VIDEO_PROPS given = GivenOutputProps();
    PIC_PROPS picture = given.picProps;
    FollowInputs(&picture);
    const eVM_Interlace interlace = ChooseInterlace(given);
    const bool isPlain = interlace == eVMI_Progressive && !HasAspect(given);
    if (picture.nWidth == 0) picture.nWidth = kDefaultWidth;
    if (picture.nHeight == 0) picture.nHeight = kDefaultHeight;
    if (picture.fccType == 0) picture.fccType = kFccYUY2;

    HRESULT result =
        BuildVideoMediaType(built, picture.fccType, isPlain ? FORMAT_VideoInfo : FORMAT_VideoInfo2,
                            picture.nWidth, picture.nHeight, 0, false);
    if (Failed(result)) return result;
    // While frames flow the grid stays: slots and stamps are counted in its period.
    if (State() == PlayState::kStopped || outputFrameTime < 1)
        outputFrameTime = ComputeOutputFrameTime(-1);
    FillCommon(built, outputFrameTime);
    FillInterlaceAndAspect(built, InterlaceFlagsOf(interlace),
                           HasAspect(given) ? AspectRatio{given.nAspectX, given.nAspectY}
                                            : AspectOfSize(picture.nWidth, picture.nHeight));
    if (!outputPin->HasPeer()) {
        result = outputPin->SetOutputType(built);
        if (Failed(result)) return result;
    }
    background.DropPicture();
    RebuildOutputTypes(*built, given);
    Trace("[NEW OUTPUT] %08X %d x %d, %lld00 ns", static_cast<unsigned>(picture.fccType),
          picture.nWidth, picture.nHeight, static_cast<long long>(outputFrameTime));
    return S_OK;
}

// Takes from the connected streams what was not asked for.
void CCoQDVideoMixer::FollowInputs(PIC_PROPS* picture) const {
    for (const Ref<InputStream>& stream : inputs) {
        if (!stream->IsConnected()) continue;
        const PIC_PROPS theirs = stream->InputProps().picProps;
        if (picture->nWidth == 0 || picture->nHeight == 0) {
            picture->nWidth = std::max(picture->nWidth, theirs.nWidth);
            picture->nHeight = std::max(picture->nHeight, AbsHeight(theirs));
        }
        if (picture->fccType == 0) picture->fccType = theirs.fccType;
    }
}

// The free stream at the end counts too, so that it takes a request to get whole frames.
eVM_Interlace CCoQDVideoMixer::ChooseInterlace(const VM_VIDEO_PROPS& given) const {
    if (given.eInterlace != eVMI_Auto) return given.eInterlace;
    for (const Ref<InputStream>& stream : inputs) {
        const eVM_Interlace theirs = stream->InputProps().eInterlace;
        if (theirs != eVMI_Progressive) return theirs;
    }
    return eVMI_Auto;
}

// All other formats in the table's order, then their twins in the other kind of block.
void CCoQDVideoMixer::RebuildOutputTypes(const MediaType& type, const VM_VIDEO_PROPS& given) {
    std::vector<MediaType> offered;
    std::vector<MediaType> twins;
    PIC_PROPS picture{};
    const int own = ParseVideoMediaType(*type, &picture);
    for (std::size_t i = 0; own >= 0 && i < VideoFormatTable.size(); ++i) {
        if (i == static_cast<std::size_t>(own)) continue;
        PIC_PROPS other = picture;
        other.fccType = VideoFormatTable[i].FccType();
        if (Differs(given.picProps.fccType, other.fccType) || !IsMixableFormat(other, true))
            continue;
        MediaType offer;
        if (Failed(BuildVideoMediaType(&offer, other.fccType, type->formattype, other.nWidth,
                                       other.nHeight, 0, false)))
            continue;
        FillCommon(&offer, AvgTimePerFrameOf(*type));
        const AspectRatio aspect = HasAspect(given) ? AspectRatio{given.nAspectX, given.nAspectY}
                                                    : AspectRatio{other.nWidth, AbsHeight(other)};
        FillInterlaceAndAspect(&offer, OfferedInterlaceFlags(given.eInterlace), aspect);
        MediaType twin;
        if (Succeeded(ConvertVideoMediaType(&twin, *offer, nullptr, 0, -1, 0, 0)))
            twins.push_back(std::move(twin));
        offered.push_back(std::move(offer));
    }
    std::move(twins.begin(), twins.end(), std::back_inserter(offered));
    ScopedLock guard(typesLock);
    outputTypes.swap(offered);
}

HRESULT CCoQDVideoMixer::GetOfferedType(ULONG index, AM_MEDIA_TYPE** type) const {
    ScopedLock guard(typesLock);
    if (index >= outputTypes.size()) return S_FALSE;
    *type = outputTypes[index].NewCopy();
    return *type ? S_OK : E_OUTOFMEMORY;
}

HRESULT CCoQDVideoMixer::ReconnectOutput(const MediaType& type) {
    const Ref<IFilterGraph> host = Graph();
    if (!host) return VFW_E_NOT_IN_GRAPH;
    if (State() != PlayState::kStopped) return VFW_E_NOT_STOPPED;
    if (!outputPin->HasPeer() || outputPin->OutputType() == type) return S_OK;
    const Ref<IPin> pin(outputPin);
    if (const Ref<IFilterGraph2> host2 = host.As<IFilterGraph2>())
        return host2->ReconnectEx(pin.Get(), &*type);
    return host->Reconnect(pin.Get());
}

HRESULT CCoQDVideoMixer::CompareOutputProps(const VM_VIDEO_PROPS* wanted) const {
    if (!wanted) return S_FALSE;
    const PIC_PROPS present = outputPin->OutputProps().picProps;
    const bool isOtherRate =
        wanted->dblStreamFPS != 0 &&
        FrameTimeOf(wanted->dblStreamFPS) != AvgTimePerFrameOf(*outputPin->OutputType());
    const bool isOther = isOtherRate || Differs(wanted->picProps.fccType, present.fccType) ||
                         Differs(wanted->picProps.nWidth, present.nWidth) ||
                         Differs(AbsHeight(wanted->picProps), AbsHeight(present));
    return isOther ? VFW_E_NOT_STOPPED : S_FALSE;
}

HRESULT CCoQDVideoMixer::SetOutputProps(const VM_VIDEO_PROPS* _pProps) {
    return NoThrow([&] { return ChangeOutputProps(_pProps); });
}

HRESULT CCoQDVideoMixer::ChangeOutputProps(const VM_VIDEO_PROPS* wanted) {
    ScopedLock request(requestLock);
    Scene scene;
    MediaType built;
    HRESULT result = S_OK;
    {
        ScopedLock filter(filterLock);
        if (State() != PlayState::kStopped) return CompareOutputProps(wanted);
        SharedLockGuard pins(pinsLock, Mode::kShared);
        SharedLockGuard layout(mixLock, Mode::kExclusive);
        CaptureScene(*this, &scene);
        {
            ScopedLock guard(propsLock);
            givenOutputProps = wanted ? *wanted : VM_VIDEO_PROPS{};
        }
        dirty = true;
        result = RebuildOutput(&built);
    }
    if (Failed(result)) return result;
    // The graph reconnects with none of the filter's locks held: it takes its own before them.
    (void)ReconnectOutput(built);
    RunScene(*this, scene, 0, false);
    return result;
}

}  // namespace qdvm
