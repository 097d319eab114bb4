// The session's rects: what users set on them goes to the mixer between two output frames.

#include "frames/format_table.h"
#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/session.h"
#include "platform/counted_string.h"
#include "platform/text.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace qdvm {
namespace {

// Whether this thread sets properties in the name of a controller.
thread_local bool isSyncing = false;

// The session that lets its watchers act between two frames on this thread.
thread_local const Session* between = nullptr;

constexpr GstClockTime kNsPerUnit = 100;

void SyncValues(GstObject* object, GstClockTime time) {
    if (gst_object_has_active_control_bindings(object)) (void)gst_object_sync_values(object, time);
}

void SyncWithChildren(GstObject* object, GstClockTime time) {
    SyncValues(object, time);
    GstChildProxy* parent = GST_CHILD_PROXY(object);
    const guint count = gst_child_proxy_get_children_count(parent);
    for (guint i = 0; i < count; ++i) {
        GObject* child = gst_child_proxy_get_child_by_index(parent, i);
        if (!child) break;
        SyncValues(GST_OBJECT(child), time);
        g_object_unref(child);
    }
}

}  // namespace

// Needs the mutex.
void Session::Mark(Change& change) {
    change.kind = isSyncing ? Change::Kind::kMoved : Change::Kind::kSet;
    change.number = ++lastChange;
    change.timeMs = isSyncing ? 0 : settings.changeTimeMs;
    anyChange = true;
}

void Session::SetRect(PadStream& stream, guint number, const RectSettings& rect, bool isSet) {
    const Lock lock(mutex);
    const auto found = std::ranges::find_if(stream.rects, [number](const StreamRect& other) {
        return other.number == number && !other.isRemoved;
    });
    const bool isNew = found == stream.rects.end();
    if (!isNew && found->settings == rect && !(isSet && found->isLeft)) return;
    StreamRect& target = isNew ? stream.rects.emplace_back() : *found;
    target.number = number;
    target.settings = rect;
    Mark(target.change);
}

void Session::RemoveRect(PadStream& stream, guint number) {
    const Lock lock(mutex);
    for (StreamRect& rect : stream.rects) {
        if (rect.number != number || rect.isRemoved) continue;
        rect.isRemoved = true;
        Mark(rect.change);
    }
}

void Session::BeginChanges() {
    const Lock lock(mutex);
    if (openChanges++ == 0) lastBefore = lastChange;
}

void Session::CommitChanges() {
    const Lock lock(mutex);
    if (openChanges > 0) --openChanges;
}

// On the mixer's thread.
void Session::BeforeFrame(std::uint64_t frame) {
    const GstClockTime time = TimeOf(frame);
    SyncControlled(time);
    // What was set before lies below what a watcher does to the mixer itself, such as selecting a
    // scene; what the watcher sets is for this frame too.
    ApplyDueChanges(frame);
    between = this;
    g_signal_emit_by_name(element, "before-frame", time);
    between = nullptr;
    ApplyDueChanges(frame);
}

// The first frame may be composed before the start is over. Needs the mutex.
bool Session::CanShow() const { return mode == Mode::kRunning || between == this; }

void Session::ApplyDueChanges(std::uint64_t frame) {
    const std::scoped_lock layout(layoutMutex);
    {
        const Lock lock(mutex);
        if (!anyChange) return;
        anyChange = false;
        lastDue = openChanges > 0 ? lastBefore : lastChange;
    }
    ApplyChanges(frame);
    SelectWaitingScene();
}

// The stream time of an output frame that is about to be composed.
GstClockTime Session::TimeOf(std::uint64_t frame) const {
    const Lock lock(mutex);
    return segmentTime +
           (master ? grid.StampOf(0) + static_cast<GstClockTime>(masterPosition) * kNsPerUnit
                   : grid.StampOf(frame));
}

// Values that a controller gives for the time of this frame.
void Session::SyncControlled(GstClockTime time) {
    {
        const Lock lock(mutex);
        for (const auto& stream : streams)
            syncedPads.push_back(GST_OBJECT(gst_object_ref(stream->pad)));
    }
    isSyncing = true;
    SyncValues(GST_OBJECT(element), time);
    for (GstObject* pad : syncedPads) {
        SyncWithChildren(pad, time);
        gst_object_unref(pad);
    }
    isSyncing = false;
    syncedPads.clear();
}

// Whether the mixer is told of a change for the present frame. Needs the mutex.
bool Session::IsDue(const Change& change) {
    if (change.kind == Change::Kind::kNone) return false;
    const bool isLater = change.kind == Change::Kind::kSet && change.number > lastDue;
    if (isLater) anyChange = true;
    return !isLater;
}

// Needs layoutMutex.
void Session::ApplyChanges(std::uint64_t frame) {
    bool setsBackground = false;
    bool setsOrder = false;
    guint timeMs = 0;
    {
        const Lock lock(mutex);
        setsBackground = IsDue(backgroundChange);
        timeMs = backgroundChange.timeMs;
        if (setsBackground) backgroundChange = {};
        setsOrder = IsDue(orderChange);
        if (setsOrder) orderChange = {};
    }
    if (setsBackground) ApplyBackground(timeMs);
    if (setsOrder) ApplyOrder();
    // Pads come and go under layoutMutex only.
    for (const auto& stream : streams) {
        DropRemovedRects(*stream);
        ApplyRects(*stream, frame);
        ApplyKey(*stream);
    }
}

std::size_t Session::CountRects(const PadStream& stream) const {
    const Lock lock(mutex);
    return stream.rects.size();
}

// Needs layoutMutex.
void Session::ApplyRects(PadStream& stream, std::uint64_t frame) {
    // New ones get their numbers in the mixer by their order, so none overtakes another.
    bool isInOrder = true;
    for (std::size_t i = 0; isInOrder && i < CountRects(stream); ++i)
        isInOrder = ApplyRect(stream, i, frame);
}

// Needs layoutMutex.
void Session::DropRemovedRects(PadStream& stream) {
    for (std::size_t i = CountRects(stream); i-- > 0;) {
        int number = -1;
        {
            const Lock lock(mutex);
            const StreamRect& rect = stream.rects[i];
            if (!rect.isRemoved || !IsDue(rect.change)) continue;
            number = rect.isInMixer ? stream.streamNumber : -1;
            stream.rects.erase(stream.rects.begin() + static_cast<std::ptrdiff_t>(i));
        }
        if (number >= 0) (void)mixer->RemoveInputRect(number, static_cast<LONG>(i));
    }
}

// The rect at this place of the stream's list, if it is marked for this frame. False if the mixer
// doesn't have it afterwards. Needs layoutMutex.
bool Session::ApplyRect(PadStream& stream, std::size_t place, std::uint64_t frame) {
    VM_MIXING_RECT rect;
    std::optional<std::string> mask;
    LONG timeMs = 0;
    int number = -1;
    {
        const Lock lock(mutex);
        StreamRect& wanted = stream.rects[place];
        number = stream.isLeaving ? -1 : stream.streamNumber;
        if (wanted.firstFrame > frame) anyChange = true;
        if (number < 0 || wanted.isRemoved || wanted.firstFrame > frame || !IsDue(wanted.change))
            return wanted.isInMixer;
        timeMs = static_cast<LONG>(std::exchange(wanted.change, {}).timeMs);
        wanted.isInMixer = true;
        wanted.isLeft = false;
        rect = MixingRectFor(stream, wanted.settings);
        if (wanted.mask != wanted.settings.mask) mask = wanted.mask = wanted.settings.mask;
    }
    auto rectNumber = static_cast<LONG>(place);
    (void)mixer->SetInputRect2(number, &rectNumber, &rect, timeMs);
    if (mask) ApplyMask(stream, number, rectNumber, *mask);
    return true;
}

void Session::ApplyMask(const PadStream& stream, int number, LONG rectNumber,
                        const std::string& mask) {
    const CountedString name(FromUtf8(mask));
    const HRESULT result = mixer->SetRectMask(number, rectNumber, name.Get());
    if (Failed(result))
        GST_ELEMENT_WARNING(
            element, RESOURCE, OPEN_READ,
            ("%s: no mask can be made of \"%s\"", GST_PAD_NAME(stream.pad), mask.c_str()),
            ("result 0x%08x", static_cast<unsigned>(result)));
}

// What a stream without caps has in the filter is the output's size. Needs the mutex.
StreamSize Session::SizeOf(const PadStream& stream) const {
    const PIC_PROPS& picture = (stream.format.IsSet() ? stream.format : output).props.picProps;
    return {picture.nWidth, AbsHeight(picture)};
}

// Needs the mutex.
VM_MIXING_RECT Session::MixingRectFor(const PadStream& stream, const RectSettings& rect) const {
    const StreamSize size = SizeOf(stream);
    VM_MIXING_RECT record = MixingRectOf(rect, size.width, size.height);
    if (!stream.settings.isVisible) record.dblAlpha = 0;
    return record;
}

// For a stream that has just got its input. Needs layoutMutex.
void Session::ApplyAllRects(PadStream& stream) {
    {
        const Lock lock(mutex);
        stream.size = SizeOf(stream);
        stream.keyChange = {.kind = Change::Kind::kMoved};
        std::erase_if(stream.rects, [](const StreamRect& rect) { return rect.isRemoved; });
        for (StreamRect& rect : stream.rects) {
            rect.change = {.kind = Change::Kind::kMoved};
            rect.firstFrame = 0;
            rect.isInMixer = false;
            rect.mask.clear();
        }
    }
    ApplyRects(stream, 0);
    ApplyKey(stream);
}

// Streams are brought to their positions from the bottom up, so that none moves one that stands
// already. Needs layoutMutex.
void Session::ApplyOrder() {
    std::vector<const PadStream*> drawn;
    {
        const Lock lock(mutex);
        for (const auto& stream : streams)
            if (stream->streamNumber >= 0) drawn.push_back(stream.get());
        std::ranges::sort(drawn,
                          [](const PadStream* a, const PadStream* b) { return IsAbove(*b, *a); });
    }
    LONG position = 0;
    for (const PadStream* stream : drawn)
        (void)scenes->SetStreamOrder(stream->streamNumber, position++, 0, 0);
}

// The stream's format changes with this output frame. Needs the mutex.
void Session::FollowSize(PadStream& stream, std::uint64_t frame) {
    if (SizeOf(stream) == std::exchange(stream.size, SizeOf(stream))) return;
    for (StreamRect& rect : stream.rects) {
        if (!rect.isInMixer || rect.isLeft || rect.change.kind != Change::Kind::kNone) continue;
        rect.change = {.kind = Change::Kind::kMoved};
        rect.firstFrame = frame;
    }
    anyChange = true;
}

Session::KeptLayout Session::LayoutOf(int number) const {
    KeptLayout layout;
    LONG count = 0;
    (void)mixer->GetInputRectCount(number, &count);
    for (LONG i = 0; i < count; ++i) {
        KeptRect kept;
        if (Failed(mixer->GetInputRect(number, i, &kept.rect))) continue;
        (void)mixer->GetRectMask(number, i, kept.mask.Put());
        layout.rects.push_back(std::move(kept));
    }
    layout.key = MixerKey(number);
    layout.isEnabled = mixer->IsStreamEnabled(number, nullptr) == S_OK;
    return layout;
}

void Session::SetLayout(int number, const KeptLayout& layout) {
    (void)mixer->RemoveAllRects(number);
    (void)mixer->EnableStream(number, layout.isEnabled);
    SetMixerKey(number, layout.key);
    for (const KeptRect& kept : layout.rects) {
        LONG rectNumber = -1;
        (void)mixer->SetInputRect2(number, &rectNumber, &kept.rect, 0);
        if (!kept.mask.View().empty())
            (void)mixer->SetRectMask(number, rectNumber, kept.mask.Get());
    }
}

}  // namespace qdvm
