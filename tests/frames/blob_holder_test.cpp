#include "frames/blob_holder.h"

#include "platform/file.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace qdvm {
namespace {

template <class Alloc>
class HolderOfEveryKind : public testing::Test {};
using Policies = testing::Types<CNewAlloc, CHeapAlloc, CCoTaskAlloc, CVirtualAlloc>;
TYPED_TEST_SUITE(HolderOfEveryKind, Policies);

TYPED_TEST(HolderOfEveryKind, IsEmptyUntilItGrows) {
    CBLOBHolder<TypeParam> holder;
    EXPECT_EQ(holder.Resize(0), S_FALSE);
    EXPECT_EQ(holder.At(0), nullptr);
    EXPECT_TRUE(holder.IsEmpty());
    holder.Fill(1, 0, -1);
    holder.CopyIn("x", 1, 0);
    EXPECT_EQ(holder.SetUsed(1), E_INVALIDARG);
}

TYPED_TEST(HolderOfEveryKind, KeepsItsBlockWhenItNeedNotGrow) {
    CBLOBHolder<TypeParam> holder;
    ASSERT_EQ(holder.Resize(8000, true, 0x5A), S_OK);
    BYTE* const block = holder.At(0);
    const std::uint32_t capacity = holder.Capacity();
    EXPECT_EQ(holder.Resize(10), S_FALSE);
    EXPECT_EQ(holder.Used(), 10u);
    EXPECT_EQ(holder.Resize(capacity), S_FALSE);
    EXPECT_EQ(holder.At(0), block);
    EXPECT_EQ(*holder.At(7999), 0x5A);
    holder.Clear();
    EXPECT_TRUE(holder.IsEmpty());
    EXPECT_NE(holder.At(capacity - 1), nullptr);
    EXPECT_EQ(holder.At(capacity), nullptr);
    EXPECT_EQ(holder.SetUsed(capacity), S_OK);
    EXPECT_EQ(holder.SetUsed(capacity + 1), E_INVALIDARG);
    EXPECT_EQ(holder.Used(), capacity);
}

TYPED_TEST(HolderOfEveryKind, LosesItsBlockWhenGrowthFailsAndWorksAgain) {
    CBLOBHolder<TypeParam> holder;
    ASSERT_EQ(holder.Resize(100), S_OK);
    EXPECT_EQ(holder.Resize(0xFFFFFFFFu, true, 1, 5), E_OUTOFMEMORY);
    EXPECT_TRUE(holder.IsEmpty());
    EXPECT_EQ(holder.Capacity(), 0u);
    EXPECT_EQ(holder.At(0), nullptr);
    EXPECT_EQ(holder.Resize(100, true, 7, 3), S_OK);
    EXPECT_EQ(holder.Used(), 3u);
    EXPECT_EQ(*holder.At(99), 7);
}

TYPED_TEST(HolderOfEveryKind, FillsAndCopiesOnlyWithinTheUsedSize) {
    CBLOBHolder<TypeParam> holder;
    ASSERT_EQ(holder.Resize(16, true, 0), S_OK);
    ASSERT_EQ(holder.SetUsed(8), S_OK);
    holder.Fill(1, 2, 3);
    holder.Fill(2, 6, 100);
    holder.Fill(3, 7, -1);
    holder.Fill(9, 20, 4);
    const BYTE filled[10] = {0, 0, 1, 1, 1, 0, 2, 3, 0, 0};
    EXPECT_TRUE(std::equal(filled, filled + 10, holder.At(0)));
    const BYTE source[16] = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
    holder.CopyIn(source, 16, 5);
    holder.CopyIn(source, 16, 9);
    const BYTE copied[10] = {0, 0, 1, 1, 1, 10, 11, 12, 0, 0};
    EXPECT_TRUE(std::equal(copied, copied + 10, holder.At(0)));
}

TYPED_TEST(HolderOfEveryKind, MovesItsBlock) {
    CBLOBHolder<TypeParam> holder;
    ASSERT_EQ(holder.Resize(50, true, 4), S_OK);
    CBLOBHolder<TypeParam> other(std::move(holder));
    EXPECT_EQ(holder.At(0), nullptr);
    ASSERT_EQ(holder.Resize(20), S_OK);
    holder = std::move(other);
    EXPECT_EQ(holder.Used(), 50u);
    EXPECT_EQ(*holder.At(49), 4);
}

TEST(Holder, AlignsAndRoundsByItsPolicy) {
    for (std::uint32_t size = 1; size < 100; ++size) {
        CBLOBHolder<CHeapAlloc> scratch;
        ASSERT_EQ(scratch.Resize(size, true, 0xFF), S_OK);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(scratch.At(0)) % 16, 0u);
        EXPECT_EQ(scratch.Capacity(), size);
    }
    CBLOBHolder<CVirtualAlloc> frame;
    ASSERT_EQ(frame.Resize(4097), S_OK);
    EXPECT_EQ(frame.Used(), 4097u);
    EXPECT_EQ(frame.Capacity(), 8192u);
    EXPECT_EQ(frame.Resize(8192), S_FALSE);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(frame.At(0)) % 4096, 0u);
}

TEST(Holder, AssignsUsedBytes) {
    CBLOBHolder<CVirtualAlloc> a;
    CBLOBHolder<CVirtualAlloc> b;
    ASSERT_EQ(a.Resize(9000, true, 3), S_OK);
    ASSERT_EQ(a.SetUsed(5000), S_OK);
    EXPECT_EQ(b.Assign(a), S_OK);
    EXPECT_EQ(b.Used(), 5000u);
    EXPECT_EQ(*b.At(4999), 3);
    EXPECT_EQ(a.Assign(a), S_FALSE);
    EXPECT_EQ(a.Used(), 5000u);
}

TEST(Holder, TakesAndGivesTaskMemory) {
    CBLOBHolder<CCoTaskAlloc> holder;
    ASSERT_EQ(holder.Resize(10), S_OK);
    holder.Attach({12, static_cast<BYTE*>(CoTaskMemAlloc(12))});
    EXPECT_EQ(holder.Used(), 12u);
    EXPECT_EQ(holder.Capacity(), 12u);
    const BLOB given = holder.Detach();
    EXPECT_EQ(given.cbSize, 12u);
    EXPECT_TRUE(holder.IsEmpty());
    CoTaskMemFree(given.pBlobData);
    holder.Attach({40, nullptr});
    EXPECT_TRUE(holder.IsEmpty());
    EXPECT_EQ(holder.Capacity(), 0u);
}

class LoadFileTest : public testing::Test {
protected:
    LoadFileTest() {
        std::string name = (std::filesystem::temp_directory_path() / "qdvm-load-XXXXXX").string();
        folder = mkdtemp(name.data());
    }
    ~LoadFileTest() override { std::filesystem::remove_all(folder); }

    std::u16string Write(std::vector<std::uint8_t> bytes) {
        const std::u16string path = (folder / "file").u16string();
        EXPECT_EQ(WriteFile(path, bytes), S_OK);
        return path;
    }

    std::filesystem::path folder;
    CBLOBHolder<CNewAlloc> holder;
};

TEST_F(LoadFileTest, ReadsAllOfIt) {
    ASSERT_EQ(holder.LoadFile(Write({1, 2, 3}), 2, 0), S_OK);
    EXPECT_EQ(holder.Used(), 3u);
    EXPECT_EQ(*holder.At(2), 3);
    EXPECT_EQ(*holder.At(3), 0);
    EXPECT_EQ(*holder.At(4), 0);
}

TEST_F(LoadFileTest, ReadsNoMoreThanAllowed) {
    ASSERT_EQ(holder.LoadFile(Write({1, 2, 3}), 0, 2), S_OK);
    EXPECT_EQ(holder.Used(), 2u);
    ASSERT_EQ(holder.LoadFile(Write({1, 2, 3}), 0, 20), S_OK);
    EXPECT_EQ(holder.Used(), 3u);
    EXPECT_EQ(holder.Capacity(), 20u);
}

TEST_F(LoadFileTest, TerminatesAnEmptyFile) {
    ASSERT_EQ(holder.LoadFile(Write({}), 2, 0), S_OK);
    EXPECT_EQ(holder.Used(), 0u);
    EXPECT_EQ(*holder.At(0), 0);
    EXPECT_EQ(*holder.At(1), 0);
}

TEST_F(LoadFileTest, TellsWhatIsWrong) {
    EXPECT_EQ(holder.LoadFile((folder / "absent").u16string(), 2, 0),
              HResultFromWin32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(holder.LoadFile(Write({1}), 2, 0xFFFFFFFFu), E_OUTOFMEMORY);
}

}  // namespace
}  // namespace qdvm
