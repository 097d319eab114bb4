// The reports of ratios, all or those whose names are given, or the single benchmarks that options
// ask for.

#include "bench.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

struct Report {
    const char* name;
    void (*print)();
};

constexpr Report kReports[] = {
    {"full-frame", qdvm::bench::ReportFullFrame},
    {"streams", qdvm::bench::ReportStreams},
    {"chroma-key", qdvm::bench::ReportChromaKey},
    {"layouts", qdvm::bench::ReportLayouts},
    {"blends", qdvm::bench::ReportBlends},
    {"scenes", qdvm::bench::ReportScenes},
#ifdef QDVM_BENCH_KERNEL_PEERS
    {"conversions", qdvm::bench::ReportConversions},
    {"scaling", qdvm::bench::ReportScaling},
#endif
#ifdef QDVM_BENCH_PUGIXML
    {"xml", qdvm::bench::ReportXml},
#endif
};

}  // namespace

int main(int argc, char** argv) {
    const bool isFiltered =
        std::any_of(argv + 1, argv + argc, [](const char* a) { return a[0] == '-'; });
    if (isFiltered) {
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    }
    const auto isAsked = [&](const char* name) {
        return argc == 1 || std::any_of(argv + 1, argv + argc,
                                        [&](const char* a) { return std::strcmp(a, name) == 0; });
    };
    for (int i = 1; i < argc; ++i)
        if (std::none_of(std::begin(kReports), std::end(kReports),
                         [&](const Report& r) { return std::strcmp(r.name, argv[i]) == 0; })) {
            std::fprintf(stderr, "bench_qdvm: there is no report '%s'; there are:", argv[i]);
            for (const Report& report : kReports) std::fprintf(stderr, " %s", report.name);
            std::fprintf(stderr, "\n");
            return 2;
        }
    std::printf("Ratios are medians of %d pairs, measured side by side in this run.\n\n",
                qdvm::bench::kPairs);
    for (const Report& report : kReports)
        if (isAsked(report.name)) report.print();
    return 0;
}
