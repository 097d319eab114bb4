// Formats, layouts in memory, and their changes.

#include "gstreamer/mix_pipeline.h"

#include <qdvideomixer/video_mixer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <set>

namespace qdvm::test {
namespace {

// A buffer whose rows lie `padding` bytes further apart than they need to, and which says so. The
// picture's bytes are `value`, all others 0xEE.
GstBuffer* PaddedBuffer(const std::string& text, int padding, int value) {
    GstCaps* caps = gst_caps_from_string(text.c_str());
    GstVideoInfo info;
    EXPECT_TRUE(gst_video_info_from_caps(&info, caps));
    gst_caps_unref(caps);
    gsize offset[GST_VIDEO_MAX_PLANES] = {};
    gint stride[GST_VIDEO_MAX_PLANES] = {};
    gsize size = 16;
    const guint planes = GST_VIDEO_INFO_N_PLANES(&info);
    for (guint plane = 0; plane < planes; ++plane) {
        offset[plane] = size;
        stride[plane] = GST_VIDEO_INFO_PLANE_STRIDE(&info, plane) + padding;
        size += static_cast<gsize>(stride[plane]) *
                static_cast<gsize>(GST_VIDEO_INFO_COMP_HEIGHT(&info, plane));
    }
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, size, nullptr);
    (void)gst_buffer_memset(buffer, 0, 0xEE, size);
    (void)gst_buffer_add_video_meta_full(
        buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_INFO_FORMAT(&info),
        static_cast<guint>(info.width), static_cast<guint>(info.height), planes, offset, stride);
    for (guint plane = 0; plane < planes; ++plane)
        for (int line = 0; line < GST_VIDEO_INFO_COMP_HEIGHT(&info, plane); ++line)
            (void)gst_buffer_memset(
                buffer,
                offset[plane] + static_cast<gsize>(line) * static_cast<gsize>(stride[plane]),
                static_cast<guint8>(value),
                static_cast<gsize>(GST_VIDEO_INFO_COMP_WIDTH(&info, plane) *
                                   GST_VIDEO_INFO_COMP_PSTRIDE(&info, plane)));
    return buffer;
}

struct Layout {
    const char* format;
    int width;
    int height;
    int padding;
};

class PaddedFrames : public testing::TestWithParam<Layout> {};

// Wrapped as they are where the mixer can express it, copied where it can't: the picture is the
// same.
TEST_P(PaddedFrames, ShowThePictureAndNothingElse) {
    const Layout layout = GetParam();
    const std::string caps = std::string("video/x-raw,format=") + layout.format +
                             ",width=" + std::to_string(layout.width) +
                             ",height=" + std::to_string(layout.height) + ",framerate=25/1";
    MixPipeline mix(caps);
    Source source = mix.Add(caps);
    for (int i = 0; i < 3; ++i) {
        // Every other frame as the caps alone would have it.
        GstBuffer* buffer = PaddedBuffer(caps, i % 2 == 0 ? layout.padding : 0, 100 + i);
        source.SendBuffer(buffer, static_cast<GstClockTime>(i) * kFrame);
    }
    source.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 3u);
    for (int i = 0; i < 3; ++i) {
        const Frame& frame = frames[static_cast<std::size_t>(i)];
        for (guint plane = 0; plane < GST_VIDEO_INFO_N_PLANES(&frame.info); ++plane) {
            const int stride = GST_VIDEO_INFO_PLANE_STRIDE(&frame.info, plane);
            const int bytes = GST_VIDEO_INFO_COMP_WIDTH(&frame.info, plane) *
                              GST_VIDEO_INFO_COMP_PSTRIDE(&frame.info, plane);
            for (int line = 0; line < GST_VIDEO_INFO_COMP_HEIGHT(&frame.info, plane); ++line)
                for (int x = 0; x < bytes; ++x)
                    ASSERT_EQ(frame.data[GST_VIDEO_INFO_PLANE_OFFSET(&frame.info, plane) +
                                         static_cast<gsize>(line * stride + x)],
                              100 + i)
                        << "plane " << plane << " line " << line << " byte " << x;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, PaddedFrames,
                         testing::Values(Layout{"BGRx", 18, 10, 32}, Layout{"BGR", 18, 10, 12},
                                         Layout{"BGR", 16, 8, 4}, Layout{"YUY2", 18, 10, 4},
                                         Layout{"YUY2", 18, 10, 6}, Layout{"UYVY", 16, 8, 0},
                                         Layout{"YVYU", 16, 8, 16}, Layout{"I420", 16, 8, 0},
                                         Layout{"I420", 20, 10, 0}, Layout{"I420", 16, 8, 8},
                                         Layout{"YV12", 32, 16, 0}, Layout{"YV12", 18, 6, 16}),
                         [](const auto& suite) {
                             const Layout& l = suite.param;
                             return std::string(l.format) + "_" + std::to_string(l.width) + "x" +
                                    std::to_string(l.height) + "_" + std::to_string(l.padding);
                         });

TEST(Formats, CropsAnOddYuvStreamToEvenSizes) {
    const std::string output = "video/x-raw,format=I420,width=16,height=8,framerate=25/1";
    MixPipeline mix(output);
    Source source = mix.Add("video/x-raw,format=I420,width=17,height=9,framerate=25/1");
    source.Send(77, 0);
    source.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].data, std::vector<std::uint8_t>(16 * 8 * 3 / 2, 77));
}

TEST(Formats, FollowsAStreamThatChangesItsSize) {
    MixPipeline mix(Caps(64, 64));
    Source base = mix.Add(Caps(64, 64));
    Source changing = mix.Add(Caps(16, 16));
    base.SendMany(30, 10);
    changing.SendMany(10, 100);
    changing.SetCaps(Caps(32, 48));
    changing.SendMany(10, 110, 10);
    changing.SetCaps(Caps(16, 16));
    changing.SendMany(10, 120, 20);
    base.End();
    changing.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 30u);
    ExpectContinuous(frames);
    EXPECT_EQ(frames[9].At(15, 15), 109);
    EXPECT_EQ(frames[9].At(16, 0), 19);
    EXPECT_EQ(frames[15].At(31, 47), 115);
    EXPECT_EQ(frames[15].At(32, 0), 25);
    EXPECT_EQ(frames[29].At(15, 15), 129);
    EXPECT_EQ(frames[29].At(16, 0), 39);
}

TEST(Formats, CarriesFieldOrderThrough) {
    const char* more = "framerate=25/1,interlace-mode=interleaved,field-order=bottom-field-first";
    MixPipeline mix("video/x-raw");
    Source source = mix.Add(Caps(16, 16, more));
    source.SendMany(2, 10);
    source.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(GST_VIDEO_INFO_INTERLACE_MODE(&frames[0].info), GST_VIDEO_INTERLACE_MODE_INTERLEAVED);
    EXPECT_EQ(GST_VIDEO_INFO_FIELD_ORDER(&frames[0].info),
              GST_VIDEO_FIELD_ORDER_BOTTOM_FIELD_FIRST);
    EXPECT_NE(frames[1].flags & guint{GST_VIDEO_BUFFER_FLAG_INTERLACED}, 0u);
    EXPECT_EQ(frames[1].flags & guint{GST_VIDEO_BUFFER_FLAG_TFF}, 0u);
    EXPECT_EQ(frames[1].At(0, 0), 11);
}

// What comes in is held as long as it may be shown and then let go; what goes out is the mixer's
// memory, which it gets back.
TEST(Formats, TakesAndGivesBuffersWithoutCopies) {
    MixPipeline mix(Caps(16, 16));
    Source source = mix.Add(Caps(16, 16));
    std::vector<std::uint8_t> memory(16 * 16 * 4, 50);
    std::atomic<bool> isFree = false;
    const auto release = [](gpointer flag) { *static_cast<std::atomic<bool>*>(flag) = true; };
    source.SendBuffer(
        gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, memory.data(), memory.size(), 0,
                                    memory.size(), &isFree, release),
        0);
    mix.Play();
    GstElement* sink = gst_bin_get_by_name(GST_BIN(mix.Whole()), "sink");
    std::set<const void*> places;
    for (int i = 0; i < 60; ++i) {
        GstSample* sample = nullptr;
        g_signal_emit_by_name(sink, "pull-sample", &sample);
        ASSERT_NE(sample, nullptr);
        if (i == 0) {
            EXPECT_FALSE(isFree);
        }
        GstMemory* frame = gst_buffer_peek_memory(gst_sample_get_buffer(sample), 0);
        EXPECT_TRUE(GST_MEMORY_IS_READONLY(frame));  // a copy would be its owner's to write
        GstMapInfo map;
        ASSERT_TRUE(gst_memory_map(frame, &map, GST_MAP_READ));
        places.insert(map.data);
        gst_memory_unmap(frame, &map);
        gst_sample_unref(sample);
        source.Send(60 + i, static_cast<GstClockTime>(i + 1) * kFrame);
    }
    gst_object_unref(sink);
    EXPECT_TRUE(Eventually([&] { return isFree.load(); }));
    EXPECT_LE(places.size(), 16u);
}

TEST(Formats, ShowsTheVisiblePartOfALargerBuffer) {
    // In one plane it can be wrapped, in several it is copied.
    for (const char* format : {"BGRx", "YUY2", "I420"}) {
        const std::string head = std::string("video/x-raw,framerate=25/1,format=") + format;
        const std::string caps = head + ",width=16,height=8";
        GstCaps* large = gst_caps_from_string((head + ",width=32,height=24").c_str());
        GstVideoInfo info;
        ASSERT_TRUE(gst_video_info_from_caps(&info, large));
        gst_caps_unref(large);
        GstBuffer* buffer = gst_buffer_new_allocate(nullptr, info.size, nullptr);
        (void)gst_buffer_memset(buffer, 0, 0xEE, info.size);
        (void)gst_buffer_add_video_meta(buffer, GST_VIDEO_FRAME_FLAG_NONE,
                                        GST_VIDEO_INFO_FORMAT(&info), 32, 24);
        GstVideoCropMeta* crop = gst_buffer_add_video_crop_meta(buffer);
        *crop = {crop->meta, 4, 6, 16, 8};
        for (guint plane = 0; plane < GST_VIDEO_INFO_N_PLANES(&info); ++plane) {
            const int scale = plane == 0 ? 1 : 2;
            const int pixelBytes = GST_VIDEO_INFO_COMP_PSTRIDE(&info, plane);
            for (int y = 6 / scale; y < 14 / scale; ++y)
                (void)gst_buffer_memset(
                    buffer,
                    GST_VIDEO_INFO_PLANE_OFFSET(&info, plane) +
                        static_cast<gsize>(y * GST_VIDEO_INFO_PLANE_STRIDE(&info, plane) +
                                           4 / scale * pixelBytes),
                    77, static_cast<gsize>(16 / scale * pixelBytes));
        }
        MixPipeline mix(caps);
        Source source = mix.Add(caps);
        source.SendBuffer(buffer, 0);
        source.End();
        mix.Play();
        const std::vector<Frame> frames = mix.PullAll();
        ASSERT_EQ(frames.size(), 1u) << format;
        EXPECT_EQ(frames[0].data, std::vector<std::uint8_t>(frames[0].data.size(), 77)) << format;
    }
}

TEST(Formats, LeavesOutAFrameThatIsSmallerThanItsCapsSay) {
    MixPipeline mix(Caps(32, 16));
    Source good = mix.Add(Caps(16, 16));
    Source bad = mix.Add(Caps(16, 16));
    bad.Place(16, 0);
    good.SendMany(10, 10);
    bad.SendMany(4, 100);
    bad.SendBuffer(gst_buffer_new_allocate(nullptr, 100, nullptr), 4 * kFrame);
    bad.SendMany(5, 105, 5);
    good.End();
    bad.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 10u);
    EXPECT_EQ(frames[4].At(0, 0), 14);
    EXPECT_EQ(frames[4].At(16, 0), 103);
    EXPECT_EQ(frames[9].At(16, 0), 109);
    EXPECT_EQ(bad.Count("frames-dropped"), 1u);
    EXPECT_NE(mix.WaitForWarning().find(GST_PAD_NAME(bad.Pad())), std::string::npos);
}

// What the mixer knows of a stream's first frame.
VM_VIDEO_PROPS PropsOf(const std::string& caps, guint bufferFlags) {
    MixPipeline mix("video/x-raw");
    Source source = mix.Add(caps);
    GstCaps* parsed = gst_caps_from_string(caps.c_str());
    GstVideoInfo info;
    EXPECT_TRUE(gst_video_info_from_caps(&info, parsed));
    gst_caps_unref(parsed);
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, info.size, nullptr);
    (void)gst_buffer_memset(buffer, 0, 0, info.size);
    GST_BUFFER_FLAG_SET(buffer, bufferFlags);
    source.SendBuffer(buffer, 0);
    mix.Play();
    (void)mix.PullMany(1);
    gpointer mixer = nullptr;
    g_object_get(mix.Mixer(), "mixer", &mixer, nullptr);
    VM_VIDEO_PROPS props{};
    EXPECT_EQ(static_cast<IQDVideoMixer*>(mixer)->GetInputProps(0, &props), S_OK);
    return props;
}

TEST(Formats, TellsTheMixerFieldsAndShapeOfAStream) {
    const std::string pal =
        "video/x-raw,format=YUY2,width=720,height=576,framerate=25/1,pixel-aspect-ratio=16/15";
    constexpr guint kTop = GST_VIDEO_BUFFER_FLAG_INTERLACED | GST_VIDEO_BUFFER_FLAG_TFF;
    const VM_VIDEO_PROPS plain = PropsOf(pal, 0);
    EXPECT_EQ(plain.eInterlace, eVMI_Progressive);
    EXPECT_EQ(plain.nAspectX * 3, plain.nAspectY * 4);
    // The order in the caps, or where they have none the buffer's.
    EXPECT_EQ(
        PropsOf(pal + ",interlace-mode=interleaved,field-order=top-field-first", 0).eInterlace,
        eVMI_Field1First);
    EXPECT_EQ(PropsOf(pal + ",interlace-mode=interleaved", kTop).eInterlace, eVMI_Field1First);
    EXPECT_EQ(PropsOf(pal + ",interlace-mode=interleaved", 0).eInterlace, eVMI_Field2First);
    EXPECT_EQ(PropsOf(pal + ",interlace-mode=mixed", kTop).eInterlace, eVMI_Field1First);
    EXPECT_EQ(PropsOf(pal + ",interlace-mode=mixed", 0).eInterlace, eVMI_Progressive);
}

// Colours that downstream would take for others without being told.
TEST(Formats, TellsDownstreamTheColoursOfASmallStreamInALargePicture) {
    MixPipeline mix("video/x-raw,width=1280,height=720");
    Source source = mix.Add("video/x-raw,format=I420,width=320,height=240,framerate=25/1");
    source.Send(16, 0);
    source.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_TRUE(
        gst_video_colorimetry_matches(&frames[0].info.colorimetry, GST_VIDEO_COLORIMETRY_BT601));
}

TEST(Formats, KeepsSamplesAndMatrixOfAnHdStreamInAnHdMix) {
    const std::string caps =
        "video/x-raw,format=UYVY,colorimetry=bt709,width=16,height=8,framerate=25/1";
    MixPipeline mix(caps);
    Source source = mix.Add(caps);
    source.Send(77, 0);
    source.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].data, std::vector<std::uint8_t>(16 * 8 * 2, 77));
    EXPECT_TRUE(
        gst_video_colorimetry_matches(&frames[0].info.colorimetry, GST_VIDEO_COLORIMETRY_BT709));
}

TEST(Formats, NamesAStreamThatCannotBeMixed) {
    MixPipeline mix(Caps(16, 16));
    Source good = mix.Add(Caps(16, 16));
    Source bad = mix.Add("video/x-raw,format=I420,width=1,height=1,framerate=25/1");
    good.SendMany(3, 10);
    bad.Send(1, 0);
    mix.Play();
    const std::string error = mix.WaitForError();
    EXPECT_NE(error.find(GST_PAD_NAME(bad.Pad())), std::string::npos) << error;
    EXPECT_NE(error.find("2 by 2"), std::string::npos) << error;
}

TEST(Formats, OffersTheOutputsFormatFirst) {
    MixPipeline mix("video/x-raw,format=YVYU,width=16,height=16,framerate=25/1");
    GstPad* pad = gst_element_request_pad_simple(mix.Mixer(), "sink_%u");
    GstCaps* caps = gst_pad_query_caps(pad, nullptr);
    EXPECT_STREQ(gst_structure_get_string(gst_caps_get_structure(caps, 0), "format"), "YVYU");
    EXPECT_EQ(gst_caps_get_size(caps), 2u);
    gst_caps_unref(caps);
    gst_object_unref(pad);
}

}  // namespace
}  // namespace qdvm::test
