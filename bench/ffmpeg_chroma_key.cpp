// The peer: FFmpeg's chromakey on the same frames.

#include "bench.h"
#include "key_scenes.h"

#ifdef QDVM_BENCH_FFMPEG

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
}

#include <cstring>
#include <memory>
#include <string>

namespace qdvm::bench {
namespace {

struct GraphFree {
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};
struct FrameFree {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Graph = std::unique_ptr<AVFilterGraph, GraphFree>;
using Frame = std::unique_ptr<AVFrame, FrameFree>;

constexpr int kAlphaPlane = 3;

Graph MakeGraph(const KeyClip& clip) {
    Graph graph(avfilter_graph_alloc());
    graph->nb_threads = 1;
    const std::string text = "buffer@in=video_size=" + std::to_string(clip.width) + "x" +
                             std::to_string(clip.height) +
                             ":pix_fmt=yuyv422:time_base=1/25:pixel_aspect=1/1,format=yuva422p,"
                             "chromakey=color=0x18A038:similarity=0.12:blend=0.08,buffersink@out";
    AVFilterInOut* inputs = nullptr;
    AVFilterInOut* outputs = nullptr;
    const bool isMade = avfilter_graph_parse2(graph.get(), text.c_str(), &inputs, &outputs) >= 0 &&
                        avfilter_graph_config(graph.get(), nullptr) >= 0;
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    return isMade ? std::move(graph) : nullptr;
}

Frame FrameOf(const KeyClip& clip, const std::vector<std::uint8_t>& yuy2) {
    Frame frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUYV422;
    frame->width = clip.width;
    frame->height = clip.height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    const std::size_t rowBytes = static_cast<std::size_t>(clip.width) * 2;
    for (std::int32_t y = 0; y < clip.height; ++y)
        std::memcpy(frame->data[0] + y * std::ptrdiff_t{frame->linesize[0]},
                    yuy2.data() + static_cast<std::size_t>(y) * rowBytes, rowBytes);
    return frame;
}

std::vector<std::uint8_t> AlphaOf(const KeyClip& clip, const AVFrame& frame) {
    std::vector<std::uint8_t> alpha;
    for (std::int32_t y = 0; y < clip.height; ++y) {
        const std::uint8_t* const row =
            frame.data[kAlphaPlane] + y * std::ptrdiff_t{frame.linesize[kAlphaPlane]};
        alpha.insert(alpha.end(), row, row + clip.width);
    }
    return alpha;
}

}  // namespace

double RunChromaKeyPeer(const KeyClip& clip, int times,
                        std::vector<std::vector<std::uint8_t>>* alphas) {
    av_log_set_level(AV_LOG_ERROR);
    const Graph graph = MakeGraph(clip);
    if (!graph || clip.frames.empty()) return 0;
    AVFilterContext* const source = avfilter_graph_get_filter(graph.get(), "buffer@in");
    AVFilterContext* const sink = avfilter_graph_get_filter(graph.get(), "buffersink@out");
    std::vector<Frame> frames;
    for (const auto& yuy2 : clip.frames) frames.push_back(FrameOf(clip, yuy2));
    std::int64_t sent = 0;
    bool isDone = true;
    const Spent spent = Measure([&] {
        for (int i = 0; i < times && isDone; ++i)
            for (const Frame& frame : frames) {
                const Frame keyed(av_frame_alloc());
                frame->pts = sent++;
                isDone = isDone &&
                         av_buffersrc_add_frame_flags(source, frame.get(),
                                                      AV_BUFFERSRC_FLAG_KEEP_REF) >= 0 &&
                         av_buffersink_get_frame(sink, keyed.get()) >= 0;
                if (isDone && alphas && i == 0) alphas->push_back(AlphaOf(clip, *keyed));
            }
    });
    return isDone ? spent.cpu / (times * static_cast<double>(frames.size())) : 0;
}

}  // namespace qdvm::bench

#else

namespace qdvm::bench {

double RunChromaKeyPeer(const KeyClip&, int, std::vector<std::vector<std::uint8_t>>*) { return 0; }

}  // namespace qdvm::bench

#endif
