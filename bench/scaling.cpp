// Scaling against libyuv's bilinear, projection against OpenCV's linear warp.

#include "kernel_run.h"
#include "pixels/img_perspective.h"
#include "pixels/img_resize.h"

#include <libyuv.h>

#include <array>
#include <cstdio>
#include <memory>
#include <opencv2/imgproc.hpp>

namespace qdvm::bench {
namespace {

struct Format {
    const char* name;
    std::int32_t fccType;
};

constexpr Format kFormats[] = {{"I420", kFccI420}, {"YUY2", kFccYUY2},  {"UYVY", kFccUYVY},
                               {"BGR", kFccRGB24}, {"BGRx", kFccRGB32}, {"RGB8", kFccRGB8}};

struct Sizes {
    const char* name;
    std::int32_t fromWidth, fromHeight, toWidth, toHeight;
};

constexpr Sizes kSizes[] = {{"1080p to 540p", 1920, 1080, 960, 540},
                            {"1080p to 720p", 1920, 1080, 1280, 720},
                            {"540p to 1080p", 960, 540, 1920, 1080}};

// Split, scaled and packed again: libyuv has no scaling of packed 4:2:2 in one step.
template <class Split, class Pack>
Work Packed(Split split, Pack pack, KernelFrame& src, KernelFrame& dst) {
    struct Planes {
        Planes(int w, int h)
            : width(w), y(static_cast<std::size_t>(w * h)), u(y.size() / 2), v(y.size() / 2) {}
        int width;
        std::vector<std::uint8_t> y, u, v;
    };
    const PeerPlanes s = PlanesOf(src);
    const PeerPlanes d = PlanesOf(dst);
    const int sw = src.props.nWidth;
    const int sh = AbsHeight(src.props);
    const int dw = dst.props.nWidth;
    const int dh = AbsHeight(dst.props);
    const auto from = std::make_shared<Planes>(sw, sh);
    const auto to = std::make_shared<Planes>(dw, dh);
    return [=] {
        split(s.data[0], s.stride[0], from->y.data(), sw, from->u.data(), sw / 2, from->v.data(),
              sw / 2, sw, sh);
        constexpr auto kFilter = libyuv::kFilterBilinear;
        libyuv::ScalePlane(from->y.data(), sw, sw, sh, to->y.data(), dw, dw, dh, kFilter);
        libyuv::ScalePlane(from->u.data(), sw / 2, sw / 2, sh, to->u.data(), dw / 2, dw / 2, dh,
                           kFilter);
        libyuv::ScalePlane(from->v.data(), sw / 2, sw / 2, sh, to->v.data(), dw / 2, dw / 2, dh,
                           kFilter);
        pack(to->y.data(), dw, to->u.data(), dw / 2, to->v.data(), dw / 2, d.data[0], d.stride[0],
             dw, dh);
    };
}

// The nearest that libyuv has.
Work Libyuv(std::int32_t fccType, KernelFrame& src, KernelFrame& dst) {
    const PeerPlanes s = PlanesOf(src);
    const PeerPlanes d = PlanesOf(dst);
    const int sw = src.props.nWidth;
    const int sh = AbsHeight(src.props);
    const int dw = dst.props.nWidth;
    const int dh = AbsHeight(dst.props);
    constexpr auto kFilter = libyuv::kFilterBilinear;
    switch (fccType) {
        case kFccRGB8:
            return [=] {
                libyuv::ScalePlane(s.data[0], s.stride[0], sw, sh, d.data[0], d.stride[0], dw, dh,
                                   kFilter);
            };
        case kFccI420:
            return [=] {
                libyuv::I420Scale(s.data[0], s.stride[0], s.data[1], s.stride[1], s.data[2],
                                  s.stride[2], sw, sh, d.data[0], d.stride[0], d.data[1],
                                  d.stride[1], d.data[2], d.stride[2], dw, dh, kFilter);
            };
        case kFccRGB32:
            return [=] {
                libyuv::ARGBScale(s.data[0], s.stride[0], sw, sh, d.data[0], d.stride[0], dw, dh,
                                  kFilter);
            };
        case kFccUYVY:
            return Packed(libyuv::UYVYToI422, libyuv::I422ToUYVY, src, dst);
        case kFccYUY2:
            return Packed(libyuv::YUY2ToI422, libyuv::I422ToYUY2, src, dst);
        default:
            return {};
    }
}

void ReportResize(const Format& format, const Sizes& sizes) {
    KernelFrame src(format.fccType, sizes.fromWidth, sizes.fromHeight);
    KernelFrame dst(format.fccType, sizes.toWidth, sizes.toHeight);
    std::vector<BYTE> scratch(ResizeScratchBytes(src.props, dst.props));
    char label[64];
    std::snprintf(label, sizeof(label), "Img_Resize %s %s", format.name, sizes.name);
    PrintKernel(
        label, src.bytes.size() + dst.bytes.size(),
        [&] {
            (void)Img_Resize(src.Data(), dst.Data(), &src.props, &dst.props, nullptr, nullptr,
                             kResizeLinear, scratch.data());
        },
        "libyuv", Libyuv(format.fccType, src, dst));
}

// OpenCV takes a picture of as many channels: three planes for YUV.
Work Warp(KernelFrame& src, KernelFrame& dst, const std::array<PointD, 4>& corners) {
    const PeerPlanes s = PlanesOf(src);
    const PeerPlanes d = PlanesOf(dst);
    const int planes = s.data[1] ? 3 : 1;
    const int channels = planes == 3 ? 1 : BitsPerPixel(src.props.fccType) / 8;
    return [=] {
        for (int i = 0; i < planes; ++i) {
            const int shift = i == 0 ? 0 : 1;
            const int width = kKernelWidth >> shift;
            const int height = kKernelHeight >> shift;
            cv::Point2f from[] = {{0, 0},
                                  {static_cast<float>(width), 0},
                                  {static_cast<float>(width), static_cast<float>(height)},
                                  {0, static_cast<float>(height)}};
            cv::Point2f to[4];
            for (std::size_t k = 0; k < 4; ++k)
                to[k] = {static_cast<float>(corners[k].x / (1 << shift)),
                         static_cast<float>(corners[k].y / (1 << shift))};
            const cv::Mat map = cv::getPerspectiveTransform(from, to);
            const cv::Mat source(height, width, CV_8UC(channels), s.data[i],
                                 static_cast<std::size_t>(s.stride[i]));
            cv::Mat target(height, width, CV_8UC(channels), d.data[i],
                           static_cast<std::size_t>(d.stride[i]));
            cv::warpPerspective(source, target, map, target.size(), cv::INTER_LINEAR,
                                cv::BORDER_TRANSPARENT);
        }
    };
}

void ReportWarp(const Format& format) {
    KernelFrame src(format.fccType);
    KernelFrame dst(format.fccType);
    std::array<PointD, 4> corners{};
    const ImgRect whole{0, 0, kKernelWidth, kKernelHeight};
    (void)Img_ProjectCorners(&whole, kKernelWidth, 0, 0, corners.data(), 40, 30, 0);
    std::vector<BYTE> scratch(src.bytes.size() + dst.bytes.size());
    const bool isPacked = format.fccType == kFccYUY2 || format.fccType == kFccUYVY;
    char label[64];
    std::snprintf(label, sizeof(label), "Img_Perspective %s", format.name);
    PrintKernel(
        label, src.bytes.size() + dst.bytes.size(),
        [&] {
            (void)Img_Perspective(src.Data(), dst.Data(), &src.props, &dst.props, corners.data(),
                                  nullptr, nullptr, true, 2, scratch.data());
        },
        "OpenCV", isPacked ? Work() : Warp(src, dst, corners));
}

}  // namespace

void ReportScaling() {
    cv::setNumThreads(1);
    std::printf("Linear scaling, and projection of 1920 x 1080; speed, more is better:\n");
    for (const Sizes& sizes : kSizes)
        for (const Format& format : kFormats) ReportResize(format, sizes);
    for (const Format& format : kFormats) ReportWarp(format);
    std::printf("\n");
}

}  // namespace qdvm::bench
