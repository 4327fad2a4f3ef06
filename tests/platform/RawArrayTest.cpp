// The growable value array behind the CSV rows and the Python module's columns: values
// survive the move from the heap to an own mapping and its growth, whatever the value size.
#include "platform/RawArray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

TEST(RawArrayTest, ValuesSurviveGrowthFromHeapToMappingAndBeyond) {
    zm::RawArray<uint32_t> values;
    // 4 MiB of values: through realloc on the heap, the copy into a mapping at 1 MiB,
    // then remapping.
    constexpr uint32_t kCount = 1u << 20;
    for (uint32_t i = 0; i < kCount; ++i)
        values.Push(i * 7u);
    ASSERT_EQ(values.Size(), kCount);
    for (uint32_t i = 0; i < kCount; i += 4099)
        ASSERT_EQ(values[i], i * 7u) << i;
    EXPECT_EQ(values[kCount - 1], (kCount - 1) * 7u);

    values.Resize(kCount + 3, 42u);
    EXPECT_EQ(values[kCount - 1], (kCount - 1) * 7u);
    EXPECT_EQ(values[kCount + 2], 42u);
    values.Resize(5, 0u);  // never shrinks
    EXPECT_EQ(values.Size(), kCount + 3);
}

TEST(RawArrayTest, ExtendingLeavesRoomToFillAndKeepsWhatCameBefore) {
    zm::RawArray<char> text;
    // Room for a file's bytes, filled in place and cut back to what came, across the
    // move from the heap to a mapping.
    for (size_t round = 0; round < 40; ++round) {
        const size_t start = text.Size();
        char* room = text.Extend(100000 + 1);
        ASSERT_EQ(text.Size(), start + 100001);
        for (size_t i = 0; i < 100000; ++i)
            room[i] = static_cast<char>('a' + round % 26);
        text.Truncate(start + 100000);
    }
    ASSERT_EQ(text.Size(), 40u * 100000);
    for (size_t round = 0; round < 40; ++round)
        ASSERT_EQ(text[round * 100000 + 99999], static_cast<char>('a' + round % 26)) << round;
    // A small array grown past twice its room at once gets all of it.
    zm::RawArray<double> small;
    small.Reserve(40);
    small.Resize(70, 1.5);
    ASSERT_GE(small.Capacity(), 70u);
    EXPECT_EQ(small[69], 1.5);
}

TEST(RawArrayTest, OddSizedValuesAtTheMappingThresholdAreReleasedTheWayTheyWereTaken) {
    // 24-byte values: a capacity just at 1 MiB is not a whole number of them, so the
    // way the block was taken cannot be told from the capacity.
    using Triple = std::array<uint64_t, 3>;
    for (size_t bytes : {(size_t{1} << 20) - 24, size_t{1} << 20, (size_t{1} << 20) + 24}) {
        zm::RawArray<Triple> values;
        values.Reserve(bytes / sizeof(Triple) + (bytes % sizeof(Triple) != 0));
        values.Push(Triple{1, 2, 3});
        values.Reserve(values.Capacity() + 1);
        ASSERT_EQ(values[0][2], 3u);
    }
}

TEST(RawArrayTest, MovingHandsOverTheBlock) {
    zm::RawArray<uint64_t> source;
    source.Reserve(size_t{1} << 18);  // 2 MiB: a mapping
    source.Push(5);
    zm::RawArray<uint64_t> target(std::move(source));
    EXPECT_TRUE(source.Empty());
    EXPECT_EQ(source.Capacity(), 0u);
    ASSERT_EQ(target.Size(), 1u);
    EXPECT_EQ(target[0], 5u);

    zm::RawArray<uint64_t> small;
    small.Push(9);
    target = std::move(small);  // the mapping is released, the heap block taken over
    ASSERT_EQ(target.Size(), 1u);
    EXPECT_EQ(target[0], 9u);
    source.Push(1);  // a moved-from array is usable again
    EXPECT_EQ(source[0], 1u);
}

TEST(RawArrayTest, ReleasedMappingsServeTheNextArrayOfAboutTheirSize) {
    constexpr size_t kBig = size_t{8} << 20;
    const char* first = nullptr;
    {
        // Nothing is kept by default.
        zm::RawArray<char> block;
        block.Reserve(kBig);
    }
    size_t spare = 0;
    EXPECT_EQ(zm::TakeSpareMapping(kBig, spare), nullptr);
    zm::SetSpareMappingLimit(size_t{256} << 20);
    {
        zm::RawArray<char> block;
        block.Reserve(kBig);
        first = block.Data();
        *block.Extend(kBig) = 'x';
    }
    {
        // Much smaller: the kept mapping is left for a larger array.
        zm::RawArray<char> small;
        small.Reserve(size_t{2} << 20);
        EXPECT_NE(small.Data(), first);
    }
    zm::RawArray<uint64_t> reused;
    reused.Reserve(kBig / sizeof(uint64_t) - 100);
    EXPECT_EQ(reinterpret_cast<const char*>(reused.Data()), first);
    EXPECT_GE(reused.Capacity() * sizeof(uint64_t), kBig);
    // Values written and grown through a remapping like any other.
    const uint64_t count = reused.Capacity() + 10;
    for (uint64_t i = 0; i < count; ++i)
        reused.Push(i);
    EXPECT_EQ(reused[reused.Size() - 1], reused.Size() - 1);

    // Kept mappings go to one array each, however many arrays are made at once.
    std::vector<zm::RawArray<char>> released(12);
    for (auto& array : released)
        array.Reserve(kBig);
    released.clear();
    std::vector<zm::RawArray<char>> held(16);
    std::vector<const char*> blocks;
    for (auto& array : held) {
        array.Reserve(kBig);
        blocks.push_back(array.Data());
    }
    std::sort(blocks.begin(), blocks.end());
    EXPECT_EQ(std::adjacent_find(blocks.begin(), blocks.end()), blocks.end());

    // Lowering the bound lets go of what no longer fits.
    held.clear();
    zm::SetSpareMappingLimit(0);
    EXPECT_EQ(zm::TakeSpareMapping(kBig, spare), nullptr);
}

}  // namespace
