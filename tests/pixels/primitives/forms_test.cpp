// Every form of every primitive against the plain one.

#include "form_checker.h"
#include "pixels/primitives/cpu_level.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string>
#include <vector>

namespace qdvm::test {

namespace {

const RowForms& Plain() { return *FormsOfLevel(0); }

// The tables of this processor that differ, the plain one included.
std::vector<const RowForms*> Tables() {
    std::vector<const RowForms*> tables;
    std::set<std::string> names;
    for (int level = 0; level < kCpuLevels; ++level) {
        const RowForms* forms = FormsOfLevel(level);
        if (forms && names.insert(forms->name).second) tables.push_back(forms);
    }
    return tables;
}

class FormsTest : public testing::TestWithParam<std::size_t> {
protected:
    const PrimitiveCase& Primitive() const { return PrimitiveCases()[GetParam()]; }

    // Empty, or the first fault over sizes and arrangements.
    std::string Check(const RowForms& forms, std::int32_t widest) {
        constexpr Contents kContents[] = {Contents::kRandom, Contents::kExtremes, Contents::kZeros,
                                          Contents::kFull};
        constexpr std::ptrdiff_t kPaddings[] = {0, 1, 13, 64};
        int run = 0;
        for (std::int32_t width = Primitive().smallest.width; width <= widest; ++width, ++run) {
            // Neighbouring widths differ in everything else as well.
            Arrangement arrangement;
            arrangement.padding = kPaddings[run % 4];
            arrangement.isUpsideDown = run % 3 == 1;
            arrangement.isAtEnd = run % 5 != 2;
            arrangement.distance = run % 7 == 3 ? run % 32 : 0;
            arrangement.isInPlace = Primitive().mayRunInPlace && run % 2 == 1;
            arrangement.contents = kContents[run % 11 == 10 ? 3 : run % 11 == 9 ? 2 : run % 2];
            const std::int32_t height = Primitive().smallest.height + run % 4;
            const std::string fault =
                checker.Compare(Primitive(), {width, height}, arrangement, forms, Plain());
            if (!fault.empty()) return fault;
        }
        return {};
    }

    FormChecker checker;
};

constexpr std::int32_t kFewVectors = 140;

TEST_P(FormsTest, GiveThePlainFormsBytesAtAnyWidth) {
    for (const RowForms* forms : Tables()) EXPECT_EQ(Check(*forms, kFewVectors), "");
}

TEST_P(FormsTest, AgreeOverStripsAndPatterns) {
    for (const RowForms* forms : Tables())
        for (const std::int32_t width : {1023, 2051}) {
            Arrangement arrangement;
            EXPECT_EQ(checker.Compare(Primitive(), {width, 6}, arrangement, *forms, Plain()), "");
        }
}

TEST_P(FormsTest, AreReachedThroughTheTable) {
    for (const RowForms* forms : Tables())
        for (const Slot& slot : Primitive().slots) {
            RowForms broken = *forms;
            slot.disable(&broken);
            EXPECT_NE(Check(broken, 40), "")
                << slot.name << " of " << forms->name << " was not missed";
        }
}

INSTANTIATE_TEST_SUITE_P(Primitives, FormsTest,
                         testing::Range(std::size_t{0}, PrimitiveCases().size()),
                         [](const testing::TestParamInfo<std::size_t>& primitive) {
                             std::string name = PrimitiveCases()[primitive.param].name;
                             for (char& letter : name)
                                 if (!std::isalnum(static_cast<unsigned char>(letter)))
                                     letter = '_';
                             return name;
                         });

TEST(FormTables, FasterLevelsReplaceTheFormsOfEveryRowOperation) {
    const std::vector<const RowForms*> tables = Tables();
    if (tables.size() < 2) GTEST_SKIP() << "this processor has the plain forms only";
    // Nothing in the mixer asks for these in each frame.
    const std::set<std::string> plainOnly = {"warp.cubic[0]", "warp.cubic[1]", "warp.cubic[2]"};
    for (const PrimitiveCase& primitive : PrimitiveCases())
        for (const Slot& slot : primitive.slots)
            EXPECT_EQ(slot.isSame(*tables.back(), Plain()), plainOnly.count(slot.name) == 1)
                << slot.name;
}

// Faults that a careless form would have, planted into a real one.
class PlantedFaults : public testing::Test {
protected:
    std::string CheckWith(void (*extract4)(const Sample*, Sample*, std::int32_t)) {
        RowForms broken = Plain();
        broken.channels.extract4 = extract4;
        const auto& cases = PrimitiveCases();
        const auto primitive = std::find_if(
            cases.begin(), cases.end(),
            [](const PrimitiveCase& candidate) { return candidate.name == "Copy_8u_C4C1R"; });
        Arrangement arrangement;
        arrangement.padding = 8;
        arrangement.distance = 8;
        return FormChecker().Compare(*primitive, {37, 3}, arrangement, broken, Plain());
    }
};

TEST_F(PlantedFaults, AWrongLastColumnIsFoundAndMapped) {
    const std::string fault = CheckWith([](const Sample* src, Sample* dst, std::int32_t n) {
        kChannelRowsPlain.extract4(src, dst, n);
        dst[n - 1] = static_cast<Sample>(dst[n - 1] + 1);
    });
    EXPECT_NE(fault.find("in the region"), std::string::npos);
    EXPECT_NE(fault.find("...x\n"), std::string::npos);
}

TEST_F(PlantedFaults, AByteBehindARowIsFound) {
    const std::string fault = CheckWith([](const Sample* src, Sample* dst, std::int32_t n) {
        kChannelRowsPlain.extract4(src, dst, n);
        dst[n] = static_cast<Sample>(~dst[n]);
    });
    EXPECT_NE(fault.find("outside the region"), std::string::npos);
}

TEST_F(PlantedFaults, AByteBeforeARowIsFound) {
    const std::string fault = CheckWith([](const Sample* src, Sample* dst, std::int32_t n) {
        dst[-1] = static_cast<Sample>(~dst[-1]);
        kChannelRowsPlain.extract4(src, dst, n);
    });
    EXPECT_NE(fault.find("outside the region"), std::string::npos);
}

TEST(PlantedFaultsDeathTest, AReadBehindTheLastRowStopsTheProcess) {
    GuardedMemory memory(64);
    const auto readBehind = [&] {
        volatile const Sample* at = memory.End();
        return int{*at};
    };
    EXPECT_DEATH((void)readBehind(), "");
}

}  // namespace

}  // namespace qdvm::test
