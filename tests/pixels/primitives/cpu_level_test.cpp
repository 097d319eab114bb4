#include "pixels/primitives/cpu_level.h"

#include "pixels/primitives/forms.h"

#include <gtest/gtest.h>

namespace qdvm {

namespace {

constexpr std::uint32_t kSse3 = 1u << 0;
constexpr std::uint32_t kSsse3 = 1u << 9;
constexpr std::uint32_t kSse41 = 1u << 19;
constexpr std::uint32_t kSse42 = 1u << 20;
constexpr std::uint32_t kMovbe = 1u << 22;
constexpr std::uint32_t kXsave = 1u << 27;
constexpr std::uint32_t kAvx = 1u << 28;

std::uint32_t Signature(std::uint32_t family, std::uint32_t model, std::uint32_t familyMore = 0) {
    return family << 8 | (model & 15) << 4 | (model >> 4) << 16 | familyMore << 20;
}

int Level(const char* vendor, std::uint32_t signature, std::uint32_t features) {
    CpuId id;
    id.vendor = vendor;
    id.signature = signature;
    id.featuresC = features;
    return DecideCpuLevel(id);
}

TEST(CpuLevel, HighestFeatureDecides) {
    const char* const vendor = "AuthenticAMD";
    EXPECT_EQ(Level(vendor, Signature(15, 1, 10), 0), 0);
    EXPECT_EQ(Level(vendor, Signature(15, 1, 10), kSse3), 1);
    EXPECT_EQ(Level(vendor, Signature(15, 1, 10), kSse3 | kSsse3), 2);
    EXPECT_EQ(Level(vendor, Signature(15, 1, 10), kSse3 | kSsse3 | kSse41), 3);
    EXPECT_EQ(Level(vendor, Signature(15, 1, 10), kSse42), 3);
    EXPECT_EQ(Level(vendor, Signature(15, 1, 10), kSse3 | kAvx), 4);
}

TEST(CpuLevel, SomeModelsAreToldByNumber) {
    const char* const vendor = "GenuineIntel";
    const std::uint32_t all = kSse3 | kSsse3 | kSse41 | kSse42 | kMovbe | kAvx;
    EXPECT_EQ(Level(vendor, Signature(6, 15), all), 2);
    EXPECT_EQ(Level(vendor, Signature(6, 23), all), 3);
    EXPECT_EQ(Level(vendor, Signature(6, 26), all), 4);
    EXPECT_EQ(Level(vendor, Signature(6, 26), all & ~kAvx), 3);
    EXPECT_EQ(Level(vendor, Signature(6, 28), all), 2);
    EXPECT_EQ(Level(vendor, Signature(6, 28), all & ~kMovbe), 4);
    EXPECT_EQ(Level(vendor, Signature(15, 2), all), 1);
    // The extended family takes a processor out of family 15.
    EXPECT_EQ(Level(vendor, Signature(15, 2, 1), all), 4);
    // The same models of another vendor go by their features.
    EXPECT_EQ(Level("AuthenticAMD", Signature(6, 15), all), 4);
    // A model whose condition does not hold does, too.
    EXPECT_EQ(Level(vendor, Signature(6, 15), kSse3), 1);
}

TEST(CpuLevel, WideFormsNeedTheSystemToKeepTheirRegisters) {
    CpuId id;
    id.featuresC = kAvx | kXsave;
    id.featuresB7 = 1u << 5;
    id.savesWideRegisters = true;
    EXPECT_TRUE(HasAvx2(id));
    id.savesWideRegisters = false;
    EXPECT_FALSE(HasAvx2(id));
}

TEST(CpuLevel, TheEnvironmentCapsIt) {
    EXPECT_EQ(CpuLevelCap("0"), 0);
    EXPECT_EQ(CpuLevelCap("3"), 3);
    for (const char* const noCap : {"", "5", "-1", "2x", "top"}) EXPECT_EQ(CpuLevelCap(noCap), 4);
    EXPECT_EQ(CpuLevelCap(nullptr), 4);
}

TEST(CpuLevel, TheTableInUseIsTheLevels) {
    InitCpuLevel();
    InitCpuLevel();
    ASSERT_GE(CpuLevel(), 0);
    ASSERT_LT(CpuLevel(), kCpuLevels);
    EXPECT_EQ(&Forms(), FormsOfLevel(CpuLevel()));
    EXPECT_EQ(FormsOfLevel(-1), nullptr);
    EXPECT_EQ(FormsOfLevel(kCpuLevels), nullptr);
}

}  // namespace

}  // namespace qdvm
