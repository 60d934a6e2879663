#include "kestrel/ByteBuffer.h"

#include <gtest/gtest.h>

#include <stdexcept>

using kestrel::ByteBuffer;
using kestrel::ByteBufferViewport;

TEST(ByteBufferViewportTest, SizeIsBoundedByCapacityAndIndexBySize) {
    unsigned char bytes[4] = {1, 2, 3, 4};
    ByteBufferViewport view(bytes, 4, 9);
    EXPECT_EQ(4u, view.size());

    view.size(2);
    EXPECT_NO_THROW(view.size(4));
    EXPECT_THROW(view.size(5), std::length_error);
    EXPECT_EQ(4u, view.size());

    EXPECT_EQ(4, view.at(3));
    view.at(0) = 9;
    EXPECT_EQ(9, bytes[0]);
    view.size(3);
    EXPECT_THROW(view.at(3), std::out_of_range);

    ByteBufferViewport empty;
    EXPECT_EQ(nullptr, empty.data());
    const ByteBufferViewport& constEmpty = empty;
    EXPECT_THROW(constEmpty.at(0), std::out_of_range);

    empty = view;
    EXPECT_EQ(view.data(), empty.data());
    EXPECT_EQ(3u, empty.size());
}

TEST(ByteBufferTest, ResizeKeepsOrDropsContents) {
    const unsigned char source[6] = {1, 2, 3, 4, 5, 6};
    ByteBuffer buffer(source, 6, 5);
    EXPECT_EQ(6u, buffer.capacity());
    EXPECT_EQ(5u, buffer.size());
    EXPECT_NE(source, buffer.data());

    buffer.resizeCapacity(6, false); // same capacity: nothing happens
    EXPECT_EQ(3, buffer.at(2));

    buffer.resizeCapacity(3, true);
    EXPECT_EQ(3u, buffer.capacity());
    EXPECT_EQ(3u, buffer.size());
    EXPECT_EQ(1, buffer.at(0));
    EXPECT_EQ(3, buffer.at(2));

    buffer.resizeCapacity(8, true);
    EXPECT_EQ(3u, buffer.size());
    EXPECT_EQ(2, buffer.at(1));

    buffer.resizeCapacity(2, false);
    EXPECT_EQ(2u, buffer.size());
    EXPECT_EQ(0, buffer.at(0));
    EXPECT_EQ(0, buffer.at(1));

    // Growing through size() allocates exactly what is asked, zeroed.
    buffer.at(0) = 7;
    buffer.size(10);
    EXPECT_EQ(10u, buffer.capacity());
    EXPECT_EQ(0, buffer.at(0));
    buffer.at(0) = 7;
    buffer.size(12, true);
    EXPECT_EQ(7, buffer.at(0));
    buffer.size(4);
    EXPECT_EQ(12u, buffer.capacity());
}

TEST(ByteBufferTest, CopiesAreDeepAndNeverAdoptForeignMemory) {
    const unsigned char source[3] = {1, 2, 3};
    ByteBuffer original(source, 3, 3);
    ByteBuffer copy(original);
    copy.at(0) = 9;
    EXPECT_EQ(1, original.at(0));
    EXPECT_EQ(3u, copy.capacity());
    EXPECT_EQ(3u, copy.size());

    unsigned char foreign[4] = {4, 5, 6, 7};
    ByteBufferViewport view(foreign, 4, 2);
    ByteBuffer fromView(view);
    EXPECT_NE(foreign, fromView.data());
    EXPECT_EQ(4u, fromView.capacity());
    EXPECT_EQ(2u, fromView.size());

    // The non-copying form, reached through the base, still copies: the buffer only frees its own array.
    ByteBufferViewport& base = copy;
    base.initialize(foreign, 4, 4);
    EXPECT_NE(foreign, copy.data());
    EXPECT_EQ(7, copy.at(3));
    // A size above the capacity, which stays as it is, is clamped to it as by the viewport.
    base.initialize(foreign, 4, 1000);
    EXPECT_EQ(4u, copy.capacity());
    EXPECT_EQ(4u, copy.size());
    base = view;
    EXPECT_NE(foreign, copy.data());
    EXPECT_EQ(2u, copy.size());

    copy = copy;
    EXPECT_EQ(4, copy.at(0));
    copy = original;
    EXPECT_EQ(1, copy.at(0));
    EXPECT_EQ(3u, copy.capacity());

    // A copy from inside the buffer itself survives the reallocation.
    copy.initialize(copy.data() + 1, 5, 2);
    EXPECT_EQ(2, copy.at(0));
    EXPECT_EQ(3, copy.at(1));
}
