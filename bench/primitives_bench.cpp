// Every primitive in each form of this processor on a picture of 1920 x 1080, from the registry
// that the tests run from. `of_memcpy` is its speed over that of a memcpy which reads and writes as
// many bytes, measured right before it; both in processor time.

#include "pixels/primitives/cpu_level.h"
#include "support/primitive_cases.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <set>
#include <string>
#include <vector>

namespace qdvm::test {

namespace {

constexpr ImageSize kPicture{1920, 1080};
constexpr std::ptrdiff_t kAlignment = 64;

// Time of this process on a processor, so that other work on the machine does not count.
double ProcessorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

// What memcpy needs to read and write so many bytes together: the median of several.
double CopySeconds(double bytesMoved) {
    const std::size_t bytes = static_cast<std::size_t>(bytesMoved / 2) + 1;
    const std::vector<Sample> from(bytes, 1);
    std::vector<Sample> to(bytes);
    constexpr int kRuns = 9;
    // Small copies are repeated until the clock can tell them.
    const int repeats = static_cast<int>(4e6 / static_cast<double>(bytes)) + 1;
    std::vector<double> seconds;
    for (int run = 0; run < kRuns; ++run) {
        const double start = ProcessorSeconds();
        for (int i = 0; i < repeats; ++i) {
            std::memcpy(to.data(), from.data(), bytes);
            benchmark::DoNotOptimize(to.data());
            benchmark::ClobberMemory();
        }
        seconds.push_back((ProcessorSeconds() - start) / repeats);
    }
    std::nth_element(seconds.begin(), seconds.begin() + kRuns / 2, seconds.end());
    return seconds[kRuns / 2];
}

struct Operands {
    std::vector<std::vector<Sample>> memory;
    std::vector<View> views;
    double bytesMoved = 0;

    explicit Operands(const PrimitiveCase& primitive) {
        for (const Operand& operand : primitive.operands) {
            const Extent extent = operand.extent(kPicture);
            const std::ptrdiff_t stride =
                (extent.rowBytes + 2 * operand.frame + kAlignment - 1) / kAlignment * kAlignment;
            const std::ptrdiff_t rows = extent.rows + 2 * operand.frame;
            memory.emplace_back(static_cast<std::size_t>(stride * (rows + 1)));
            std::uint32_t random = 1;
            for (Sample& sample : memory.back())
                sample = static_cast<Sample>((random = random * 1664525 + 1013904223) >> 24);
            views.push_back({memory.back().data() + operand.frame * (stride + 1), stride});
            const double bytes = static_cast<double>(extent.rowBytes) * extent.rows;
            bytesMoved += operand.role == Role::kReadWrite ? 2 * bytes : bytes;
        }
    }
};

void Run(benchmark::State& state, const PrimitiveCase& primitive, const RowForms& forms) {
    const Operands operands(primitive);
    const double copySeconds = CopySeconds(operands.bytesMoved);
    (void)UseForms(&forms);
    const double start = ProcessorSeconds();
    for (auto _ : state) {
        if (primitive.call(operands.views, kPicture) != kImageOk) state.SkipWithError("status");
        benchmark::ClobberMemory();
    }
    const double seconds = ProcessorSeconds() - start;
    (void)UseForms(nullptr);
    state.counters["of_memcpy"] = copySeconds * static_cast<double>(state.iterations()) / seconds;
    state.SetBytesProcessed(static_cast<std::int64_t>(operands.bytesMoved) * state.iterations());
}

bool Register() {
    for (const PrimitiveCase& primitive : PrimitiveCases()) {
        std::set<std::string> names;
        for (int level = 0; level < kCpuLevels; ++level) {
            const RowForms* forms = FormsOfLevel(level);
            if (!forms || !names.insert(forms->name).second) continue;
            if (primitive.slots.empty() && level > 0) continue;
            benchmark::RegisterBenchmark(
                ("primitives/" + primitive.name + "/" + forms->name).c_str(),
                [&primitive, forms](benchmark::State& state) { Run(state, primitive, *forms); })
                ->Unit(benchmark::kMicrosecond);
        }
    }
    return true;
}

[[maybe_unused]] const bool isRegistered = Register();

}  // namespace

}  // namespace qdvm::test
