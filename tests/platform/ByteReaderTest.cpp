// The bounds-checked cursor every binary format reads through.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "platform/ByteReader.h"

namespace {

const std::vector<uint8_t> kBytes = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,
                                     0x00, 0x00, 0x80, 0x3F, 0xFF, 0xFE, 'a',  'b',
                                     0x00, 'c',  0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F};

TEST(ByteReader, DecodesLittleAndBigEndianValues) {
    zm::ByteReader r(kBytes.data(), kBytes.size());
    uint16_t u16 = 0;
    uint32_t u32 = 0;
    uint64_t u64 = 0;
    ASSERT_TRUE(r.ReadU16LE(u16));
    EXPECT_EQ(u16, 0x0201);
    ASSERT_TRUE(r.Seek(0) && r.ReadU32BE(u32));
    EXPECT_EQ(u32, 0x01020304u);
    ASSERT_TRUE(r.Seek(0) && r.ReadU64LE(u64));
    EXPECT_EQ(u64, 0x0807060504030201ull);
    float f = 0;
    ASSERT_TRUE(r.ReadF32LE(f));
    EXPECT_EQ(f, 1.0f);
    int16_t i16 = 0;
    ASSERT_TRUE(r.ReadI16LE(i16));
    EXPECT_EQ(i16, -257);
    ASSERT_TRUE(r.Seek(16));
    double d = 0;
    ASSERT_TRUE(r.ReadF64LE(d));
    EXPECT_EQ(d, 1.0 + 0x6300 * 0x1p-52);
    EXPECT_TRUE(r.AtEnd());
    EXPECT_FALSE(r.Failed());

    // Signed 32/64-bit from all-ones patterns.
    const uint8_t ones[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    zm::ByteReader s(ones, 8);
    int32_t i32 = 0;
    int64_t i64 = 0;
    ASSERT_TRUE(s.ReadI32LE(i32));
    EXPECT_EQ(i32, -1);
    ASSERT_TRUE(s.Seek(0) && s.ReadI64LE(i64));
    EXPECT_EQ(i64, -1);
    uint16_t be = 0;
    ASSERT_TRUE(s.Seek(6) && s.ReadU16BE(be));
    EXPECT_EQ(be, 0xFFFF);
}

TEST(ByteReader, AFailedReadLeavesOutputAndPositionAndStaysFailed) {
    zm::ByteReader r(kBytes.data(), 3);
    uint32_t v = 0xDEADBEEF;
    EXPECT_FALSE(r.ReadU32LE(v));
    EXPECT_EQ(v, 0xDEADBEEF);
    EXPECT_EQ(r.Position(), 0u);
    EXPECT_TRUE(r.Failed());
    // Later reads that fit still work, but the fail flag stays.
    uint16_t w = 0;
    EXPECT_TRUE(r.ReadU16LE(w));
    EXPECT_EQ(w, 0x0201);
    EXPECT_TRUE(r.Failed());

    std::string s = "keep";
    EXPECT_FALSE(r.ReadString(2, s));
    EXPECT_EQ(s, "keep");
    EXPECT_EQ(r.Position(), 2u);
    uint8_t raw[4] = {9, 9, 9, 9};
    EXPECT_FALSE(r.ReadBytes(raw, 2));
    EXPECT_EQ(raw[0], 9);
    const uint8_t* view = nullptr;
    EXPECT_FALSE(r.View(2, view));
    EXPECT_EQ(view, nullptr);
    EXPECT_FALSE(r.Skip(2));
    EXPECT_EQ(r.Position(), 2u);
}

TEST(ByteReader, HugeCountsNeverWrapAround) {
    zm::ByteReader r(kBytes.data(), kBytes.size());
    ASSERT_TRUE(r.Skip(4));
    const size_t huge = std::numeric_limits<size_t>::max();
    EXPECT_FALSE(r.Skip(huge));
    EXPECT_FALSE(r.Skip(huge - 2));
    std::string s;
    EXPECT_FALSE(r.ReadString(huge - 3, s));
    zm::ByteReader sub;
    EXPECT_FALSE(r.Sub(huge, sub));
    EXPECT_FALSE(r.Seek(huge));
    EXPECT_EQ(r.Position(), 4u);
    EXPECT_EQ(r.Remaining(), kBytes.size() - 4);
}

TEST(ByteReader, SeekAllowsTheEndButNotBeyond) {
    zm::ByteReader r(kBytes.data(), kBytes.size());
    EXPECT_TRUE(r.Seek(kBytes.size()));
    EXPECT_TRUE(r.AtEnd());
    EXPECT_EQ(r.Remaining(), 0u);
    EXPECT_FALSE(r.Failed());
    uint8_t b = 0;
    EXPECT_FALSE(r.ReadU8(b));
    zm::ByteReader t(kBytes.data(), kBytes.size());
    ASSERT_TRUE(t.Skip(5));
    EXPECT_FALSE(t.Seek(kBytes.size() + 1));
    EXPECT_TRUE(t.Failed());
    EXPECT_EQ(t.Position(), 5u);
    EXPECT_TRUE(t.Seek(0));  // backwards is fine
}

TEST(ByteReader, SubLimitsARecordAndMovesPastIt) {
    zm::ByteReader r(kBytes.data(), kBytes.size());
    zm::ByteReader record;
    ASSERT_TRUE(r.Sub(6, record));
    EXPECT_EQ(r.Position(), 6u);
    EXPECT_EQ(record.Size(), 6u);
    uint32_t v = 0;
    ASSERT_TRUE(record.ReadU32LE(v));
    EXPECT_EQ(v, 0x04030201u);
    EXPECT_FALSE(record.ReadU32LE(v));  // only two bytes left in the record
    EXPECT_TRUE(record.Failed());
    EXPECT_FALSE(r.Failed());  // the outer cursor is unaffected
    uint16_t w = 0;
    ASSERT_TRUE(r.ReadU16LE(w));
    EXPECT_EQ(w, 0x0807);
}

TEST(ByteReader, FixedStringsStopAtZeroButMoveByTheField) {
    zm::ByteReader r(kBytes.data(), kBytes.size());
    ASSERT_TRUE(r.Seek(14));
    std::string s;
    ASSERT_TRUE(r.ReadFixedString(4, s));
    EXPECT_EQ(s, "ab");
    EXPECT_EQ(r.Position(), 18u);
    ASSERT_TRUE(r.Seek(14) && r.ReadFixedString(2, s));
    EXPECT_EQ(s, "ab");  // no terminator inside the field
    EXPECT_FALSE(r.ReadFixedString(100, s));
    EXPECT_EQ(s, "ab");

    zm::ByteReader empty;
    EXPECT_EQ(empty.Size(), 0u);
    EXPECT_TRUE(empty.AtEnd());
    EXPECT_TRUE(empty.ReadString(0, s));
    EXPECT_EQ(s, "");
    uint8_t b = 0;
    EXPECT_FALSE(empty.ReadU8(b));
}

TEST(ByteReader, LoadHelpersDecodeLittleEndian) {
    EXPECT_EQ(zm::LoadU16LE(kBytes.data()), 0x0201);
    EXPECT_EQ(zm::LoadU32LE(kBytes.data() + 4), 0x08070605u);
    EXPECT_EQ(zm::LoadF32LE(kBytes.data() + 8), 1.0f);
    EXPECT_EQ(zm::LoadU32LE(kBytes.data() + 12), 0x6261FEFFu);
}

}  // namespace
