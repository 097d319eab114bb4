// The output pin: connecting, agreeing on an allocator, and neighbours that can't be trusted.

#include "frames/format_table.h"
#include "frames/media_type_map.h"
#include "graph/allocator_negotiation.h"
#include "graph/sample_allocator.h"
#include "support/graph_fakes.h"

#include <gtest/gtest.h>

#include <utility>

namespace qdvm::test {
namespace {

class OutputPinTest : public ::testing::Test {
protected:
    OutputPinTest() : source(MakeObject<FakeSource>(VideoType(kFccRGB32, 64, 32))) {
        EXPECT_EQ(source->ConnectTo(mixer.In(0).Get()), S_OK);
        sink = MakeObject<FakeSink>();
    }

    HRESULT Connect(const AM_MEDIA_TYPE* type = nullptr) {
        return mixer.Out()->Connect(sink.Get(), type);
    }
    bool IsConnected() const {
        Ref<IPin> peer;
        return mixer.Out()->ConnectedTo(peer.Put()) == S_OK;
    }

    MixerUnderTest mixer;
    Ref<FakeSource> source;
    Ref<FakeSink> sink;
};

TEST_F(OutputPinTest, ConnectsWithTheTypeGiven) {
    EXPECT_EQ(mixer.Out()->Connect(nullptr, nullptr), E_POINTER);
    const MediaType other = VideoType(kFccYUY2, 80, 60);
    EXPECT_EQ(Connect(&*other), S_OK);
    EXPECT_TRUE(other == sink->type);
    VM_VIDEO_PROPS props{};
    EXPECT_EQ(mixer.control->GetOutputProps(0, &props), S_OK);
    EXPECT_EQ(props.picProps.fccType, kFccYUY2);
    EXPECT_EQ(props.picProps.nWidth, 80);
    EXPECT_EQ(Connect(&*other), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(mixer.Out()->Disconnect(), S_OK);
    EXPECT_EQ(mixer.Out()->Disconnect(), S_FALSE);
    EXPECT_EQ(sink->disconnections, 1);
    // Unconnected, the output follows its inputs again.
    EXPECT_EQ(mixer.control->GetOutputProps(0, &props), S_OK);
    EXPECT_EQ(props.picProps.nWidth, 64);
    EXPECT_EQ(Connect(&*VideoType(kFccNV12, 80, 60)), VFW_E_TYPE_NOT_ACCEPTED);
}

TEST_F(OutputPinTest, TriesTheReceiversTypesFirst) {
    sink->offeredTypes = {VideoType(kFccV210, 96, 32), VideoType(kFccUYVY, 64, 32)};
    EXPECT_EQ(Connect(), S_OK);
    PIC_PROPS picture{};
    EXPECT_GE(ParseVideoMediaType(*sink->type, &picture), 0);
    EXPECT_EQ(picture.fccType, kFccUYVY);
}

TEST_F(OutputPinTest, FallsBackOnItsOwnTypes) {
    sink->accepts = [](const AM_MEDIA_TYPE& type) {
        return type.subtype == SubtypeOf(kFccI420) && type.formattype == FORMAT_VideoInfo;
    };
    EXPECT_EQ(Connect(), S_OK);
    VM_VIDEO_PROPS props{};
    EXPECT_EQ(mixer.control->GetOutputProps(0, &props), S_OK);
    EXPECT_EQ(props.picProps.fccType, kFccI420);
    EXPECT_EQ(mixer.Out()->Disconnect(), S_OK);

    sink->accepts = [](const AM_MEDIA_TYPE&) { return false; };
    EXPECT_EQ(Connect(), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_FALSE(IsConnected());
    EXPECT_EQ(mixer.control->GetOutputProps(0, &props), S_OK);
    EXPECT_EQ(props.picProps.fccType, kFccRGB32);
}

TEST_F(OutputPinTest, AConnectionWithoutAnAllocatorIsNone) {
    sink->notifyResult = S_FALSE;
    EXPECT_EQ(Connect(), E_FAIL);
    EXPECT_FALSE(IsConnected());
    EXPECT_FALSE(sink->peer);
    EXPECT_EQ(sink->disconnections, 1);
    sink->notifyResult = S_OK;
    EXPECT_EQ(Connect(), S_OK);
}

TEST_F(OutputPinTest, AnswersWhatItDoesNotDo) {
    const Ref<IPin> out = mixer.Out();
    EXPECT_EQ(out->ReceiveConnection(source.Get(), &*source->type), E_NOTIMPL);
    EXPECT_EQ(out->EndOfStream(), E_NOTIMPL);
    EXPECT_EQ(out->BeginFlush(), E_NOTIMPL);
    EXPECT_EQ(out->EndFlush(), E_NOTIMPL);
    EXPECT_EQ(out->NewSegment(0, 0, 1), E_NOTIMPL);
    EXPECT_FALSE(out.As<IMediaSeeking>());
    EXPECT_FALSE(out.As<IMemInputPin>());
    const Ref<IQualityControl> quality = out.As<IQualityControl>();
    ASSERT_TRUE(quality);
    EXPECT_EQ(quality->Notify(nullptr, {}), S_OK);
    EXPECT_EQ(quality->SetSink(nullptr), E_NOTIMPL);
    EXPECT_EQ(mixer.In(0).As<IQualityControl>()->Notify(nullptr, {}), E_NOTIMPL);
}

// --- neighbours that lie ---

// Takes any connection, but is no frame input, and gives what it is told to give as types.
class HostilePin final : public FakePin {
public:
    HostilePin() : FakePin(PINDIR_INPUT) {}

    HRESULT ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return connectResult; }
    HRESULT QueryDirection(PIN_DIRECTION* out) override {
        *out = PINDIR_INPUT;
        return directionResult;
    }
    HRESULT EnumMediaTypes(IEnumMediaTypes** types) override {
        *types = nullptr;
        if (isEndless) *types = MakeObject<Endless>().Detach();
        return S_OK;
    }
    HRESULT Disconnect() override { return E_FAIL; }

    // Never comes to an end, and its types lie about their blocks.
    class Endless final : public ObjectRoot<IEnumMediaTypes> {
    public:
        HRESULT Next(ULONG, AM_MEDIA_TYPE** types, ULONG*) override {
            *types = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
            **types = {};
            (*types)->majortype = MEDIATYPE_Video;
            (*types)->subtype = SubtypeOf(kFccRGB32);
            (*types)->formattype = FORMAT_VideoInfo;
            (*types)->cbFormat = 0xFFFFFFFF;
            return S_OK;
        }
        HRESULT Skip(ULONG) override { return S_OK; }
        HRESULT Reset() override { return E_FAIL; }
        HRESULT Clone(IEnumMediaTypes**) override { return E_NOTIMPL; }
    };

    HRESULT connectResult = S_OK;
    HRESULT directionResult = S_OK;
    bool isEndless = false;
};

TEST_F(OutputPinTest, NeighboursThatLieGetNoConnection) {
    const Ref<HostilePin> pin = MakeObject<HostilePin>();
    EXPECT_EQ(mixer.Out()->Connect(pin.Get(), nullptr), E_NOINTERFACE);
    EXPECT_FALSE(IsConnected());
    pin->isEndless = true;
    pin->connectResult = S_FALSE;
    EXPECT_EQ(mixer.Out()->Connect(pin.Get(), nullptr), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_EQ(mixer.Out()->Connect(pin.Get(), &*VideoType(kFccYUY2, 64, 32)),
              VFW_E_TYPE_NOT_ACCEPTED);
    pin->directionResult = E_FAIL;
    EXPECT_EQ(mixer.Out()->Connect(pin.Get(), nullptr), VFW_E_INVALID_DIRECTION);
    EXPECT_EQ(mixer.Out()->Connect(mixer.Out().Get(), nullptr), VFW_E_INVALID_DIRECTION);
    EXPECT_EQ(Connect(), S_OK);
}

// --- the allocator ---

// Accepts everything and reports what it likes.
class LyingAllocator final : public ObjectRoot<IMemAllocator> {
public:
    explicit LyingAllocator(ALLOCATOR_PROPERTIES told) : report(told) {}
    HRESULT SetProperties(ALLOCATOR_PROPERTIES*, ALLOCATOR_PROPERTIES* actual) override {
        *actual = report;
        return result;
    }
    HRESULT GetProperties(ALLOCATOR_PROPERTIES* props) override {
        *props = report;
        return S_OK;
    }
    HRESULT Commit() override { return S_OK; }
    HRESULT Decommit() override { return S_OK; }
    HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME*, REFERENCE_TIME*, DWORD) override {
        *sample = nullptr;
        return S_OK;
    }
    HRESULT ReleaseBuffer(IMediaSample*) override { return S_OK; }

    ALLOCATOR_PROPERTIES report;
    HRESULT result = S_OK;
};

class NegotiationTest : public ::testing::Test {
protected:
    AgreedAllocator Agree(const ALLOCATOR_PROPERTIES& asked, HRESULT asking = S_OK) {
        sink->requirements = asked;
        sink->requirementsResult = asking;
        AgreedAllocator agreed;
        const Ref<IMemInputPin> input = sink.As<IMemInputPin>();
        EXPECT_EQ(NegotiateAllocator(*input, 1000, &agreed), S_OK);
        EXPECT_TRUE(agreed.allocator == sink->allocator.Get());
        return agreed;
    }

    Ref<FakeSink> sink = MakeObject<FakeSink>();
};

TEST_F(NegotiationTest, TakesTheLargerOfBothWishes) {
    sink->ownAllocator = Ref<IMemAllocator>(MakeObject<PlainMemoryAllocator>());
    AgreedAllocator agreed = Agree({3, 10, 0, 0});
    EXPECT_EQ(agreed.mode, AllocatorMode::kPeer);
    EXPECT_EQ(agreed.properties.cBuffers, 8);
    EXPECT_EQ(agreed.properties.cbBuffer, 1000);
    EXPECT_EQ(agreed.properties.cbAlign, 1);
    agreed = Agree({9, 5000, 64, 16});
    EXPECT_EQ(agreed.properties.cBuffers, 9);
    EXPECT_GE(agreed.properties.cbBuffer, 5000);
    EXPECT_EQ(agreed.properties.cbAlign, 64);
    EXPECT_EQ(agreed.properties.cbPrefix, 16);
    // A wish that failed is none, and neither are negative ones.
    EXPECT_EQ(Agree({9, 5000, 64, 16}, E_FAIL).properties.cBuffers, 8);
    EXPECT_EQ(Agree({-9, -5, -64, -16}).properties.cbBuffer, 1000);
}

TEST_F(NegotiationTest, AnAllocatorThatFallsShortIsReplaced) {
    for (const ALLOCATOR_PROPERTIES& told :
         {ALLOCATOR_PROPERTIES{7, 1000, 1, 0}, ALLOCATOR_PROPERTIES{8, 999, 1, 0},
          ALLOCATOR_PROPERTIES{8, 1000, 0, 0}, ALLOCATOR_PROPERTIES{8, 1000, 3, 0},
          ALLOCATOR_PROPERTIES{8, 1000, 1, -1}}) {
        sink->ownAllocator = Ref<IMemAllocator>(MakeObject<LyingAllocator>(told));
        EXPECT_EQ(Agree({}).mode, AllocatorMode::kOwn);
    }
    const Ref<LyingAllocator> half =
        MakeObject<LyingAllocator>(ALLOCATOR_PROPERTIES{8, 1000, 1, 0});
    half->result = S_FALSE;
    sink->ownAllocator = half;
    EXPECT_EQ(Agree({}).mode, AllocatorMode::kOwn);
    half->result = S_OK;
    EXPECT_EQ(Agree({}).mode, AllocatorMode::kPeer);
}

TEST_F(OutputPinTest, AnAllocatorThatGivesNoSampleGivesNoFrame) {
    sink->ownAllocator =
        Ref<IMemAllocator>(MakeObject<LyingAllocator>(ALLOCATOR_PROPERTIES{100, 1 << 20, 1, 0}));
    ASSERT_EQ(Connect(), S_OK);
    ASSERT_EQ(mixer.control->SetMasterStream(0), S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    EXPECT_EQ(source->SendPicture(1, 0, kFrame), S_OK);
    EXPECT_EQ(sink->FrameCount(), 0u);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

// --- the format during delivery ---

TEST_F(OutputPinTest, TheReceiverMayChangeTheFormat) {
    const Ref<PlainMemoryAllocator> allocator = MakeObject<PlainMemoryAllocator>();
    sink->ownAllocator = allocator;
    sink->requirementsResult = S_OK;
    sink->requirements.cbBuffer = 1 << 16;
    ASSERT_EQ(Connect(), S_OK);
    ASSERT_EQ(mixer.control->SetMasterStream(0), S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    ASSERT_EQ(source->SendPicture(1, 0, kFrame), S_OK);
    EXPECT_EQ(sink->LastFrame().data.size(), 64u * 32 * 4);

    const MediaType larger = VideoType(kFccRGB32, 96, 48);
    EXPECT_EQ(allocator->SetNextSampleMediaType(&*larger), S_OK);
    ASSERT_EQ(source->SendPicture(1, kFrame, 2 * kFrame), S_OK);
    EXPECT_EQ(sink->LastFrame().data.size(), 96u * 48 * 4);
    VM_VIDEO_PROPS props{};
    EXPECT_EQ(mixer.control->GetOutputProps(0, &props), S_OK);
    EXPECT_EQ(props.picProps.nWidth, 96);

    // One that can't be made gives no frame, and the old one stays.
    EXPECT_EQ(allocator->SetNextSampleMediaType(&*VideoType(kFccV210, 96, 48)), S_OK);
    EXPECT_EQ(source->SendPicture(1, 2 * kFrame, 3 * kFrame), S_OK);
    EXPECT_EQ(sink->FrameCount(), 2u);
    ASSERT_EQ(source->SendPicture(1, 3 * kFrame, 4 * kFrame), S_OK);
    EXPECT_EQ(sink->LastFrame().data.size(), 96u * 48 * 4);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

}  // namespace
}  // namespace qdvm::test
