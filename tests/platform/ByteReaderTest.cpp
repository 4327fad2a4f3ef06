// The bounds-checked cursor every binary format reads through.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "platform/ByteReader.h"

namespace {

const uint8_t kBytes[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x00, 0x00, 0x80, 0x3F,
                          0xFF, 0xFE, 'a',  'b',  0x00, 'c',  0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F};

// The value `read` decodes at `offset`.
template <typename T>
T At(size_t offset, bool (zm::ByteReader::*read)(T&)) {
    zm::ByteReader r(kBytes, sizeof kBytes);
    T value{};
    EXPECT_TRUE(r.Seek(offset) && (r.*read)(value) && r.Position() == offset + sizeof(T));
    return value;
}

TEST(ByteReader, DecodesLittleAndBigEndianValues) {
    using R = zm::ByteReader;
    EXPECT_EQ(At(0, &R::ReadU16LE), 0x0201);
    EXPECT_EQ(At(0, &R::ReadU32BE), 0x01020304u);
    EXPECT_EQ(At(0, &R::ReadU64LE), 0x0807060504030201ull);
    EXPECT_EQ(At(8, &R::ReadF32LE), 1.0f);
    EXPECT_EQ(At(12, &R::ReadI16LE), -257);
    EXPECT_EQ(At(12, &R::ReadU16BE), 0xFFFE);
    EXPECT_EQ(At(16, &R::ReadF64LE), 1.0 + 0x6300 * 0x1p-52);
    EXPECT_EQ(At(9, &R::ReadI32LE), -12615680);
    EXPECT_EQ(At(5, &R::ReadI64LE), -54183933016275194LL);
    EXPECT_EQ(zm::LoadU16LE(kBytes), 0x0201);
    EXPECT_EQ(zm::LoadU32LE(kBytes + 12), 0x6261FEFFu);
    EXPECT_EQ(zm::LoadF32LE(kBytes + 8), 1.0f);
}

TEST(ByteReader, AFailedReadLeavesOutputAndPositionAndStaysFailed) {
    zm::ByteReader r(kBytes, 3);
    uint32_t v = 0xDEADBEEF;
    EXPECT_FALSE(r.ReadU32LE(v));
    EXPECT_EQ(v, 0xDEADBEEF);
    EXPECT_EQ(r.Position(), 0u);
    // Later reads that fit still work, but the fail flag stays.
    uint16_t w = 0;
    EXPECT_TRUE(r.ReadU16LE(w) && w == 0x0201 && r.Failed());
    std::string s = "keep";
    uint8_t raw[4] = {9, 9, 9, 9};
    const uint8_t* view = nullptr;
    zm::ByteReader sub;
    EXPECT_FALSE(r.ReadString(2, s) || r.ReadBytes(raw, 2) || r.View(2, view) || r.Skip(2) ||
                 r.ReadFixedString(2, s) || r.Sub(2, sub) || r.Seek(4));
    EXPECT_EQ(s, "keep");
    EXPECT_EQ(raw[0], 9);
    EXPECT_EQ(view, nullptr);
    EXPECT_EQ(r.Position(), 2u);
    // Counts near the largest size never wrap around.
    const size_t huge = std::numeric_limits<size_t>::max();
    EXPECT_FALSE(r.Skip(huge) || r.Skip(huge - 1) || r.ReadString(huge - 1, s) ||
                 r.Sub(huge, sub) || r.Seek(huge));
    EXPECT_EQ(r.Position(), 2u);
    EXPECT_EQ(r.Remaining(), 1u);
    // The end itself is a valid position; reading there fails.
    uint8_t b = 0;
    EXPECT_TRUE(r.Seek(3) && r.AtEnd() && !r.ReadU8(b) && r.Seek(0));
}

TEST(ByteReader, SubRecordsAndFixedStrings) {
    zm::ByteReader r(kBytes, sizeof kBytes);
    zm::ByteReader record;
    ASSERT_TRUE(r.Sub(6, record));
    EXPECT_EQ(r.Position(), 6u);
    EXPECT_EQ(record.Size(), 6u);
    uint32_t v = 0;
    EXPECT_TRUE(record.ReadU32LE(v) && v == 0x04030201u);
    EXPECT_FALSE(record.ReadU32LE(v));  // only two bytes left in the record
    EXPECT_FALSE(r.Failed());           // the outer cursor is unaffected
    // A fixed field stops at its first zero but the cursor moves by the whole field.
    std::string s;
    EXPECT_TRUE(r.Seek(14) && r.ReadFixedString(4, s) && s == "ab" && r.Position() == 18);
    EXPECT_TRUE(r.Seek(14) && r.ReadFixedString(2, s) && s == "ab");
    zm::ByteReader empty;
    EXPECT_TRUE(empty.AtEnd() && empty.ReadString(0, s) && s.empty());
}

}  // namespace
