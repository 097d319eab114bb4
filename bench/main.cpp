// The reports of ratios, then the single benchmarks that the arguments ask for.

#include "bench.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    const bool isFiltered = argc > 1;
    benchmark::Initialize(&argc, argv);
    if (!isFiltered) {
        std::printf("Ratios are medians of %d pairs, measured side by side in this run.\n\n",
                    qdvm::bench::kPairs);
        qdvm::bench::ReportFullFrame();
        qdvm::bench::ReportStreams();
        qdvm::bench::ReportLayouts();
    }
    if (isFiltered) benchmark::RunSpecifiedBenchmarks();
    return 0;
}
