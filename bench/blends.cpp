// Blends, fills, copies and flips of whole pictures, against a copy of as many bytes in and out.

#include "kernel_run.h"
#include "pixels/img_copy.h"
#include "pixels/img_fill.h"
#include "pixels/img_flip.h"
#include "pixels/img_mix.h"

#include <cstdio>
#include <string>

namespace qdvm::bench {
namespace {

struct Format {
    const char* name;
    std::int32_t fccType;
};

constexpr Format kFormats[] = {{"I420", kFccI420}, {"YUY2", kFccYUY2},  {"UYVY", kFccUYVY},
                               {"BGR", kFccRGB24}, {"BGRx", kFccRGB32}, {"BGRA", kFccARGB32}};

void ReportFormat(const Format& format) {
    const KernelFrame src(format.fccType);
    KernelFrame dst(format.fccType);
    const KernelFrame plane(kFccRGB8);
    const std::size_t bytes = src.bytes.size();
    const auto report = [&](const char* kernel, std::size_t moved, const Work& ours) {
        PrintKernel((std::string(kernel) + " " + format.name).c_str(), moved, ours, "", {});
    };
    report("Img_MixConst", 3 * bytes, [&] {
        (void)Img_MixConst(src.Data(), dst.Data(), 128, 128, &src.props, &dst.props, nullptr,
                           nullptr);
    });
    report("Img_MixPlane", 3 * bytes + plane.bytes.size(), [&] {
        (void)Img_MixPlane(src.Data(), plane.Data(), dst.Data(), &src.props, &dst.props, false,
                           nullptr, nullptr);
    });
    report("Img_FillRect at half", 2 * bytes,
           [&] { (void)Img_FillRect(dst.Data(), &dst.props, 0x123456, nullptr, 128); });
    report("Img_CopyRect", 2 * bytes, [&] {
        (void)Img_CopyRect(src.Data(), dst.Data(), &src.props, &dst.props, nullptr, nullptr);
    });
    for (const bool vertical : {true, false})
        report(vertical ? "Img_Flip vertical" : "Img_Flip horizontal", 2 * bytes, [&] {
            (void)Img_Flip(src.Data(), dst.Data(), &src.props, &dst.props, vertical, !vertical,
                           nullptr, nullptr);
        });
}

}  // namespace

void ReportBlends() {
    std::printf("Blends, fills, copies and flips of 1920 x 1080; speed, more is better:\n");
    for (const Format& format : kFormats) ReportFormat(format);
    std::printf("\n");
}

}  // namespace qdvm::bench
