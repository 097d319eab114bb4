// The session's chroma keys: what pads say of them goes to the mixer between two output frames, and
// streams come to it in a format that can be keyed.

#include "frames/format_table.h"
#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/session.h"
#include "pixels/chroma_key/chroma_key.h"
#include "pixels/img_convert.h"
#include "pixels/primitives/convert.h"

#include <cmath>
#include <cstdio>
#include <utility>

namespace qdvm {
namespace {

// Same size, row by row where both have rows of their own.
HRESULT ConvertToYuy2(const BYTE* from, const PIC_PROPS& picture, BYTE* to, const PIC_PROPS& yuy2) {
    if (picture.fccType != kFccYVYU)
        return Img_Convert(from, to, &picture, &yuy2, nullptr, nullptr, false);
    const auto stride = [](const PIC_PROPS& props) { return std::ptrdiff_t{props.nRowWidth} * 2; };
    // The two differ by the order of their chroma, either way.
    return YUY2ToYVYU(from, stride(picture), to, stride(yuy2),
                      {picture.nWidth, AbsHeight(picture)}) == kImageOk
               ? S_OK
               : E_FAIL;
}

std::string PercentText(double share) { return std::to_string(std::lround(share * 100)) + "%"; }

// Empty for a border that tells the key's colour.
std::string FaultOf(const BorderColour& found, HRESULT result) {
    if (Failed(result)) return "its frame can't be read";
    if (!found.isOne)
        return "its border is not of one colour: only " + PercentText(found.share) +
               " of it are near " + ColourText(found.colour);
    if (!found.isColourful)
        return "its border, " + ColourText(found.colour) + ", has hardly any colour";
    return {};
}

}  // namespace

// Needs the mutex.
ChromaKeySettings Session::KeyOf(const PadStream& stream) const {
    KeyRecipe recipe = stream.settings.key;
    if (stream.borderColour) recipe.GiveColour(*stream.borderColour);
    return KeySettingsOf(recipe);
}

// If it is marked for this frame. Needs layoutMutex.
void Session::ApplyKey(PadStream& stream) {
    ChromaKeySettings key;
    int number = -1;
    {
        const Lock lock(mutex);
        number = stream.isLeaving ? -1 : stream.streamNumber;
        if (number < 0 || !IsDue(stream.keyChange)) return;
        stream.keyChange = {};
        key = KeyOf(stream);
    }
    SetMixerKey(number, key);
}

// The selection of a program that works on keys itself stays.
void Session::SetMixerKey(int number, const ChromaKeySettings& key) {
    LONG selected = -1;
    (void)mixer->GetStreamForChromaKey(&selected);
    (void)mixer->SetStreamForChromaKey(number);
    (void)keys->SetChromaKey(&key);
    (void)mixer->SetStreamForChromaKey(selected);
}

ChromaKeySettings Session::MixerKey(int number) const {
    LONG selected = -1;
    ChromaKeySettings key{};
    (void)mixer->GetStreamForChromaKey(&selected);
    (void)mixer->SetStreamForChromaKey(number);
    (void)keys->GetChromaKey(&key);
    (void)mixer->SetStreamForChromaKey(selected);
    return key;
}

// Needs the mutex.
bool Session::NeedsConversion(const PadStream& stream) const {
    return !stream.settings.key.parts.empty() && stream.format.IsSet() &&
           !CanBeKeyed(stream.format.props.picProps.fccType);
}

void Session::FollowKey(PadStream& stream) {
    const Lock lock(mutex);
    if (NeedsConversion(stream) == stream.isConverted) return;
    stream.isConverted = !stream.isConverted;
    stream.typeIsKnown = false;
}

// From the first frame that comes after the key was set. `picture` describes the sample.
void Session::ReadKeyColour(PadStream& stream, IMediaSample* sample, const PIC_PROPS& picture) {
    {
        const Lock lock(mutex);
        if (stream.hasReadBorder || !stream.settings.key.WantsColour()) return;
        stream.hasReadBorder = true;
    }
    BYTE* data = nullptr;
    (void)sample->GetPointer(&data);
    BorderColour found;
    const HRESULT result = ReadBorderColour(data, picture, &found);
    if (Succeeded(result) && found.isOne && found.isColourful) {
        const Lock lock(mutex);
        stream.borderColour = found.colour;
        // This very frame is to be keyed.
        stream.keyChange = {.kind = Change::Kind::kMoved};
        anyChange = true;
    }
    TellKeyColour(stream, found, result);
}

void Session::TellKeyColour(const PadStream& stream, const BorderColour& found, HRESULT result) {
    const std::string fault = FaultOf(found, result);
    const std::string text = fault.empty()
                                 ? "key colour " + ColourText(found.colour) + ", that of " +
                                       PercentText(found.share) + " of its border"
                                 : fault;
    (void)gst_element_post_message(
        element,
        gst_message_new_element(
            GST_OBJECT(element),
            gst_structure_new("qdvideomixer-key", "pad", G_TYPE_STRING, GST_PAD_NAME(stream.pad),
                              "found", G_TYPE_BOOLEAN, gboolean{fault.empty()}, "color",
                              G_TYPE_UINT, found.colour, "share", G_TYPE_DOUBLE, found.share,
                              "text", G_TYPE_STRING, text.c_str(), nullptr)));
    if (!fault.empty())
        GST_ELEMENT_WARNING(element, STREAM, FAILED,
                            ("%s: no key colour: %s", GST_PAD_NAME(stream.pad), text.c_str()),
                            ("result 0x%08x", static_cast<unsigned>(result)));
}

// A stream whose last picture stays on screen, since no frames come for it, and doesn't suit its
// key. Null if there is none. Needs the mutex.
PadStream* Session::FindStillToKey() const {
    if (mode != Mode::kRunning) return nullptr;
    const auto isToKey = [this](const PadStream& stream) {
        const bool wantsColour = stream.settings.key.WantsColour() && !stream.hasReadBorder;
        if (!wantsColour && (stream.isConverted || !NeedsConversion(stream))) return false;
        const bool isFree = stream.streamNumber >= 0 && !stream.isInReceive && !stream.pending &&
                            !stream.isLeaving && !stream.isFlushing && &stream != master;
        if (!isFree || stream.isStillRefused || !stream.lastFrame.buffer || !stream.typeIsKnown)
            return false;
        return stream.hasEnded || stream.isUnlinked || StatusOf(stream.streamNumber).bLost;
    };
    for (const auto& stream : streams)
        if (isToKey(*stream)) return stream.get();
    return nullptr;
}

void Session::KeyStills() {
    Lock lock(mutex);
    while (PadStream* const found = FindStillToKey()) {
        PadStream& stream = *found;
        StreamFormat format = MixedFormatOf(stream);
        format.props.picProps.nRowWidth = stream.typeRowWidth;
        HeldFrame held = stream.lastFrame;
        (void)gst_buffer_ref(held.buffer);
        const bool isConversion = !stream.isConverted && NeedsConversion(stream);
        const int number = stream.streamNumber;
        const eVM_LostShow show = stream.settings.lostShow;
        const bool isLost = StatusOf(number).bLost != 0;
        // Keeps the stream, and keeps its own thread out of the filter.
        stream.isInReceive = true;
        lock.unlock();
        KeyStill(stream, format, held, isConversion);
        // It came no nearer to being live.
        if (isLost) (void)mixer->SetStreamLost(number, show);
        lock.lock();
        stream.isInReceive = false;
        changed.notify_all();
    }
}

// The picture `held`, of this format, once more in one that can be keyed, or only looked at for
// its colour. Takes the reference over.
void Session::KeyStill(PadStream& stream, const StreamFormat& format, HeldFrame held,
                       bool isConversion) {
    const PIC_PROPS& picture = format.props.picProps;
    bool isDone = false;
    if (const Ref<WrappedSample> still = stream.samples->Take();
        still && still->Wrap(held.buffer, held.offset, held.length)) {
        ReadKeyColour(stream, still.Get(), picture);
        isDone = !isConversion;
        if (isConversion)
            if (const Ref<WrappedSample> sample =
                    ConvertForKey(stream, still.Get(), picture, &held))
                isDone = SendConverted(stream, sample.Get(), std::exchange(held, {}));
    }
    gst_clear_buffer(&held.buffer);
    if (isDone) return;
    GST_WARNING_OBJECT(stream.pad, "the picture that stays can't be keyed");
    const Lock lock(mutex);
    stream.isStillRefused = true;
}

// Puts the picture in the next slot, in place of the one that is shown. Takes the frame over.
bool Session::SendConverted(PadStream& stream, IMediaSample* sample, HeldFrame frame) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    MediaType type;
    StreamFormat format;
    {
        const Lock lock(mutex);
        stream.isConverted = true;
        format = MixedFormatOf(stream);
        start = static_cast<REFERENCE_TIME>(stream.nextSlot) * grid.Period();
        stop = start + grid.Period();
    }
    const std::int32_t rowWidth = format.props.picProps.nWidth;
    HRESULT result = BuildStreamType(format, rowWidth, &type);
    if (Succeeded(result)) result = sample->SetMediaType(const_cast<AM_MEDIA_TYPE*>(&type.Get()));
    if (Succeeded(result)) result = sample->SetTime(&start, &stop);
    if (Succeeded(result)) result = stream.pin->Send(sample);
    bool isShown = false;
    {
        const Lock lock(mutex);
        isShown = Succeeded(result) && CountSlot(stream, sample);
        if (isShown) {
            stream.typeRowWidth = rowWidth;
            // Unless a flush has taken the picture away meanwhile.
            if (stream.lastFrame.buffer) std::swap(frame, stream.lastFrame);
        } else {
            stream.isConverted = stream.typeIsKnown = false;
        }
    }
    gst_clear_buffer(&frame.buffer);
    return isShown;
}

// A sample over the frame in YUY2; frame is exchanged for its memory.
Ref<WrappedSample> Session::ConvertForKey(PadStream& stream, IMediaSample* from,
                                          const PIC_PROPS& picture, HeldFrame* frame) {
    PIC_PROPS yuy2 = picture;
    yuy2.fccType = kFccYUY2;
    yuy2.nRowWidth = yuy2.nWidth;
    const gsize bytes = FrameBytes(yuy2);
    BYTE* data = nullptr;
    (void)from->GetPointer(&data);
    Ref<WrappedSample> sample = stream.samples->Take();
    GstBuffer* converted = sample && data ? stream.convertedFrames.Take(bytes) : nullptr;
    GstMapInfo map;
    if (!converted || !gst_buffer_map(converted, &map, GST_MAP_WRITE)) {
        gst_clear_buffer(&converted);
        return {};
    }
    const HRESULT result = ConvertToYuy2(data, picture, map.data, yuy2);
    gst_buffer_unmap(converted, &map);
    gst_clear_buffer(&frame->buffer);
    *frame = {converted, 0, bytes};
    return result == S_OK && sample->Wrap(converted, 0, bytes) ? sample : Ref<WrappedSample>();
}

}  // namespace qdvm
