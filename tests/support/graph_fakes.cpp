#include "support/graph_fakes.h"

#include "frames/media_type_map.h"
#include "graph/ds_enum.h"
#include "support/temporary_directory.h"

#include <qdvideomixer/create.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace qdvm::test {
namespace {

// Settings of the test's own, set before any thread starts: a stream reads them when it is made,
// and the user's are none of a test's business.
class OwnSettings {
public:
    OwnSettings() { (void)setenv("QDVM_SETTINGS_DIR", directory.Path().c_str(), 1); }

private:
    TemporaryDirectory directory;
};

const OwnSettings kOwnSettings;

// The types that a fake pin offers, at the time of the call.
class OfferedTypes {
public:
    using Interface = IEnumMediaTypes;
    using Item = AM_MEDIA_TYPE;

    explicit OfferedTypes(std::vector<MediaType> offered) : types(std::move(offered)) {}
    HRESULT Get(ULONG index, AM_MEDIA_TYPE** type) const {
        if (index >= types.size()) return S_FALSE;
        *type = types[index].NewCopy();
        return S_OK;
    }
    static void GiveBack(AM_MEDIA_TYPE* type) { DeleteMediaType(type); }

private:
    std::vector<MediaType> types;
};

class OnePin {
public:
    using Interface = IEnumPins;
    using Item = IPin;

    explicit OnePin(Ref<IPin> only) : pin(std::move(only)) {}
    HRESULT Get(ULONG index, IPin** out) const {
        if (index > 0) return S_FALSE;
        pin.CopyTo(out);
        return S_OK;
    }
    static void GiveBack(IPin* out) { (void)out->Release(); }

private:
    Ref<IPin> pin;
};

}  // namespace

MediaType VideoType(std::int32_t fcc, std::int32_t width, std::int32_t height,
                    REFERENCE_TIME frameTime, std::int32_t interlaceFlags) {
    MediaType type;
    const GUID format = interlaceFlags < 0 ? FORMAT_VideoInfo : FORMAT_VideoInfo2;
    (void)BuildVideoMediaType(&type, fcc, format, width, height, 0, false);
    if (VIDEOINFOHEADER2* const info2 = type.VideoInfo2()) {
        info2->AvgTimePerFrame = frameTime;
        info2->dwInterlaceFlags = static_cast<DWORD>(interlaceFlags);
    } else if (VIDEOINFOHEADER* const info = type.VideoInfo()) {
        info->AvgTimePerFrame = frameTime;
    }
    return type;
}

PinFilter::PinFilter(Ref<IPin> onlyPin) : pin(std::move(onlyPin)) {
    static_cast<FakePin*>(pin.Get())->filter = this;
}

PinFilter::~PinFilter() { static_cast<FakePin*>(pin.Get())->filter = nullptr; }

HRESULT PinFilter::GetClassID(CLSID* classId) {
    *classId = GUID_NULL;
    return S_OK;
}

HRESULT PinFilter::Stop() {
    state = State_Stopped;
    if (onState) onState(State_Stopped);
    return S_OK;
}

HRESULT PinFilter::Pause() {
    state = State_Paused;
    if (onState) onState(State_Paused);
    return S_OK;
}

HRESULT PinFilter::Run(REFERENCE_TIME) {
    state = State_Running;
    if (onState) onState(State_Running);
    return S_OK;
}

HRESULT PinFilter::GetState(DWORD, FILTER_STATE* out) {
    *out = state;
    return S_OK;
}

HRESULT PinFilter::SetSyncSource(IReferenceClock*) { return S_OK; }

HRESULT PinFilter::GetSyncSource(IReferenceClock** clock) {
    *clock = nullptr;
    return S_OK;
}

HRESULT PinFilter::EnumPins(IEnumPins** pins) {
    return CComDSEnum<OnePin>::Make(OnePin(pin), pins);
}

HRESULT PinFilter::FindPin(LPCOLESTR, IPin** out) {
    *out = nullptr;
    return VFW_E_NOT_FOUND;
}

HRESULT PinFilter::QueryFilterInfo(FILTER_INFO* info) {
    *info = {};
    info->pGraph = graph;
    if (graph) (void)graph->AddRef();
    return S_OK;
}

HRESULT PinFilter::JoinFilterGraph(IFilterGraph* newGraph, LPCOLESTR) {
    graph = newGraph;
    return S_OK;
}

HRESULT PinFilter::QueryVendorInfo(LPOLESTR*) { return E_NOTIMPL; }

HRESULT FakePin::ConnectedTo(IPin** out) {
    const std::lock_guard guard(connectionMutex);
    peer.CopyTo(out);
    return peer ? S_OK : VFW_E_NOT_CONNECTED;
}

HRESULT FakePin::ConnectionMediaType(AM_MEDIA_TYPE* out) {
    const std::lock_guard guard(connectionMutex);
    return peer ? type.CopyTo(out) : VFW_E_NOT_CONNECTED;
}

HRESULT FakePin::QueryPinInfo(PIN_INFO* info) {
    *info = {};
    info->dir = direction;
    info->pFilter = filter;
    if (filter) (void)filter->AddRef();
    return S_OK;
}

HRESULT FakePin::QueryDirection(PIN_DIRECTION* out) {
    *out = direction;
    return S_OK;
}

HRESULT FakePin::QueryId(LPOLESTR* id) {
    *id = nullptr;
    return E_NOTIMPL;
}

HRESULT FakePin::EnumMediaTypes(IEnumMediaTypes** types) {
    return CComDSEnum<OfferedTypes>::Make(OfferedTypes(offeredTypes), types);
}

HRESULT FakeSource::Connect(IPin* receiver, const AM_MEDIA_TYPE* with) {
    const MediaType wanted = with ? MediaType(*with) : type;
    const HRESULT result = receiver->ReceiveConnection(this, &*wanted);
    if (Failed(result)) return result;
    type = wanted;
    peer = receiver;
    input = Ref<IPin>(receiver).As<IMemInputPin>();
    HRESULT agreed = input->GetAllocator(allocator.Put());
    if (Failed(agreed)) return agreed;
    ALLOCATOR_PROPERTIES request = {buffers, static_cast<LONG>(type->lSampleSize), 1, 0};
    agreed = allocator->SetProperties(&request, &actual);
    if (Failed(agreed)) return agreed;
    agreed = input->NotifyAllocator(allocator.Get(), 0);
    return Failed(agreed) ? agreed : allocator->Commit();
}

HRESULT FakeSource::Disconnect() {
    if (!peer) return S_FALSE;
    if (allocator) (void)allocator->Decommit();
    allocator.Reset();
    input.Reset();
    peer.Reset();
    return S_OK;
}

HRESULT FakeSource::ChangeType(const MediaType& newType) {
    const HRESULT result = peer->ReceiveConnection(this, &*newType);
    if (Failed(result)) return result;
    type = newType;
    // Room for the new format: the old buffers are given up.
    (void)allocator->Decommit();
    if (Failed(input->GetAllocator(allocator.Put()))) return E_FAIL;
    ALLOCATOR_PROPERTIES request = {buffers, static_cast<LONG>(type->lSampleSize), 1, 0};
    (void)allocator->SetProperties(&request, &actual);
    (void)input->NotifyAllocator(allocator.Get(), 0);
    return allocator->Commit();
}

Ref<IMediaSample> FakeSource::Buffer() {
    Ref<IMediaSample> sample;
    if (!allocator || Failed(allocator->GetBuffer(sample.Put(), nullptr, nullptr, 0))) return {};
    return sample;
}

Ref<IMediaSample> FakeSource::Picture(BYTE value, REFERENCE_TIME start, REFERENCE_TIME stop) {
    Ref<IMediaSample> sample = Buffer();
    if (!sample) return {};
    BYTE* data = nullptr;
    (void)sample->GetPointer(&data);
    std::memset(data, value, static_cast<std::size_t>(sample->GetSize()));
    (void)sample->SetActualDataLength(sample->GetSize());
    if (start >= 0) (void)sample->SetTime(&start, &stop);
    return sample;
}

HRESULT FakeSource::SendPicture(BYTE value, REFERENCE_TIME start, REFERENCE_TIME stop) {
    const Ref<IMediaSample> sample = Picture(value, start, stop);
    return sample ? Send(sample.Get()) : VFW_E_NOT_COMMITTED;
}

HRESULT FakeSource::QueryInterface(REFIID iid, void** object) {
    if (iid == IID_IMediaSeeking && seeking) return seeking->QueryInterface(iid, object);
    return FakePin::QueryInterface(iid, object);
}

HRESULT FakeSink::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* offered) {
    if (accepts && !accepts(*offered)) return VFW_E_TYPE_NOT_ACCEPTED;
    const std::lock_guard guard(connectionMutex);
    (void)type.Assign(offered);
    peer = connector;
    ++connections;
    return S_OK;
}

HRESULT FakeSink::Disconnect() {
    const std::lock_guard guard(connectionMutex);
    if (!peer) return S_FALSE;
    allocator.Reset();
    peer.Reset();
    ++disconnections;
    return S_OK;
}

HRESULT FakeSink::EndOfStream() {
    const std::lock_guard guard(mutex);
    ++ends;
    changed.notify_all();
    return S_OK;
}

HRESULT FakeSink::BeginFlush() {
    ++flushesBegun;
    return S_OK;
}

HRESULT FakeSink::EndFlush() {
    ++flushesEnded;
    return S_OK;
}

bool FakeSink::WaitForFrames(std::size_t wanted) {
    std::unique_lock guard(mutex);
    return changed.wait_for(guard, kGenerous, [&] { return count >= wanted; });
}

bool FakeSink::WaitForEnds(std::size_t wanted) {
    std::unique_lock guard(mutex);
    return changed.wait_for(guard, kGenerous, [&] { return ends >= wanted; });
}

std::size_t FakeSink::FrameCount() const {
    const std::lock_guard guard(mutex);
    return count;
}

TakenFrame FakeSink::Frame(std::size_t index) const {
    const std::lock_guard guard(mutex);
    return frames.at(index);
}

TakenFrame FakeSink::LastFrame() const {
    const std::lock_guard guard(mutex);
    return frames.empty() ? TakenFrame{} : frames.back();
}

void FakeSink::Close() {
    const std::lock_guard guard(mutex);
    isClosed = true;
}

void FakeSink::Open() {
    const std::lock_guard guard(mutex);
    isClosed = false;
    changed.notify_all();
}

bool FakeSink::WaitForBlocked() {
    std::unique_lock guard(mutex);
    return changed.wait_for(guard, kGenerous, [&] { return blocked > 0; });
}

void* FakeSink::FindOther(REFIID iid) {
    return iid == IID_IMemInputPin ? static_cast<IMemInputPin*>(&memInput) : nullptr;
}

HRESULT FakeSink::Take(IMediaSample* sample) {
    if (onFrame) onFrame(sample);
    TakenFrame frame;
    if (keepsData) {
        BYTE* data = nullptr;
        if (Succeeded(sample->GetPointer(&data)))
            frame.data.assign(data, data + sample->GetActualDataLength());
        (void)sample->GetTime(&frame.start, &frame.stop);
        LONGLONG mediaStop = 0;
        (void)sample->GetMediaTime(&frame.mediaStart, &mediaStop);
        frame.isDiscontinuity = sample->IsDiscontinuity() == S_OK;
        frame.isSyncPoint = sample->IsSyncPoint() == S_OK;
    }
    std::unique_lock guard(mutex);
    if (keepsData) frames.push_back(std::move(frame));
    ++count;
    ++blocked;
    changed.notify_all();
    changed.wait(guard, [&] { return !isClosed; });
    --blocked;
    return receiveResult;
}

HRESULT FakeSink::MemInput::QueryInterface(REFIID iid, void** object) {
    return sink.QueryInterface(iid, object);
}

ULONG FakeSink::MemInput::AddRef() { return sink.AddRef(); }

ULONG FakeSink::MemInput::Release() { return sink.Release(); }

HRESULT FakeSink::MemInput::GetAllocator(IMemAllocator** out) {
    sink.ownAllocator.CopyTo(out);
    return *out ? S_OK : VFW_E_NO_ALLOCATOR;
}

HRESULT FakeSink::MemInput::NotifyAllocator(IMemAllocator* offered, BOOL) {
    const std::lock_guard guard(sink.connectionMutex);
    if (sink.notifyResult == S_OK) sink.allocator = offered;
    return sink.notifyResult;
}

HRESULT FakeSink::MemInput::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props) {
    *props = sink.requirements;
    return sink.requirementsResult;
}

HRESULT FakeSink::MemInput::Receive(IMediaSample* sample) { return sink.Take(sample); }

MixerUnderTest::MixerUnderTest() {
    (void)CreateQDVideoMixer(IID_IBaseFilter, filter.PutVoid());
    (void)filter->QueryInterface(IID_IQDVideoMixer, control.PutVoid());
}

Ref<IPin> MixerUnderTest::In(ULONG number) const {
    return number < InputCount() ? [&] {
        Ref<IEnumPins> pins;
        (void)filter->EnumPins(pins.Put());
        (void)pins->Skip(number);
        Ref<IPin> pin;
        (void)pins->Next(1, pin.Put(), nullptr);
        return pin;
    }()
                                 : Ref<IPin>();
}

Ref<IPin> MixerUnderTest::Out() const {
    Ref<IPin> pin;
    (void)filter->FindPin(u"Mixed Out", pin.Put());
    return pin;
}

ULONG MixerUnderTest::InputCount() const {
    Ref<IEnumPins> pins;
    (void)filter->EnumPins(pins.Put());
    ULONG count = 0;
    for (;;) {
        Ref<IPin> pin;
        if (pins->Next(1, pin.Put(), nullptr) != S_OK) return count - 1;
        ++count;
    }
}

std::vector<MediaType> MixerUnderTest::OutputTypes() const {
    std::vector<MediaType> all;
    Ref<IEnumMediaTypes> types;
    (void)Out()->EnumMediaTypes(types.Put());
    for (;;) {
        AM_MEDIA_TYPE* type = nullptr;
        if (types->Next(1, &type, nullptr) != S_OK) return all;
        all.emplace_back(*type);
        DeleteMediaType(type);
    }
}

HRESULT MixerUnderTest::Show(LONG stream, LONG left, LONG top, LONG width, LONG height) {
    VM_MIXING_RECT rect{};
    rect.rcSource = {0, 0, width, height};
    rect.rcTarget = {left, top, left + width, top + height};
    rect.dblAlpha = 1.0;
    LONG number = 0;
    const HRESULT result = control->SetInputRect(stream, &number, &rect);
    return Failed(result) ? result : control->EnableStream(stream, 1);
}

}  // namespace qdvm::test
