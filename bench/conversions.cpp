// Conversions of whole pictures against libyuv and libswscale.

#include "kernel_run.h"
#include "pixels/copy_frame.h"
#include "pixels/img_convert.h"

#include <libyuv.h>

#include <cstdio>

extern "C" {
#include <libswscale/swscale.h>
}

namespace qdvm::bench {
namespace {

constexpr std::int32_t kWidth = kKernelWidth;
constexpr std::int32_t kHeight = kKernelHeight;

struct Format {
    const char* name;
    std::int32_t fccType;
    AVPixelFormat peer;
};

constexpr Format kFormats[] = {
    {"BGRA", kFccRGB32, AV_PIX_FMT_BGRA},      {"BGR", kFccRGB24, AV_PIX_FMT_BGR24},
    {"RGB565", kFccRGB565, AV_PIX_FMT_RGB565}, {"YUY2", kFccYUY2, AV_PIX_FMT_YUYV422},
    {"UYVY", kFccUYVY, AV_PIX_FMT_UYVY422},    {"YVYU", kFccYVYU, AV_PIX_FMT_YVYU422},
    {"I420", kFccI420, AV_PIX_FMT_YUV420P},
};

// The conversion of libyuv for a pair, null if it has none in one step.
Work Libyuv(std::int32_t from, std::int32_t to, KernelFrame& src, KernelFrame& dst) {
    const PeerPlanes s = PlanesOf(src);
    const PeerPlanes d = PlanesOf(dst);
    const auto is = [=](std::int32_t a, std::int32_t b) { return from == a && to == b; };
    const auto packed = [=](auto convert) -> Work {
        return [=] { convert(s.data[0], s.stride[0], d.data[0], d.stride[0], kWidth, kHeight); };
    };
    const auto toPlanes = [=](auto convert) -> Work {
        return [=] {
            convert(s.data[0], s.stride[0], d.data[0], d.stride[0], d.data[1], d.stride[1],
                    d.data[2], d.stride[2], kWidth, kHeight);
        };
    };
    const auto fromPlanes = [=](auto convert) -> Work {
        return [=] {
            convert(s.data[0], s.stride[0], s.data[1], s.stride[1], s.data[2], s.stride[2],
                    d.data[0], d.stride[0], kWidth, kHeight);
        };
    };
    if (is(kFccRGB32, kFccYUY2)) return packed(libyuv::ARGBToYUY2);
    if (is(kFccRGB32, kFccUYVY)) return packed(libyuv::ARGBToUYVY);
    if (is(kFccRGB32, kFccRGB24)) return packed(libyuv::ARGBToRGB24);
    if (is(kFccRGB24, kFccRGB32)) return packed(libyuv::RGB24ToARGB);
    if (is(kFccYUY2, kFccRGB32)) return packed(libyuv::YUY2ToARGB);
    if (is(kFccUYVY, kFccRGB32)) return packed(libyuv::UYVYToARGB);
    if (is(kFccRGB32, kFccI420)) return toPlanes(libyuv::ARGBToI420);
    if (is(kFccRGB24, kFccI420)) return toPlanes(libyuv::RGB24ToI420);
    if (is(kFccYUY2, kFccI420)) return toPlanes(libyuv::YUY2ToI420);
    if (is(kFccUYVY, kFccI420)) return toPlanes(libyuv::UYVYToI420);
    if (is(kFccI420, kFccRGB32)) return fromPlanes(libyuv::I420ToARGB);
    if (is(kFccI420, kFccRGB24)) return fromPlanes(libyuv::I420ToRGB24);
    if (is(kFccI420, kFccRGB565)) return fromPlanes(libyuv::I420ToRGB565);
    if (is(kFccI420, kFccYUY2)) return fromPlanes(libyuv::I420ToYUY2);
    if (is(kFccI420, kFccUYVY)) return fromPlanes(libyuv::I420ToUYVY);
    return {};
}

// Some pairs with 16-bit RGB are accepted and do nothing.
bool IsIdle(const Format& from, const Format& to) {
    return to.fccType == kFccRGB565 && from.fccType != kFccYUY2 && from.fccType != kFccI420;
}

void ReportConversion(const Format& from, const Format& to) {
    KernelFrame src(from.fccType);
    KernelFrame dst(to.fccType);
    const auto convert = [&] {
        return Img_Convert(src.Data(), dst.Data(), &src.props, &dst.props, nullptr, nullptr, true);
    };
    if (convert() != S_OK) return;
    const Work ours = [&] { (void)convert(); };
    const std::size_t moved = src.bytes.size() + dst.bytes.size();
    char label[64];
    std::snprintf(label, sizeof(label), "%s to %s", from.name, to.name);
    if (const Work peer = Libyuv(from.fccType, to.fccType, src, dst))
        PrintKernel(label, moved, ours, "libyuv", peer);
    SwsContext* const context = sws_getContext(kWidth, kHeight, from.peer, kWidth, kHeight, to.peer,
                                               SWS_POINT, nullptr, nullptr, nullptr);
    if (!context) return;
    const PeerPlanes s = PlanesOf(src);
    const PeerPlanes d = PlanesOf(dst);
    PrintKernel(label, moved, ours, "libswscale",
                [&] { sws_scale(context, s.data, s.stride, 0, kHeight, d.data, d.stride); });
    sws_freeContext(context);
}

void ReportKeyFrame(const char* name, std::int32_t from, std::int32_t to) {
    KernelFrame src(from);
    KernelFrame dst(to);
    const FrameDesc S = MakeFrameDesc(src.props);
    const FrameDesc D = MakeFrameDesc(dst.props);
    PrintKernel(name, src.bytes.size() + dst.bytes.size(),
                [&] { (void)CopyFrameCC(src.Data(), dst.Data(), &S, &D); }, "", {});
}

}  // namespace

void ReportConversions() {
    std::printf("Conversions of 1920 x 1080; speed, more is better:\n");
    for (const Format& from : kFormats)
        for (const Format& to : kFormats)
            if (from.fccType != to.fccType && !IsIdle(from, to)) ReportConversion(from, to);
    ReportKeyFrame("HDYC to BGRA by 709", kFccHDYC, kFccRGB32);
    ReportKeyFrame("BGRA to HDYC by 709", kFccRGB32, kFccHDYC);
    ReportKeyFrame("UYVY to v210", kFccUYVY, kFccV210);
    ReportKeyFrame("v210 to UYVY", kFccV210, kFccUYVY);
    std::printf("\n");
}

}  // namespace qdvm::bench
