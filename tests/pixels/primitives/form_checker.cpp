#include "form_checker.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace qdvm::test {

namespace {

constexpr std::size_t kMemoryBytes = 2 << 20;
constexpr int kMaxOperands = 4;

// Bytes around a region that are watched.
constexpr std::ptrdiff_t kWatched = 300;

using Bytes = std::vector<Sample>;

class UsingForms {
public:
    explicit UsingForms(const RowForms& forms) { (void)UseForms(&forms); }
    ~UsingForms() { (void)UseForms(nullptr); }
    UsingForms(const UsingForms&) = delete;
    UsingForms& operator=(const UsingForms&) = delete;
};

}  // namespace

struct FormChecker::Region {
    Role role;
    Extent extent;
    View view;
    Sample* watchedBegin;
    Sample* watchedEnd;

    Bytes Snapshot() const { return Bytes(watchedBegin, watchedEnd); }
    void Restore(const Bytes& bytes) const { std::copy(bytes.begin(), bytes.end(), watchedBegin); }

    // Where a row of the region begins in a snapshot.
    std::size_t RowAt(std::int32_t row) const {
        return static_cast<std::size_t>(view.data + row * view.stride - watchedBegin);
    }

    bool MayChange(std::size_t at) const {
        if (role == Role::kRead) return false;
        for (std::int32_t row = 0; row < extent.rows; ++row)
            if (at >= RowAt(row) && at < RowAt(row) + static_cast<std::size_t>(extent.rowBytes))
                return true;
        return false;
    }

    std::string Map(const Bytes& got, const Bytes& expected) const {
        std::ostringstream map;
        for (std::int32_t row = 0; row < std::min(extent.rows, 32); ++row) {
            for (std::ptrdiff_t x = 0; x < std::min<std::ptrdiff_t>(extent.rowBytes, 160); ++x) {
                const std::size_t at = RowAt(row) + static_cast<std::size_t>(x);
                map << (got[at] == expected[at] ? '.' : 'x');
            }
            map << '\n';
        }
        return map.str();
    }

    // The first byte that differs from what is expected, or that must not have changed.
    std::string Difference(const Bytes& before, const Bytes& got, const Bytes& expected) const {
        for (std::size_t at = 0; at < got.size(); ++at) {
            const bool isOutside = got[at] != before[at] && !MayChange(at);
            if (!isOutside && got[at] == expected[at]) continue;
            std::ostringstream text;
            text << (isOutside ? "outside the region" : "in the region") << ", byte "
                 << static_cast<std::ptrdiff_t>(at) - static_cast<std::ptrdiff_t>(RowAt(0))
                 << " from its start: " << int{got[at]} << " for " << int{expected[at]} << '\n'
                 << Map(got, expected);
            return text.str();
        }
        return {};
    }
};

FormChecker::FormChecker() : random(20240229) {
    for (int i = 0; i < kMaxOperands; ++i)
        memories.push_back(std::make_unique<GuardedMemory>(kMemoryBytes));
}

std::vector<FormChecker::Region> FormChecker::Arrange(const PrimitiveCase& primitive,
                                                      ImageSize size,
                                                      const Arrangement& arrangement) const {
    std::vector<Region> regions;
    for (std::size_t i = 0; i < primitive.operands.size(); ++i) {
        const Operand& operand = primitive.operands[i];
        if (arrangement.isInPlace && i + 1 == primitive.operands.size()) {
            regions.push_back(regions[0]);
            regions.back().role = operand.role;
            regions.front().role = operand.role;
            break;
        }
        const Extent extent = operand.extent(size);
        const std::ptrdiff_t stride = extent.rowBytes + 2 * operand.frame + arrangement.padding;
        // The frame that may be read touches the inaccessible page; the region lies inside it.
        const std::ptrdiff_t rows = extent.rows + 2 * operand.frame;
        const std::ptrdiff_t span = (rows - 1) * stride + extent.rowBytes + 2 * operand.frame;
        const GuardedMemory& memory = *memories[i];
        if (span + arrangement.distance > static_cast<std::ptrdiff_t>(memory.Size())) std::abort();
        Sample* first = arrangement.isAtEnd ? memory.End() - arrangement.distance - span
                                            : memory.Begin() + arrangement.distance;
        Sample* data = first + operand.frame * (stride + 1);
        Region region{operand.role, extent, {data, stride}, nullptr, nullptr};
        if (arrangement.isUpsideDown) region.view = {data + (extent.rows - 1) * stride, -stride};
        region.watchedBegin = std::max(first - kWatched, memory.Begin());
        region.watchedEnd = std::min(first + span + kWatched, memory.End());
        regions.push_back(region);
    }
    return regions;
}

void FormChecker::Fill(const Region& region, Contents contents) {
    for (Sample* at = region.watchedBegin; at < region.watchedEnd; ++at) {
        const auto bits = static_cast<std::uint32_t>(random());
        switch (contents) {
            case Contents::kRandom:
                *at = static_cast<Sample>(bits);
                break;
            case Contents::kExtremes:
                *at = bits & 1 ? 255 : 0;
                break;
            case Contents::kZeros:
                *at = 0;
                break;
            case Contents::kFull:
                *at = 255;
                break;
        }
    }
}

std::string FormChecker::Compare(const PrimitiveCase& primitive, ImageSize size,
                                 const Arrangement& arrangement, const RowForms& tested,
                                 const RowForms& reference) {
    const std::vector<Region> regions = Arrange(primitive, size, arrangement);
    std::vector<View> views;
    std::vector<Bytes> before;
    for (const Region& region : regions) {
        Fill(region, arrangement.contents);
        views.push_back(region.view);
    }
    for (const Region& region : regions) before.push_back(region.Snapshot());
    const auto run = [&](const RowForms& forms, std::vector<Bytes>* after) {
        const UsingForms inUse(forms);
        const ImageStatus status = primitive.call(views, size);
        for (const Region& region : regions) after->push_back(region.Snapshot());
        return status;
    };
    std::vector<Bytes> expected;
    std::vector<Bytes> got;
    // The reference comes second, so that nothing it left on the stack can help the form under
    // test.
    const ImageStatus gotStatus = run(tested, &got);
    for (std::size_t i = 0; i < regions.size(); ++i) regions[i].Restore(before[i]);
    const ImageStatus expectedStatus = run(reference, &expected);

    std::ostringstream fault;
    if (expectedStatus != kImageOk || gotStatus != kImageOk)
        fault << "status " << gotStatus << " for " << expectedStatus << '\n';
    for (std::size_t i = 0; i < regions.size(); ++i) {
        const std::string difference = regions[i].Difference(before[i], got[i], expected[i]);
        if (!difference.empty()) fault << "operand " << i << ' ' << difference;
    }
    if (fault.str().empty()) return {};
    std::ostringstream text;
    text << primitive.name << ", " << tested.name << ", " << size.width << " x " << size.height
         << ", padding " << arrangement.padding << (arrangement.isUpsideDown ? ", upside down" : "")
         << (arrangement.isInPlace ? ", in place" : "") << ": " << fault.str();
    return text.str();
}

}  // namespace qdvm::test
