// Where a stream goes in the drawing order.

#include "scenes/stream_order.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace qdvm::test {
namespace {

using Order = std::vector<std::int32_t>;

// Streams 0, 1, 2 and the free one, 3.
Order Moved(std::int32_t stream, std::int32_t position, bool swap, Order order = {0, 1, 2, 3}) {
    MoveStream(order, 4, stream, position, swap);
    return order;
}

TEST(StreamOrder, TheStreamsBetweenCloseUp) {
    EXPECT_EQ(Moved(0, 2, false), (Order{1, 2, 0, 3}));
    EXPECT_EQ(Moved(2, 0, false), (Order{2, 0, 1, 3}));
    EXPECT_EQ(Moved(1, 1, false), (Order{0, 1, 2, 3}));
}

TEST(StreamOrder, SwappedStreamsChangePlaces) {
    EXPECT_EQ(Moved(0, 2, true), (Order{2, 1, 0, 3}));
    EXPECT_EQ(Moved(2, -9, true), (Order{2, 1, 0, 3}));
}

TEST(StreamOrder, NumbersAreLimitedAndTheFreeStreamStaysLast) {
    EXPECT_EQ(Moved(2, INT32_MIN, false), (Order{2, 0, 1, 3}));
    for (const std::int32_t position : {3, 4, INT32_MAX})
        EXPECT_EQ(Moved(0, position, false), (Order{1, 2, 0, 3}));
    EXPECT_EQ(Moved(-5, 1, false), (Order{1, 0, 2, 3}));
}

// As a document written by hand may leave it.
TEST(StreamOrder, AnOrderThatLacksTheStreamGetsIt) {
    EXPECT_EQ(Moved(1, 1, false, {0, 2, 3}), (Order{0, 2, 1, 3}));
    Order none;
    MoveStream(none, 4, 0, 0, false);
    EXPECT_TRUE(none.empty());
}

}  // namespace
}  // namespace qdvm::test
