// The session's source side: starting the filter, starting it anew with other streams, stopping it.

#include "frames/format_table.h"
#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/session.h"

#include <algorithm>

namespace qdvm {
namespace {

// Longest wait for the filter to give out what it has; only a fault reaches it.
constexpr std::chrono::seconds kDrainPatience{3};

constexpr GstClockTime kNsPerUnit = 100;

std::string ColorimetryOf(const GstVideoInfo& info) {
    gchar* text = gst_video_colorimetry_to_string(&GST_VIDEO_INFO_COLORIMETRY(&info));
    std::string name = text ? text : GST_VIDEO_COLORIMETRY_BT601;
    g_free(text);
    return name;
}

}  // namespace

// Whether enough streams are there. Needs the mutex.
bool Session::StartIsDue() {
    bool anyFormat = false;
    bool anyLinked = false;
    bool allReady = true;
    bool allEnded = true;
    for (const auto& stream : streams) {
        if (stream->isLeaving || !gst_pad_is_linked(stream->pad)) continue;
        anyLinked = true;
        anyFormat = anyFormat || stream->format.IsSet();
        allEnded = allEnded && stream->hasEnded;
        if (!stream->pending && !stream->hasEnded && !stream->isFlushing) allReady = false;
    }
    if (!anyLinked) return false;
    if (!anyFormat) {
        // Streams that end without ever having begun are an end all the same.
        hasEnded = hasEnded || allEnded;
        return false;
    }
    return allReady || (startDeadline && std::chrono::steady_clock::now() >= *startDeadline);
}

// The first stream's format and colours, the fastest one's rate, and room for all of them. Needs
// the mutex.
OutputWish Session::WishedOutput() const {
    OutputWish wish;
    bool rateIsKnown = false;
    bool coloursAreKnown = false;
    for (const auto& stream : streams) {
        if (!stream->format.IsSet()) continue;
        const VM_VIDEO_PROPS& props = stream->format.props;
        if (wish.fccType == 0) wish.fccType = props.picProps.fccType;
        for (const StreamRect& shown : stream->rects) {
            const RECT target = MixingRectFor(*stream, shown.settings).rcTarget;
            wish.width = std::max(wish.width, (target.right + 1) & ~1);
            wish.height = std::max(wish.height, (target.bottom + 1) & ~1);
        }
        if (wish.interlace == eVMI_Progressive) wish.interlace = props.eInterlace;
        if (stream->format.pixels->isYuv && !std::exchange(coloursAreKnown, true))
            wish.colorimetry = ColorimetryOf(stream->format.info);
        const int num = GST_VIDEO_INFO_FPS_N(&stream->format.info);
        const int den = GST_VIDEO_INFO_FPS_D(&stream->format.info);
        const bool isFaster =
            num > 0 &&
            (!rateIsKnown || gst_util_fraction_compare(num, den, wish.rateNum, wish.rateDen) > 0);
        if (!isFaster) continue;
        rateIsKnown = true;
        wish.rateNum = num;
        wish.rateDen = den;
    }
    return wish;
}

bool Session::NegotiateOutput() {
    if (outputCaps) return true;
    OutputWish wish;
    {
        const Lock lock(mutex);
        wish = WishedOutput();
    }
    GstCaps* allowed = gst_pad_get_allowed_caps(srcPad);
    if (!allowed) allowed = gst_pad_get_pad_template_caps(srcPad);
    GstCaps* caps = ChooseOutputCaps(allowed, wish);
    if (!caps) {
        gchar* text = gst_caps_to_string(allowed);
        GST_ELEMENT_ERROR(element, CORE, NEGOTIATION, (nullptr),
                          ("downstream takes no format that the mixer makes: %s", text));
        g_free(text);
    }
    gst_caps_unref(allowed);
    return caps && SetOutput(caps);
}

// Takes the caps over.
bool Session::SetOutput(GstCaps* caps) {
    StreamFormat format;
    std::string reason;
    const bool isRead = ReadCaps(caps, &format, &reason);
    const PIC_PROPS& picture = format.props.picProps;
    if (isRead && (picture.nWidth != GST_VIDEO_INFO_WIDTH(&format.info) ||
                   AbsHeight(picture) != GST_VIDEO_INFO_HEIGHT(&format.info)))
        reason = "the size of a YUV output has to be even";
    HRESULT result = S_OK;
    if (reason.empty()) result = mixer->SetOutputProps(&format.props);
    if (!reason.empty() || Failed(result)) {
        gchar* text = gst_caps_to_string(caps);
        GST_ELEMENT_ERROR(element, CORE, NEGOTIATION, (nullptr),
                          ("the output can't be %s: %s (0x%08x)", text, reason.c_str(),
                           static_cast<unsigned>(result)));
        g_free(text);
        gst_caps_unref(caps);
        return false;
    }
    const Lock lock(mutex);
    output = format;
    outputCaps = caps;
    outputPlaces = MixerPlaces(format, picture.nWidth);
    outputBytes = FrameBytes(picture);
    outputNeedsMeta = outputPlaces != PlacesOf(format.info);
    return true;
}

std::vector<Ref<IPin>> Session::FilterPins() const {
    std::vector<Ref<IPin>> pins;
    Ref<IEnumPins> all;
    if (Failed(filter->EnumPins(all.Put()))) return pins;
    Ref<IPin> pin;
    while (all->Next(1, pin.Put(), nullptr) == S_OK) pins.push_back(pin);
    return pins;
}

// The streams that get an input, in the order in which they are drawn.
std::vector<Session::Member> Session::Members() {
    const Lock lock(mutex);
    std::vector<Member> members;
    for (const auto& stream : streams) {
        const bool isPart = stream->streamNumber >= 0 || gst_pad_is_linked(stream->pad);
        if (!isPart || stream->isLeaving) continue;
        members.push_back({stream.get(), stream->streamNumber, -1, {}});
    }
    std::ranges::sort(
        members, [](const Member& a, const Member& b) { return IsAbove(*b.stream, *a.stream); });
    return members;
}

bool Session::IsAbove(const PadStream& first, const PadStream& second) {
    return std::pair(first.settings.zOrder, first.number) >
           std::pair(second.settings.zOrder, second.number);
}

// Streams keep their numbers unless a new one has to step into a gap.
void Session::NumberMembers(std::vector<Member>& members) {
    const bool anyNew =
        std::ranges::any_of(members, [](const Member& m) { return m.oldNumber < 0; });
    for (std::size_t i = 0; i < members.size(); ++i)
        members[i].newNumber = anyNew ? static_cast<int>(i) : members[i].oldNumber;
}

void Session::DisconnectMoved(std::vector<Member>& members) {
    for (const Ref<UpstreamPin>& orphan : std::exchange(orphans, {})) orphan->Detach();
    // From the last one, so that the filter can give up the pins behind it.
    for (auto member = members.rbegin(); member != members.rend(); ++member) {
        if (member->oldNumber < 0 || member->oldNumber == member->newNumber) continue;
        member->layout = LayoutOf(member->oldNumber);
        (void)mixer->RemoveAllRects(member->oldNumber);
        member->stream->pin->Detach();
    }
}

HRESULT Session::BuildTypeFor(PadStream& stream, MediaType* type) {
    const Lock lock(mutex);
    if (!stream.format.IsSet()) return BuildStreamType(output, 0, type);
    if (!stream.typeIsKnown) {
        stream.typeRowWidth = stream.format.props.picProps.nWidth;
        stream.isConverted = NeedsConversion(stream);
    }
    stream.typeIsKnown = true;
    return BuildStreamType(MixedFormatOf(stream), stream.typeRowWidth, type);
}

HRESULT Session::ConnectMember(Member& member) {
    PadStream& stream = *member.stream;
    const std::vector<Ref<IPin>> pins = FilterPins();
    // The last one is the output.
    if (static_cast<std::size_t>(member.newNumber) + 1 >= pins.size()) return E_UNEXPECTED;
    MediaType type;
    HRESULT result = BuildTypeFor(stream, &type);
    if (Failed(result)) return result;
    result = stream.pin->Attach(pins[static_cast<std::size_t>(member.newNumber)].Get(), &*type);
    if (Failed(result)) return result;
    {
        const Lock lock(mutex);
        stream.streamNumber = member.newNumber;
    }
    const std::scoped_lock layout(layoutMutex);
    if (member.oldNumber >= 0) {
        SetLayout(member.newNumber, member.layout);
        return S_OK;
    }
    (void)mixer->RemoveAllRects(member.newNumber);
    (void)mixer->EnableStream(member.newNumber, 1);
    ApplyAllRects(stream);
    return S_OK;
}

HRESULT Session::Connect(std::vector<Member>& members) {
    NumberMembers(members);
    DisconnectMoved(members);
    for (Member& member : members) {
        if (!member.stream->pin->IsAttached()) {
            const HRESULT result = ConnectMember(member);
            if (Failed(result)) return result;
            g_object_notify(G_OBJECT(member.stream->pad), "stream-number");
        }
        ApplyStreamPolicy(member.newNumber, SettingsOf(*member.stream));
    }
    return S_OK;
}

HRESULT Session::ConnectOutput() {
    if (outputIsConnected) return S_OK;
    const std::vector<Ref<IPin>> pins = FilterPins();
    if (pins.empty()) return E_UNEXPECTED;
    const HRESULT result = pins.back()->Connect(outputPin.Get(), nullptr);
    outputIsConnected = Succeeded(result);
    return result;
}

void Session::ChooseMaster(const std::vector<Member>& members) {
    const std::string name = Settings().master;
    PadStream* chosen = nullptr;
    int number = -1;
    for (const Member& member : members) {
        if (name.empty() || name != GST_PAD_NAME(member.stream->pad)) continue;
        chosen = member.stream;
        number = member.newNumber;
    }
    const HRESULT result = mixer->SetMasterStream(number);
    if (Failed(result)) {
        GST_WARNING_OBJECT(element, "%s can't be the master: 0x%08x", name.c_str(),
                           static_cast<unsigned>(result));
        chosen = nullptr;
    }
    const Lock lock(mutex);
    master = chosen;
    masterPosition = 0;
}

HRESULT Session::RunFilter() {
    REFERENCE_TIME begin = 0;
    {
        const Lock lock(mutex);
        begin = static_cast<REFERENCE_TIME>(grid.StampOf(0) / kNsPerUnit);
        framesTaken = 0;
        for (const auto& stream : streams) {
            stream->isAligned = stream->isHeld = stream->hasPicture = false;
            stream->nextSlot = stream->baseFrame = 0;
            for (StreamRect& rect : stream->rects) rect.firstFrame = 0;
        }
    }
    // The filter takes the time of its start for that of its first frame.
    clock->Pretend(begin);
    const HRESULT result = filter->Run(begin);
    clock->Pretend(std::nullopt);
    return result;
}

// What a stream showed before goes on being shown until its next frame, or for good.
void Session::ShowOn(const std::vector<Member>& members) {
    for (const Member& member : members) {
        PadStream& stream = *member.stream;
        Lock lock(mutex);
        const bool isOver = stream.hasEnded || stream.isUnlinked;
        const bool isAhead =
            stream.pending &&
            grid.Snap(grid.ToMixer(stream.pending->start + stream.shift)) >= grid.Period();
        const bool isLost = stream.wasLost;
        const eVM_LostShow show = stream.settings.lostShow;
        // A frame of the master's would be one more of the output's.
        const bool showsOn = &stream != master && (isOver || isAhead || isLost);
        lock.unlock();
        if (showsOn) SendHeld(stream, 0);
        if (isOver) (void)stream.pin->SendEndOfStream();
        if (isLost || (isOver && stream.isUnlinked))
            (void)mixer->SetStreamLost(member.newNumber, show);
    }
}

// The last frame again for this slot of the filter's.
void Session::SendHeld(PadStream& stream, std::uint64_t slot) {
    HeldFrame held;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    {
        const Lock lock(mutex);
        if (!stream.lastFrame.buffer || !stream.typeIsKnown) return;
        held = stream.lastFrame;
        (void)gst_buffer_ref(held.buffer);
        start = static_cast<REFERENCE_TIME>(slot) * grid.Period();
        stop = start + grid.Period();
    }
    if (const Ref<WrappedSample> sample = stream.samples->Take();
        sample && sample->Wrap(held.buffer, held.offset, held.length)) {
        (void)sample->SetTime(&start, &stop);
        (void)stream.pin->Send(sample.Get());
        const Lock lock(mutex);
        stream.hasPicture = true;
        stream.nextSlot = slot + 1;
    }
    gst_buffer_unref(held.buffer);
}

// Streams that had nothing to show in all the time before the start and are not to be waited for
// any longer. Needs the mutex.
std::vector<PadStream*> Session::SilentStreams() const {
    constexpr std::int64_t kUnitsPerMs = 10000;
    constexpr std::int64_t kUnknownPeriod = 400000;
    std::vector<PadStream*> silent;
    for (const auto& stream : streams) {
        const std::int64_t period =
            stream->format.period > 0 ? stream->format.period : kUnknownPeriod;
        const std::int64_t wait = stream->settings.maxWait * period / kUnitsPerMs;
        if (!stream->pending && !stream->hasEnded && stream->settings.maxWait > 0 &&
            wait <= kStartPatience.count())
            silent.push_back(stream.get());
    }
    return silent;
}

void Session::MeasureUpstream(const std::vector<Member>& members) {
    bool anyLive = false;
    GstClockTime longest = 0;
    for (const Member& member : members) {
        GstQuery* query = gst_query_new_latency();
        if (gst_pad_peer_query(member.stream->pad, query)) {
            gboolean live = FALSE;
            GstClockTime min = 0;
            gst_query_parse_latency(query, &live, &min, nullptr);
            anyLive = anyLive || live;
            if (live) longest = std::max(longest, min);
        }
        gst_query_unref(query);
    }
    {
        const Lock lock(mutex);
        isLive = anyLive;
        upstreamLatency = longest;
    }
    (void)gst_element_post_message(element, gst_message_new_latency(GST_OBJECT(element)));
}

// Needs the stopped filter.
bool Session::ConnectAndRun(const std::vector<PadStream*>& silent) {
    std::vector<Member> members = Members();
    HRESULT result = Connect(members);
    if (Succeeded(result)) result = ConnectOutput();
    if (Succeeded(result) && !members.empty()) {
        ChooseMaster(members);
        result = RunFilter();
    }
    if (Failed(result)) {
        Fail("the mixer can't be started", result);
        StopFilter();
        const Lock lock(mutex);
        mode = Mode::kGathering;
        changed.notify_all();
        return false;
    }
    ShowOn(members);
    for (PadStream* stream : silent) {
        const int number = StreamNumberOf(*stream);
        if (number >= 0) (void)mixer->SetStreamLost(number, SettingsOf(*stream).lostShow);
    }
    MeasureUpstream(members);
    const Lock lock(mutex);
    mode = members.empty() ? Mode::kGathering : Mode::kRunning;
    changed.notify_all();
    return true;
}

// The earliest running time that a stream begins at. Needs the mutex.
GstClockTime Session::FirstTime() const {
    std::optional<GstClockTimeDiff> first;
    for (const auto& stream : streams)
        if (stream->pending && !stream->settings.ignoresTime)
            first = std::min(first.value_or(stream->pending->start), stream->pending->start);
    return static_cast<GstClockTime>(std::max<GstClockTimeDiff>(first.value_or(0), 0));
}

bool Session::StartFilter() {
    if (!filter) {
        Fail("there is no mixer", E_OUTOFMEMORY);
        return false;
    }
    if (!NegotiateOutput()) {
        TakeFlow(GST_FLOW_NOT_NEGOTIATED);
        return false;
    }
    std::vector<PadStream*> silent;
    {
        const Lock lock(mutex);
        silent = SilentStreams();
        int num = GST_VIDEO_INFO_FPS_N(&output.info);
        int den = GST_VIDEO_INFO_FPS_D(&output.info);
        REFERENCE_TIME period = output.period;
        if (period == 0) {
            num = 25;
            den = 1;
            period = 400000;
        }
        mode = Mode::kChanging;
        grid = TimeGrid(FirstTime(), num, den, period);
        wantsRestart = false;
        startDeadline.reset();
        // With the first frame, when the output's format is settled.
        backgroundChange = {.kind = Change::Kind::kMoved};
        orderChange = {.kind = Change::Kind::kMoved};
        anyChange = true;
    }
    PushHead();
    return ConnectAndRun(silent);
}

// Gets everything out of the filter that its streams have given it.
void Session::Drain() {
    const std::vector<Member> members = Members();
    Lock lock(mutex);
    const auto limit = std::chrono::steady_clock::now() + kDrainPatience;
    for (const Member& member : members) {
        PadStream& stream = *member.stream;
        if (stream.streamNumber < 0) continue;
        (void)changed.wait_until(lock, limit, [&] { return isQuitting || !stream.isInReceive; });
        if (isQuitting) return;
        const int number = stream.streamNumber;
        stream.wasLost = StatusOf(number).bLost != 0;
        const Ref<UpstreamPin> pin = stream.pin;
        lock.unlock();
        (void)mixer->LoopStream(number, 0, 0);
        (void)pin->SendEndOfStream();
        lock.lock();
    }
    if (!master) (void)changed.wait_until(lock, limit, [&] { return isQuitting || isDrained; });
}

// With the pads that are there now, the layout kept, and stamps that go on without a break.
void Session::Restart() {
    {
        const Lock lock(mutex);
        wantsRestart = isDrained = false;
        mode = Mode::kChanging;
        changed.notify_all();
    }
    Drain();
    StopFilter();
    {
        const Lock lock(mutex);
        if (isQuitting || isSeeking) {
            mode = Mode::kGathering;
            changed.notify_all();
            return;
        }
        grid.Advance(framesTaken);
        hasEnded = false;
    }
    (void)ConnectAndRun({});
}

void Session::StopFilter() {
    if (filter) (void)filter->Stop();
    Lock lock(mutex);
    // Threads that were inside find the filter stopped.
    changed.wait(lock, [&] {
        return std::ranges::none_of(streams, [](const auto& s) { return s->isInReceive; });
    });
    for (const auto& stream : streams) CarryCounts(*stream);
}

// For a seek, or because downstream takes nothing any more.
void Session::Halt() {
    StopFilter();
    const Lock lock(mutex);
    DropQueue();
    mode = Mode::kGathering;
    changed.notify_all();
}

void Session::CloseFilter() {
    StopFilter();
    if (!filter) return;
    for (const Ref<UpstreamPin>& orphan : std::exchange(orphans, {})) orphan->Detach();
    std::vector<Member> members = Members();
    for (auto member = members.rbegin(); member != members.rend(); ++member)
        member->stream->pin->Detach();
    {
        const Lock lock(mutex);
        for (const auto& stream : streams) stream->streamNumber = -1;
    }
    (void)mixer->SetMasterStream(-1);
    const std::vector<Ref<IPin>> pins = FilterPins();
    if (outputIsConnected && !pins.empty()) (void)pins.back()->Disconnect();
    outputIsConnected = false;
}

}  // namespace qdvm
