// How pictures look that are more than copied: scaled, blended, bordered, flipped, masked, turned,
// and over a picture as background.

#include "gstreamer/mix_pipeline.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>

namespace qdvm::test {
namespace {

constexpr int kBlack = 0;

// A BGRx picture of this size from the value of each pixel.
GstBuffer* Picture(int width, int height, const std::function<int(int x, int y)>& value) {
    GstBuffer* buffer =
        gst_buffer_new_allocate(nullptr, static_cast<gsize>(width * height * 4), nullptr);
    GstMapInfo map;
    EXPECT_TRUE(gst_buffer_map(buffer, &map, GST_MAP_WRITE));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) std::memset(map.data + (y * width + x) * 4, value(x, y), 4);
    gst_buffer_unmap(buffer, &map);
    return buffer;
}

class Drawing : public testing::Test {
protected:
    MixPipeline mix{Caps(64, 64)};
    Source source = mix.Add(Caps(32, 16));

    // Left half 100, right half 200.
    static GstBuffer* Halves() {
        return Picture(32, 16, [](int x, int) { return x < 16 ? 100 : 200; });
    }

    Frame MixOne(GstBuffer* picture = Halves()) {
        source.SendBuffer(picture, 0);
        source.End();
        mix.Play();
        std::vector<Frame> frames = mix.PullAll();
        EXPECT_EQ(frames.size(), 1u);
        return frames.at(0);
    }
};

TEST_F(Drawing, ScalesToWidthAndHeight) {
    g_object_set(source.Pad(), "xpos", 2, "width", 60, "height", 64, nullptr);
    const Frame frame = MixOne();
    EXPECT_EQ(frame.At(0, 32), kBlack);
    EXPECT_EQ(frame.At(4, 0), 100);
    EXPECT_EQ(frame.At(26, 63), 100);
    EXPECT_EQ(frame.At(36, 0), 200);
    EXPECT_EQ(frame.At(60, 63), 200);
    EXPECT_EQ(frame.At(62, 32), kBlack);
}

TEST_F(Drawing, CropsBeforeItScales) {
    g_object_set(source.Pad(), "crop-left", 16, "width", 64, "height", 64, nullptr);
    const Frame frame = MixOne();
    EXPECT_EQ(frame.At(0, 0), 200);
    EXPECT_EQ(frame.At(63, 63), 200);
}

// A picture twice as wide as high in a square.
TEST_F(Drawing, KeepsTheAspectRatioByBarsOrByCropping) {
    g_object_set(source.Pad(), "width", 64, "height", 64, nullptr);
    gst_util_set_object_arg(G_OBJECT(source.Pad()), "sizing-policy", "keep-aspect-ratio");
    gst_child_proxy_set(GST_CHILD_PROXY(source.Pad()), "rect-1::width", 16, "rect-1::height", 16,
                        nullptr);
    GObject* child = gst_child_proxy_get_child_by_name(GST_CHILD_PROXY(source.Pad()), "rect-1");
    gst_util_set_object_arg(child, "sizing-policy", "crop");
    g_object_unref(child);
    const Frame frame = MixOne();
    EXPECT_EQ(frame.At(32, 14), kBlack);
    EXPECT_EQ(frame.At(2, 17), 100);
    EXPECT_EQ(frame.At(62, 46), 200);
    EXPECT_EQ(frame.At(32, 50), kBlack);
    // The child shows the middle of the picture.
    EXPECT_EQ(frame.At(1, 1), 100);
    EXPECT_EQ(frame.At(14, 14), 200);
}

TEST_F(Drawing, BlendsByAlphaWithWhatLiesBelow) {
    Source above = mix.Add(Caps(32, 16));
    g_object_set(above.Pad(), "alpha", 0.5, nullptr);
    above.SendBuffer(Picture(32, 16, [](int, int) { return 0; }), 0);
    above.End();
    const Frame frame = MixOne();
    EXPECT_NEAR(frame.At(4, 4), 50, 1);
    EXPECT_NEAR(frame.At(28, 4), 100, 1);
}

TEST_F(Drawing, HasABorderInsideItsEdges) {
    g_object_set(source.Pad(), "border-width", 4, "border-color", 0xFF0000F0u, nullptr);
    const Frame frame = MixOne();
    EXPECT_EQ(frame.At(0, 0), 0xF0);
    EXPECT_EQ(frame.At(3, 8), 0xF0);
    EXPECT_EQ(frame.At(4, 8), 100);
    EXPECT_EQ(frame.At(27, 8), 200);
    EXPECT_EQ(frame.At(28, 8), 0xF0);
    EXPECT_EQ(frame.At(16, 12), 0xF0);
    EXPECT_EQ(frame.At(32, 8), kBlack);
}

TEST_F(Drawing, IsMirrored) {
    g_object_set(source.Pad(), "flip-horizontal", TRUE, "flip-vertical", TRUE, nullptr);
    const Frame frame =
        MixOne(Picture(32, 16, [](int x, int y) { return x < 16 && y < 8 ? 100 : 200; }));
    EXPECT_EQ(frame.At(0, 0), 200);
    EXPECT_EQ(frame.At(31, 0), 200);
    EXPECT_EQ(frame.At(0, 15), 200);
    EXPECT_EQ(frame.At(31, 15), 100);
}

TEST_F(Drawing, IsTurned) {
    g_object_set(source.Pad(), "ypos", 16, "width", 64, "height", 32, "horizontal-angle", 50.0,
                 "border-width", 2, nullptr);
    GstBuffer* picture = Halves();
    (void)gst_buffer_ref(picture);
    const Frame frame = MixOne(picture);
    // The left edge has gone back: it is shorter and further in.
    EXPECT_EQ(frame.At(0, 32), kBlack);
    EXPECT_NE(frame.At(40, 32), kBlack);
    const auto height = [&](int x) {
        int count = 0;
        for (int y = 0; y < 64; ++y) count += frame.At(x, y) != kBlack ? 1 : 0;
        return count;
    };
    int left = 0;
    while (left < 64 && height(left) == 0) ++left;
    EXPECT_LT(height(left + 2), height(52));
    // What comes in is somebody else's.
    GstMapInfo map;
    ASSERT_TRUE(gst_buffer_map(picture, &map, GST_MAP_READ));
    EXPECT_EQ(map.data[0], 100);
    gst_buffer_unmap(picture, &map);
    gst_buffer_unref(picture);
}

TEST_F(Drawing, WarnsOfAMaskThatIsNone) {
    g_object_set(source.Pad(), "mask", "no such file", nullptr);
    EXPECT_EQ(MixOne().At(0, 0), 100);
    EXPECT_NE(mix.WaitForWarning().find("no such file"), std::string::npos);
}

TEST_F(Drawing, WarnsOfABackgroundThatIsNone) {
    gst_util_set_object_arg(G_OBJECT(mix.Mixer()), "background", "picture");
    g_object_set(mix.Mixer(), "background-picture", "no such file", nullptr);
    EXPECT_EQ(MixOne().At(0, 63), kBlack);
    EXPECT_NE(mix.WaitForWarning().find("no such file"), std::string::npos);
}

TEST_F(Drawing, IsMaskedFromItsFirstFrameUntilTheMaskGoes) {
    g_object_set(source.Pad(), "width", 64, "height", 64, "mask", "Circle", nullptr);
    for (guint64 i = 0; i < 2; ++i) source.SendBuffer(Halves(), i * kFrame);
    mix.Play();
    for (const Frame& frame : mix.PullMany(2)) {
        EXPECT_LT(frame.At(1, 1), 10);
        EXPECT_LT(frame.At(62, 62), 10);
        EXPECT_NEAR(frame.At(16, 32), 99, 2);
        EXPECT_NEAR(frame.At(48, 32), 198, 3);
    }
    g_object_set(source.Pad(), "mask", nullptr, nullptr);
    source.SendBuffer(Halves(), 2 * kFrame);
    EXPECT_EQ(mix.Pull()->At(1, 1), 100);
}

// A 24-bit BMP of one colour.
void WriteBmp(const std::filesystem::path& path, int width, int height, int value) {
    const int rowBytes = (width * 3 + 3) / 4 * 4;
    std::vector<std::uint8_t> file(54 + static_cast<std::size_t>(rowBytes * height));
    const auto put = [&file](std::size_t at, int number) {
        for (std::size_t i = 0; i < 4; ++i)
            file[at + i] = static_cast<std::uint8_t>(static_cast<unsigned>(number) >> (8 * i));
    };
    file[0] = 'B';
    file[1] = 'M';
    put(2, static_cast<int>(file.size()));
    put(10, 54);
    put(14, 40);
    put(18, width);
    put(22, height);
    put(26, 1 | 24 << 16);
    std::memset(file.data() + 54, value, file.size() - 54);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()),
               static_cast<std::streamsize>(file.size()));
}

TEST_F(Drawing, LiesOnAPictureThatFades) {
    const TemporaryDirectory directory;
    const std::filesystem::path dark = directory.Path() / "dark.bmp";
    const std::filesystem::path light = directory.Path() / "light.bmp";
    WriteBmp(dark, 8, 8, 40);
    WriteBmp(light, 3, 5, 240);
    gst_util_set_object_arg(G_OBJECT(mix.Mixer()), "background", "picture");
    g_object_set(mix.Mixer(), "background-picture", dark.c_str(), nullptr);
    source.SendBuffer(Halves(), 0);
    mix.Play();
    Frame frame = *mix.Pull();
    EXPECT_EQ(frame.At(0, 0), 100);
    EXPECT_EQ(frame.At(0, 63), 40);
    EXPECT_EQ(frame.At(63, 0), 40);
    g_object_set(mix.Mixer(), "background-picture", light.c_str(), "change-time", 200u, nullptr);
    for (guint64 i = 1; i < 8; ++i) source.SendBuffer(Halves(), i * kFrame);
    const std::vector<Frame> frames = mix.PullMany(7);
    EXPECT_EQ(frames[0].At(0, 63), 40);
    EXPECT_NEAR(frames[2].At(0, 63), 120, 3);
    EXPECT_EQ(frames[6].At(0, 63), 240);
}

}  // namespace
}  // namespace qdvm::test
