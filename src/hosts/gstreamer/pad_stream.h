#pragma once

// One sink pad as the session sees it.

#include "hosts/gstreamer/buffer_reserve.h"
#include "hosts/gstreamer/caps_map.h"
#include "hosts/gstreamer/rect_settings.h"
#include "hosts/gstreamer/upstream_pin.h"
#include "hosts/gstreamer/wrapped_sample.h"
#include "pixels/chroma_key/key_recipe.h"
#include "platform/ref.h"

#include <qdvideomixer/video_mixer.h>

#include <gst/gst.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qdvm {

// What a user sets on a pad, besides how its rects look.
struct PadSettings {
    guint zOrder = 0;
    bool isVisible = true;
    bool loops = false;
    bool stopsAll = false;
    bool ignoresTime = false;
    bool keepsRate = false;
    int maxWait = 8;  // frames
    eVM_LostShow lostShow = eVMLS_Last;
    KeyRecipe key;
    KeyPart usualKey;       // values for a key that gets only a colour
    guint keyTimesSet = 0;  // grows when a key is set anew, even the same one
};

// A setting that the mixer is to be told of.
struct Change {
    enum class Kind {
        kNone,
        kSet,    // by a user; waits while changes are being gathered
        kMoved,  // by a controller; lands at once
    };

    Kind kind = Kind::kNone;
    std::uint64_t number = 0;  // grows from change to change
    guint timeMs = 0;          // how long it takes
};

// One rect of a stream. Its place in the stream's list is its number in the mixer.
struct StreamRect {
    guint number = 0;  // 0 for the pad's own, that of the name rect-%u for another
    RectSettings settings;
    Change change;
    std::uint64_t firstFrame = 0;  // the change is for this output frame, or a later one
    bool isInMixer = false;
    bool isRemoved = false;
    bool isLeft = false;  // a scene has placed it, which settings that stay as they are don't undo
    std::string mask;     // as the mixer has it
};

enum class PadHealth { kWaiting, kLive, kStalled, kLost, kEnded };

struct PadCounts {
    guint64 in = 0;
    guint64 repeated = 0;
    guint64 dropped = 0;
};

// Pixels.
struct StreamSize {
    int width = 0;
    int height = 0;

    bool operator==(const StreamSize&) const = default;
};

// Running times in ns.
struct FrameSpan {
    GstClockTimeDiff start = 0;
    GstClockTimeDiff stop = 0;
};

// A frame in a buffer that is kept, in the layout of the type that the filter knows.
struct HeldFrame {
    GstBuffer* buffer = nullptr;  // counted
    gsize offset = 0;             // bytes
    gsize length = 0;
};

// A plain record. All but the constant members are guarded by the session's mutex; format, segment
// and lastType are changed by the pad's streaming thread only, which reads them freely.
struct PadStream {
    PadStream(GstPad* sinkPad, guint padNumber)
        : pad(sinkPad), number(padNumber), pin(MakeObject<UpstreamPin>(sinkPad)) {}

    GstPad* const pad;   // not counted: the stream goes before its pad
    const guint number;  // of the name sink_%u; drawing goes by it
    const Ref<UpstreamPin> pin;
    const std::shared_ptr<SamplePool> samples = std::make_shared<SamplePool>();

    PadSettings settings;
    Change keyChange;
    std::optional<guint32> borderColour;  // 0xRRGGBB, read for the present key
    bool hasReadBorder = false;
    std::vector<StreamRect> rects;  // leave the list only under the session's layoutMutex
    StreamFormat format;
    StreamSize size;                // that the mixer's rects were made for
    std::int32_t typeRowWidth = 0;  // of the type that the filter knows
    bool typeIsKnown = false;       // the filter knows `format`
    bool isConverted = false;       // to YUY2, since its format can't be keyed
    BufferReserve convertedFrames;  // for the thread that is in Receive
    bool isStillRefused = false;    // the picture that stays couldn't be brought to the present key
    GstSegment segment{};

    // Where the stream stands.
    int streamNumber = -1;  // of the filter's input; -1 while it has none
    bool hasEnded = false;
    bool isUnlinked = false;
    bool isFlushing = false;
    bool isLeaving = false;
    bool isInReceive = false;
    bool hasPicture = false;           // the filter has a frame to show for it
    bool isHeld = false;               // waits for the output to reach its frame
    std::optional<FrameSpan> pending;  // the frame that its thread waits to hand over
    GstClockTimeDiff lastStop = 0;     // running time of the end of the frame before
    HeldFrame lastFrame;               // shown on when the filter starts anew
    bool wasLost = false;              // when it was drained
    bool isRefused = false;            // its last frame couldn't be mixed

    // Its place on the output: the filter's slot 0 of this stream is output frame baseFrame.
    bool isAligned = false;
    std::uint64_t baseFrame = 0;
    std::uint64_t nextSlot = 0;
    GstClockTimeDiff shift = 0;  // added to its running times
    bool mayShift = false;       // after a flush of its own it may begin at any time
    gint64 lateSince = 0;        // monotonic time (us) of the first of a row of late frames, or 0

    // What is told about it.
    gint64 lastArrival = 0;  // monotonic time, us
    PadCounts counts;        // without those of the filter since its start
    PadHealth health = PadHealth::kWaiting;
};

// The stream as the filter gets it.
inline StreamFormat MixedFormatOf(const PadStream& stream) {
    StreamFormat format = stream.format;
    if (stream.isConverted) {
        format.pixels = FindPixelFormat(GST_VIDEO_FORMAT_YUY2);
        format.props.picProps.fccType = format.pixels->fccType;
    }
    return format;
}

}  // namespace qdvm
