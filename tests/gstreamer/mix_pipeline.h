#pragma once

// A real pipeline around the element: sources that a test feeds, and a sink that it reads.

#include <gst/gst.h>
#include <gst/video/video.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace qdvm::test {

// A limit that only a fault reaches.
inline constexpr std::chrono::seconds kPatience{20};

inline constexpr GstClockTime kFrame = 40 * GST_MSECOND;  // 25 frames a second

// A frame that came out.
struct Frame {
    GstClockTime pts = GST_CLOCK_TIME_NONE;
    GstClockTime duration = 0;
    guint flags = 0;
    GstVideoInfo info{};
    std::vector<std::uint8_t> data;

    // First byte of a pixel of a packed format with 4 bytes a pixel.
    int At(int x, int y) const {
        return data[static_cast<std::size_t>(y * GST_VIDEO_INFO_PLANE_STRIDE(&info, 0) + x * 4)];
    }
};

// "video/x-raw" caps of BGRx pictures.
std::string Caps(int width, int height, const char* more = "framerate=25/1");

// An appsrc linked to a sink pad of the mixer. Borrowed pointers; the pipeline owns them.
class Source {
public:
    Source(GstElement* pipeline, GstElement* mixer, const std::string& caps,
           const std::string& padName);

    GstElement* Element() const { return appsrc; }
    GstPad* Pad() const { return pad; }

    // Queues a picture all bytes of which have this value; never waits.
    void Send(int value, GstClockTime pts, GstClockTime duration = kFrame);
    void SendBuffer(GstBuffer* buffer, GstClockTime pts, GstClockTime duration = kFrame);
    // The values first, first + 1 ... from frame `from` on.
    void SendMany(int count, int first, int from = 0, GstClockTime duration = kFrame);
    void SetCaps(const std::string& caps);
    void End();
    void Set(const char* property, int value) { g_object_set(pad, property, value, nullptr); }
    void Place(int x, int y) { g_object_set(pad, "xpos", x, "ypos", y, nullptr); }

    std::string Health() const;
    guint64 Count(const char* property) const;

private:
    GstElement* appsrc;
    GstPad* pad;
};

class MixPipeline {
public:
    // outputCaps: what the sink takes. between: elements between the mixer and the sink.
    explicit MixPipeline(const std::string& outputCaps, const std::string& between = "identity");
    ~MixPipeline();
    MixPipeline(const MixPipeline&) = delete;
    MixPipeline& operator=(const MixPipeline&) = delete;

    // Linked to a new pad; the element follows the pipeline's state.
    Source Add(const std::string& caps, const std::string& padName = "sink_%u");
    void Remove(const Source& source);

    void Play();
    void SetState(GstState state);

    // The next frame; none when the stream has ended, which Ended tells, or nothing came in time.
    std::optional<Frame> Pull(std::chrono::milliseconds limit = kPatience);
    std::vector<Frame> PullMany(int count);
    // All until the end.
    std::vector<Frame> PullAll();
    bool Ended() const;

    // Waits for a message of the element about a pad.
    bool WaitForHealth(const Source& source, const std::string& health);
    // The text of the first error or warning; empty if none comes in time.
    std::string WaitForError() { return WaitForText(GST_MESSAGE_ERROR); }
    std::string WaitForWarning() { return WaitForText(GST_MESSAGE_WARNING); }

    GstElement* Mixer() const { return mixer; }
    GstElement* Whole() const { return pipeline; }

private:
    std::string WaitForText(GstMessageType type);

    GstElement* pipeline;
    GstElement* mixer;
    GstElement* sink;
};

// Each stamp follows on the one before without gap or overlap (1 ns of rounding).
void ExpectContinuous(const std::vector<Frame>& frames);

// Waits until it holds.
bool Eventually(const std::function<bool()>& condition);

}  // namespace qdvm::test
