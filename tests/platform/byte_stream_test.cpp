#include "platform/byte_stream.h"

#include <qdvideomixer/create.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace qdvm::test {
namespace {

LARGE_INTEGER By(std::int64_t distance) {
    LARGE_INTEGER move{};
    move.QuadPart = distance;
    return move;
}

ULARGE_INTEGER Size(std::uint64_t size) {
    ULARGE_INTEGER value{};
    value.QuadPart = size;
    return value;
}

class ByteStreamTest : public ::testing::Test {
protected:
    ByteStreamTest() {
        Ref<IStream> made;
        EXPECT_EQ(CreateByteStream(IID_IStream, made.PutVoid()), S_OK);
        stream = made;
    }

    static void Write(IStream& to, const std::string& text) {
        ULONG written = 0;
        EXPECT_EQ(to.Write(text.data(), static_cast<ULONG>(text.size()), &written), S_OK);
        EXPECT_EQ(written, text.size());
    }

    static std::string Read(IStream& from, ULONG most) {
        std::string text(most, '?');
        ULONG taken = 0;
        EXPECT_EQ(from.Read(text.data(), most, &taken), S_OK);
        text.resize(taken);
        return text;
    }

    Ref<IStream> stream;
};

TEST_F(ByteStreamTest, ReadsWhatWasWrittenFromEveryPosition) {
    Write(*stream, "hello");
    EXPECT_EQ(Read(*stream, 8), "");
    ULARGE_INTEGER position{};
    EXPECT_EQ(stream->Seek(By(-3), STREAM_SEEK_END, &position), S_OK);
    EXPECT_EQ(position.QuadPart, 2u);
    EXPECT_EQ(Read(*stream, 2), "ll");
    EXPECT_EQ(Read(*stream, 8), "o");
    EXPECT_EQ(stream->Seek(By(-1), STREAM_SEEK_SET, nullptr), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(stream->Seek(By(2), STREAM_SEEK_CUR, nullptr), S_OK);
    Write(*stream, "!");  // behind the end
    EXPECT_EQ(stream->Seek(By(4), STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(Read(*stream, 9), std::string("o\0\0!", 4));
    EXPECT_EQ(stream->SetSize(Size(3)), S_OK);
    STATSTG status{};
    EXPECT_EQ(stream->Stat(&status, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(status.cbSize.QuadPart, 3u);
    EXPECT_EQ(Read(*stream, 1), "");
}

TEST_F(ByteStreamTest, ClonesShareBytesAndCopiesDont) {
    Write(*stream, std::string(5000, 'a') + "b");
    EXPECT_EQ(stream->Seek(By(-4500), STREAM_SEEK_END, nullptr), S_OK);
    Ref<IStream> clone;
    ASSERT_EQ(stream->Clone(clone.Put()), S_OK);
    Ref<IStream> copy;
    ASSERT_EQ(CreateByteStream(IID_IStream, copy.PutVoid()), S_OK);
    ULARGE_INTEGER read{};
    ULARGE_INTEGER written{};
    EXPECT_EQ(stream->CopyTo(copy.Get(), Size(~0ull), &read, &written), S_OK);
    EXPECT_EQ(read.QuadPart, 4500u);
    EXPECT_EQ(written.QuadPart, 4500u);
    Write(*clone, "x");
    EXPECT_EQ(stream->Seek(By(501), STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(Read(*stream, 2), "xa");
    EXPECT_EQ(copy->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(Read(*copy, 2), "aa");
}

}  // namespace
}  // namespace qdvm::test
