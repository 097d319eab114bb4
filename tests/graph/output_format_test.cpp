// What the output looks like for given inputs and requests, and how a change reaches a connection.

#include "frames/format_table.h"
#include "frames/media_type_map.h"
#include "support/graph_fakes.h"

#include <qdvideomixer/create.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace qdvm::test {
namespace {

class OutputFormatTest : public ::testing::Test {
protected:
    Ref<FakeSource> Connect(ULONG pin, const MediaType& type) {
        Ref<FakeSource> source = MakeObject<FakeSource>(type);
        EXPECT_EQ(source->ConnectTo(mixer.In(pin).Get()), S_OK);
        return source;
    }
    MediaType Current() const {
        const std::vector<MediaType> types = mixer.OutputTypes();
        return types.empty() ? MediaType() : types.front();
    }
    static PIC_PROPS PictureOf(const MediaType& type) {
        PIC_PROPS picture{};
        EXPECT_GE(ParseVideoMediaType(*type, &picture), 0);
        return picture;
    }
    HRESULT Ask(const VM_VIDEO_PROPS& props) { return mixer.control->SetOutputProps(&props); }

    MixerUnderTest mixer;
};

TEST_F(OutputFormatTest, ThereIsNoneBeforeTheFirstInput) {
    EXPECT_TRUE(mixer.OutputTypes().empty());
    EXPECT_EQ(Ask({}), S_OK);
    const MediaType type = Current();
    const PIC_PROPS picture = PictureOf(type);
    EXPECT_EQ(picture.fccType, kFccYUY2);
    EXPECT_EQ(picture.nWidth, 720);
    EXPECT_EQ(picture.nHeight, 576);
    EXPECT_NE(type.VideoInfo2(), nullptr);
}

TEST_F(OutputFormatTest, FollowsTheFirstConnectedStream) {
    Connect(0, VideoType(kFccRGB32, 640, 480));
    Connect(1, VideoType(kFccYUY2, 800, 600));
    const MediaType type = Current();
    const VIDEOINFOHEADER2* const info = type.VideoInfo2();
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(PictureOf(type).fccType, kFccRGB32);
    EXPECT_EQ(info->bmiHeader.biWidth, 640);
    EXPECT_EQ(info->dwInterlaceFlags, 0u);
    EXPECT_EQ(info->dwPictAspectRatioX, 4u);
    EXPECT_EQ(info->dwPictAspectRatioY, 3u);
    EXPECT_EQ(info->AvgTimePerFrame, kFrame);
    EXPECT_EQ(info->rcTarget.right, 640);
    EXPECT_EQ(info->rcTarget.bottom, 480);
    EXPECT_EQ(type->lSampleSize, 640u * 480 * 4);
}

TEST_F(OutputFormatTest, ARequestFillsWhatItNames) {
    Connect(0, VideoType(kFccRGB32, 640, -480));
    VM_VIDEO_PROPS wanted{};
    wanted.eInterlace = eVMI_Progressive;
    EXPECT_EQ(Ask(wanted), S_OK);
    EXPECT_NE(Current().VideoInfo(), nullptr);
    EXPECT_EQ(PictureOf(Current()).nHeight, 480);
    wanted.nAspectX = 16;
    wanted.nAspectY = 9;
    wanted.dblStreamFPS = 25.0;
    wanted.picProps.nWidth = 320;
    EXPECT_EQ(Ask(wanted), S_OK);
    const MediaType type = Current();
    ASSERT_NE(type.VideoInfo2(), nullptr);
    EXPECT_EQ(type.VideoInfo2()->dwPictAspectRatioX, 16u);
    EXPECT_EQ(PictureOf(type).nWidth, 640);  // the larger of the request's and the stream's
    EXPECT_EQ(AvgTimePerFrameOf(*type), 400000);
    VM_VIDEO_PROPS given{};
    EXPECT_EQ(mixer.control->GetOutputProps(1, &given), S_OK);
    EXPECT_EQ(given.picProps.nWidth, 320);
}

TEST_F(OutputFormatTest, CarriesTheFieldOrderAndTheReducedAspect) {
    Connect(0, VideoType(kFccYUY2, 720, 576, kFrame, 5));
    const MediaType type = Current();
    ASSERT_NE(type.VideoInfo2(), nullptr);
    EXPECT_EQ(type.VideoInfo2()->dwInterlaceFlags, 0x85u);
    EXPECT_EQ(type.VideoInfo2()->dwPictAspectRatioX, 5u);
    EXPECT_EQ(type.VideoInfo2()->dwPictAspectRatioY, 4u);
    VM_VIDEO_PROPS wanted{};
    wanted.eInterlace = eVMI_Field2First;
    EXPECT_EQ(Ask(wanted), S_OK);
    EXPECT_EQ(Current().VideoInfo2()->dwInterlaceFlags, 0x81u);
    // The other formats on offer carry only the two lower bits, and an unreduced aspect.
    const MediaType other = mixer.OutputTypes()[1];
    EXPECT_EQ(other.VideoInfo2()->dwInterlaceFlags, 1u);
    EXPECT_EQ(other.VideoInfo2()->dwPictAspectRatioX, 720u);
}

TEST_F(OutputFormatTest, TheFastestConnectedStreamSetsTheRate) {
    Connect(0, VideoType(kFccRGB32, 64, 32, 400000));
    const Ref<FakeSource> fast = Connect(1, VideoType(kFccRGB32, 64, 32, 200000));
    EXPECT_EQ(AvgTimePerFrameOf(*Current()), 200000);
    EXPECT_EQ(mixer.In(1)->Disconnect(), S_OK);
    EXPECT_EQ(AvgTimePerFrameOf(*Current()), 400000);
    EXPECT_EQ(mixer.control->SetMasterStream(0), S_OK);
    Connect(1, VideoType(kFccRGB32, 64, 32, 200000));
    EXPECT_EQ(AvgTimePerFrameOf(*Current()), 400000);
}

TEST_F(OutputFormatTest, OffersEveryFormatThatFitsInBothKindsOfBlock) {
    Connect(0, VideoType(kFccRGB32, 640, 480));
    const std::vector<MediaType> types = mixer.OutputTypes();
    std::vector<std::int32_t> expected;
    for (const VideoFormatEntry& entry : VideoFormatTable) {
        const PIC_PROPS picture = {entry.FccType(), 640, 480, 0};
        if (entry.FccType() != kFccRGB32 && IsMixableFormat(picture, true))
            expected.push_back(entry.FccType());
    }
    ASSERT_EQ(types.size(), 1 + 2 * expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const MediaType& type = types[1 + i];
        const MediaType& twin = types[1 + expected.size() + i];
        EXPECT_EQ(PictureOf(type).fccType, expected[i]);
        EXPECT_EQ(PictureOf(twin).fccType, expected[i]);
        EXPECT_EQ(type->formattype, FORMAT_VideoInfo2);
        EXPECT_EQ(twin->formattype, FORMAT_VideoInfo);
        EXPECT_EQ(AvgTimePerFrameOf(*twin), kFrame);
    }
}

TEST_F(OutputFormatTest, ARequestNarrowsTheOffers) {
    VM_VIDEO_PROPS wanted{};
    wanted.picProps.fccType = kFccUYVY;
    EXPECT_EQ(Ask(wanted), S_OK);
    EXPECT_EQ(mixer.OutputTypes().size(), 1u);
    EXPECT_EQ(mixer.Out()->QueryAccept(&*VideoType(kFccUYVY, 64, 32)), S_OK);
    EXPECT_EQ(mixer.Out()->QueryAccept(&*VideoType(kFccYUY2, 64, 32)), S_FALSE);

    wanted = {};
    wanted.picProps = {kFccRGB32, 321, 200, 0};
    EXPECT_EQ(Ask(wanted), S_OK);
    for (const MediaType& type : mixer.OutputTypes())
        EXPECT_TRUE(IsRGBFormat(PictureOf(type).fccType));
    wanted.picProps.fccType = 0;
    EXPECT_EQ(Ask(wanted), E_INVALIDARG);
    EXPECT_EQ(PictureOf(Current()).nWidth, 321);
}

TEST_F(OutputFormatTest, ARequestToAWorkingFilterIsOnlyCompared) {
    const Ref<FakeSource> source = Connect(0, VideoType(kFccRGB32, 64, 32));
    const Ref<FakeSink> sink = MakeObject<FakeSink>();
    ASSERT_EQ(mixer.Out()->Connect(sink.Get(), nullptr), S_OK);
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    VM_VIDEO_PROPS present{};
    ASSERT_EQ(mixer.control->GetOutputProps(0, &present), S_OK);
    EXPECT_EQ(Ask(present), S_FALSE);
    EXPECT_EQ(mixer.control->SetOutputProps(nullptr), S_FALSE);
    VM_VIDEO_PROPS wanted{};
    wanted.picProps.nHeight = -32;
    EXPECT_EQ(Ask(wanted), S_FALSE);
    wanted.picProps.nWidth = 66;
    EXPECT_EQ(Ask(wanted), VFW_E_NOT_STOPPED);
    wanted = {};
    wanted.dblStreamFPS = 50;
    EXPECT_EQ(Ask(wanted), VFW_E_NOT_STOPPED);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
    EXPECT_EQ(Ask(wanted), S_OK);
}

// --- in a graph ---

class ReconnectionTest : public OutputFormatTest {
protected:
    ReconnectionTest() {
        (void)CreateFilterGraph(IID_IFilterGraph2, graph.PutVoid());
        sink = MakeObject<FakeSink>();
        sinkFilter = MakeObject<PinFilter>(Ref<IPin>(sink));
        EXPECT_EQ(graph->AddFilter(mixer.filter.Get(), u"mixer"), S_OK);
        EXPECT_EQ(graph->AddFilter(sinkFilter.Get(), u"sink"), S_OK);
        source = Connect(0, VideoType(kFccRGB32, 640, 480));
        EXPECT_EQ(graph->ConnectDirect(mixer.Out().Get(), sink.Get(), nullptr), S_OK);
        EXPECT_EQ(mixer.Show(0, 0, 0, 640, 480), S_OK);
    }

    Ref<IFilterGraph2> graph;
    Ref<FakeSink> sink;
    Ref<PinFilter> sinkFilter;
    Ref<FakeSource> source;
};

TEST_F(ReconnectionTest, ARequestReachesTheConnectionAndScalesTheLayout) {
    VM_VIDEO_PROPS wanted{};
    wanted.picProps = {0, 320, 240, 0};
    EXPECT_EQ(Ask(wanted), S_OK);
    EXPECT_EQ(sink->connections, 2);
    EXPECT_EQ(sink->disconnections, 1);
    EXPECT_EQ(PictureOf(sink->type).nWidth, 320);
    VM_MIXING_RECT rect{};
    EXPECT_EQ(mixer.control->GetInputRect(0, 0, &rect), S_OK);
    EXPECT_EQ(rect.rcTarget.right, 320);
    EXPECT_EQ(rect.rcTarget.bottom, 240);
    EXPECT_EQ(rect.rcSource.right, 640);
    // What is there already is not made again.
    EXPECT_EQ(Ask(wanted), S_OK);
    EXPECT_EQ(sink->connections, 2);
}

TEST_F(ReconnectionTest, ARefusedFormatLeavesTheOldConnection) {
    sink->accepts = [](const AM_MEDIA_TYPE& type) {
        PIC_PROPS picture{};
        return ParseVideoMediaType(type, &picture) >= 0 && picture.nWidth == 640;
    };
    VM_VIDEO_PROPS wanted{};
    wanted.picProps = {0, 320, 240, 0};
    EXPECT_EQ(Ask(wanted), S_OK);
    VM_VIDEO_PROPS present{};
    EXPECT_EQ(mixer.control->GetOutputProps(0, &present), S_OK);
    Ref<IPin> peer;
    const bool isConnected = mixer.Out()->ConnectedTo(peer.Put()) == S_OK;
    EXPECT_EQ(isConnected, sink->peer == mixer.Out().Get());
    EXPECT_EQ(mixer.filter->Pause(), isConnected ? S_OK : VFW_E_NOT_CONNECTED);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(ReconnectionTest, AnInputThatLeavesChangesTheConnection) {
    Connect(1, VideoType(kFccRGB32, 800, 600));
    // Connecting alone does not touch the output.
    EXPECT_EQ(sink->connections, 1);
    EXPECT_EQ(mixer.In(0)->Disconnect(), S_OK);
    EXPECT_EQ(sink->connections, 2);
    EXPECT_EQ(PictureOf(sink->type).nWidth, 800);
}

TEST_F(ReconnectionTest, TheOnlySourceCanBeExchanged) {
    EXPECT_EQ(mixer.In(0)->Disconnect(), S_OK);
    EXPECT_EQ(sink->connections, 1);
    EXPECT_EQ(PictureOf(Current()).nWidth, 640);
    Connect(0, VideoType(kFccYUY2, 320, 240));
    EXPECT_EQ(sink->connections, 1);
    EXPECT_EQ(PictureOf(sink->type).fccType, kFccRGB32);
    EXPECT_EQ(PictureOf(sink->type).nWidth, 640);
}

TEST_F(ReconnectionTest, TheMasterStreamsRateReachesTheConnection) {
    Connect(1, VideoType(kFccRGB32, 64, 32, 200000));
    EXPECT_EQ(AvgTimePerFrameOf(*sink->type), 400000);
    EXPECT_EQ(mixer.control->SetMasterStream(1), S_OK);
    EXPECT_EQ(AvgTimePerFrameOf(*sink->type), 200000);
    EXPECT_EQ(mixer.control->SetMasterStream(1), S_FALSE);
}

}  // namespace
}  // namespace qdvm::test
