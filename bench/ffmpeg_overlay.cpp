// The peer: FFmpeg's overlay filters in a chain, on the same pictures.

#include "bench.h"

#ifdef QDVM_BENCH_FFMPEG

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <cstring>
#include <memory>
#include <string>

namespace qdvm::bench {
namespace {

constexpr int kWarmUpFrames = 10;

struct GraphFree {
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};
struct FrameFree {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Graph = std::unique_ptr<AVFilterGraph, GraphFree>;
using Frame = std::unique_ptr<AVFrame, FrameFree>;

// Formats that the filters work in without a conversion of the whole picture.
struct Formats {
    const char* blended;  // with alpha
    const char* overlay;  // of the overlay filter
};

Formats FormatsFor(const std::string& format) {
    if (format == "bgra") return {"bgra", "rgb"};
    if (format == "yuyv422") return {"yuva422p", "yuv422"};
    return {"yuva420p", "yuv420"};
}

std::string SizeText(std::int32_t width, std::int32_t height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

bool Covers(const Layout& layout, const Shown& shown) {
    return shown.left == 0 && shown.top == 0 && shown.shownWidth == layout.outWidth &&
           shown.shownHeight == layout.outHeight && shown.alpha == 1;
}

// From the pictures of a stream to what is laid over the others.
std::string StreamText(const Shown& shown, std::size_t number, const std::string& format) {
    std::string text = "buffer@in" + std::to_string(number) +
                       "=video_size=" + SizeText(shown.width, shown.height) + ":pix_fmt=" + format +
                       ":time_base=1/25:pixel_aspect=1/1";
    if (shown.width != shown.shownWidth || shown.height != shown.shownHeight)
        text += ",scale=" + SizeText(shown.shownWidth, shown.shownHeight) + ":flags=bilinear";
    if (shown.border > 0) text += ",drawbox=color=white:thickness=" + std::to_string(shown.border);
    if (shown.alpha < 1)
        text += std::string(",format=") + FormatsFor(format).blended +
                ",lut=a=" + std::to_string(static_cast<int>(shown.alpha * 255 + 0.5));
    return text;
}

std::string Describe(const Layout& layout, const std::string& format) {
    std::string text;
    std::size_t first = 0;
    if (Covers(layout, layout.streams[0])) {
        text = StreamText(layout.streams[0], first++, format) + "[mix0]";
    } else {
        text = "color=black:rate=25:size=" + SizeText(layout.outWidth, layout.outHeight) +
               ",format=" + format + "[mix0]";
    }
    std::size_t stage = 0;
    for (std::size_t i = first; i < layout.streams.size(); ++i, ++stage) {
        const Shown& shown = layout.streams[i];
        const std::string number = std::to_string(i);
        text += ";" + StreamText(shown, i, format) + "[over" + number + "];[mix" +
                std::to_string(stage) + "][over" + number +
                "]overlay=" + std::to_string(shown.left) + ":" + std::to_string(shown.top) +
                ":format=" + FormatsFor(format).overlay + "[mix" + std::to_string(stage + 1) + "]";
    }
    return text + ";[mix" + std::to_string(stage) + "]format=" + format + ",buffersink@out";
}

Frame Picture(const Shown& shown, AVPixelFormat format) {
    Frame frame(av_frame_alloc());
    frame->format = format;
    frame->width = shown.width;
    frame->height = shown.height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    for (int plane = 0; plane < AV_NUM_DATA_POINTERS && frame->buf[plane]; ++plane)
        std::memset(frame->buf[plane]->data, kPictureByte, frame->buf[plane]->size);
    return frame;
}

class OverlayRun {
public:
    bool Open(const Layout& layout, const char* format) {
        graph.reset(avfilter_graph_alloc());
        graph->nb_threads = 1;
        AVFilterInOut* inputs = nullptr;
        AVFilterInOut* outputs = nullptr;
        const std::string text = Describe(layout, format);
        const bool isMade =
            avfilter_graph_parse2(graph.get(), text.c_str(), &inputs, &outputs) >= 0 &&
            avfilter_graph_config(graph.get(), nullptr) >= 0;
        avfilter_inout_free(&inputs);
        avfilter_inout_free(&outputs);
        if (!isMade) return false;
        sink = avfilter_graph_get_filter(graph.get(), "buffersink@out");
        for (std::size_t i = 0; i < layout.streams.size(); ++i) {
            const std::string name = "buffer@in" + std::to_string(i);
            sources.push_back(avfilter_graph_get_filter(graph.get(), name.c_str()));
            for (int copy = 0; copy < kCopies; ++copy) {
                pictures.push_back(Picture(layout.streams[i], av_get_pix_fmt(format)));
                if (!pictures.back()) return false;
            }
            if (!sources.back()) return false;
        }
        return sink != nullptr;
    }

    // False after a failure.
    bool Frames(int count) {
        while (count > 0) {
            const Frame mixed(av_frame_alloc());
            const int result = av_buffersink_get_frame(sink, mixed.get());
            if (result == AVERROR(EAGAIN)) {
                if (!SendPictures()) return false;
            } else if (result < 0) {
                return false;
            } else {
                --count;
            }
        }
        return true;
    }

private:
    bool SendPictures() {
        for (std::size_t i = 0; i < sources.size(); ++i) {
            AVFrame* const picture =
                pictures[i * kCopies + static_cast<std::size_t>(sent % kCopies)].get();
            picture->pts = sent;
            if (av_buffersrc_add_frame_flags(sources[i], picture, AV_BUFFERSRC_FLAG_KEEP_REF) < 0)
                return false;
        }
        ++sent;
        return true;
    }

    Graph graph;
    AVFilterContext* sink = nullptr;
    std::vector<AVFilterContext*> sources;
    std::vector<Frame> pictures;  // kCopies for each stream
    std::int64_t sent = 0;
};

}  // namespace

Spent MeasureOverlay(const Layout& layout, const char* format, int frames) {
    av_log_set_level(AV_LOG_ERROR);
    OverlayRun run;
    if (!run.Open(layout, format) || !run.Frames(kWarmUpFrames)) return {};
    bool isDone = false;
    const Spent spent = Measure([&] { isDone = run.Frames(frames); });
    return isDone ? spent : Spent{};
}

}  // namespace qdvm::bench

#else

namespace qdvm::bench {

Spent MeasureOverlay(const Layout&, const char*, int) { return {}; }

}  // namespace qdvm::bench

#endif
