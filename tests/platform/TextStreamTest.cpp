// Tests of the text stream: line splitting, byte-order marks, conversion across block
// boundaries, every encoding key in both directions, and encoding guessing.
#include "platform/TextStream.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "formats/text/TextFileOptions.h"

namespace {

class TextStreamTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() /
              ("zm_textstream_" + std::to_string(::getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }

    std::string Make(const std::string& name, const std::string& bytes) {
        const std::string path = (dir / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    static std::vector<std::string> Lines(const std::string& path, const std::string& key) {
        zm::TextStream stream(path, key, zm::TextStream::Mode::kRead);
        EXPECT_FALSE(stream.Failed());
        std::vector<std::string> lines;
        std::string line;
        while (stream.GetLine(line))
            lines.push_back(line);
        return lines;
    }
    static std::string Slurp(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    std::filesystem::path dir;
};

using LineList = std::vector<std::string>;

TEST_F(TextStreamTest, LineFeedEndsLinesAndOneCarriageReturnBeforeItIsDropped) {
    EXPECT_EQ(Lines(Make("a", "a\nb\r\nc"), "utf8"), (LineList{"a", "b", "c"}));
    EXPECT_EQ(Lines(Make("b", "a\r\r\n\n"), "utf8"), (LineList{"a\r", ""}));
    EXPECT_EQ(Lines(Make("c", "a\rb\n"), "utf8"), (LineList{"a\rb"}));
    EXPECT_EQ(Lines(Make("d", ""), "utf8"), LineList{});
    EXPECT_EQ(Lines(Make("e", "\n"), "utf8"), LineList{""});
    EXPECT_EQ(Lines(Make("f", "x\r\ny\r\n"), "windows1252"), (LineList{"x", "y"}));
}

TEST_F(TextStreamTest, ByteOrderMarkNeverReachesTheTextAndWinsOverTheKey) {
    EXPECT_EQ(Lines(Make("u8", "\xEF\xBB\xBFna\xC3\xAFve\n"), "windows1252"),
              LineList{"na\xC3\xAFve"});
    EXPECT_EQ(Lines(Make("le", std::string("\xFF\xFEh\0\xE9\0\n\0", 8)), ""),
              LineList{"h\xC3\xA9"});
    EXPECT_EQ(Lines(Make("be", std::string("\xFE\xFF\0h\0\xE9", 6)), "utf8"),
              LineList{"h\xC3\xA9"});
    EXPECT_EQ(Lines(Make("32le", std::string("\xFF\xFE\0\0x\0\0\0", 8)), ""), LineList{"x"});
    EXPECT_EQ(Lines(Make("32be", std::string("\0\0\xFE\xFF\0\0\0x", 8)), ""), LineList{"x"});

    size_t length = 0;
    EXPECT_EQ(zm::GetBomEncoding(reinterpret_cast<const uint8_t*>("\xFF\xFE\0\0"), 4, &length),
              "utf32le");
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(zm::GetBomEncoding(reinterpret_cast<const uint8_t*>("\xEF\xBB"), 2, &length), "");
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(zm::GetBomEncoding(Make("g", "\xFE\xFF\0a")), "utf16be");
    EXPECT_EQ(zm::GetBomEncoding((dir / "missing").string()), "");
}

TEST_F(TextStreamTest, LocalCodePageIsUtf8OnlyWhenTheStartIsValidUtf8) {
    zm::TextStream utf8(Make("u", "caf\xC3\xA9\n"), "", zm::TextStream::Mode::kRead);
    EXPECT_EQ(utf8.EncodingKey(), "utf8");
    zm::TextStream legacy(Make("w", "caf\xE9 \x80\n"), "", zm::TextStream::Mode::kRead);
    EXPECT_EQ(legacy.EncodingKey(), "windows1252");
    std::string line;
    ASSERT_TRUE(legacy.GetLine(line));
    EXPECT_EQ(line, "caf\xC3\xA9 \xE2\x82\xAC");
}

TEST_F(TextStreamTest, CharactersSplitByTheConversionBlockComeOutWhole) {
    // The reader converts 256 KiB at a time; put a multibyte character across that edge
    // and make the file several blocks long.
    const size_t block = 256 * 1024;
    const std::string pad(block - 1, 'a');
    const std::string sjisNihon = "\x93\xFA\x96\x7B";  // two double-byte characters
    std::string sjis = pad + sjisNihon + "\n" + std::string(3 * block, 'b') + "\nend";
    const std::string nihon = "\xE6\x97\xA5\xE6\x9C\xAC";
    EXPECT_EQ(Lines(Make("sjis", sjis), "shiftjis"),
              (LineList{pad + nihon, std::string(3 * block, 'b'), "end"}));

    std::string utf8 = pad + nihon + "\n" + std::string(2 * block, 'c');
    EXPECT_EQ(Lines(Make("utf8", utf8), "utf8"),
              (LineList{pad + nihon, std::string(2 * block, 'c')}));

    // UTF-16LE: an odd split after the mark, and a surrogate pair across the edge.
    std::string utf16("\xFF\xFE", 2);
    for (size_t i = 0; i < block / 2 - 2; ++i)
        utf16.append("z\0", 2);
    utf16.append("\x3D\xD8\x00\xDE\n\0", 6);  // U+1F600
    EXPECT_EQ(Lines(Make("utf16", utf16), ""),
              (LineList{std::string(block / 2 - 2, 'z') + "\xF0\x9F\x98\x80"}));

    zm::TextStream stream((dir / "utf8").string(), "utf8", zm::TextStream::Mode::kRead);
    std::string joined;
    std::string_view chunk;
    while (stream.ReadChunk(chunk)) {
        // No chunk may end inside a character.
        ASSERT_FALSE(chunk.empty());
        EXPECT_NE(static_cast<unsigned char>(chunk.back()) & 0xC0, 0xC0u);
        joined.append(chunk);
    }
    EXPECT_EQ(joined, utf8);
}

TEST_F(TextStreamTest, LongMixedTextSurvivesEveryConversionPath) {
    // ASCII runs of every length between other characters, over several blocks, so that
    // the sixteen-unit and eight-byte copies meet every kind of edge.
    const char* others[] = {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xE6\x97\xA5"};
    for (const std::string key : {"utf16le", "utf16be", "utf32le", "windows1252", "utf8"}) {
        SCOPED_TRACE(key);
        const int kinds = key == "windows1252" ? 2 : 4;
        std::string text;
        for (int i = 0; text.size() < 700000; ++i) {
            text.append(static_cast<size_t>(i % 41), static_cast<char>('a' + i % 26));
            text += others[i % kinds];
            if (i % 7 == 0)
                text += '\n';
        }
        text += '\n';
        const std::string path = (dir / key).string();
        {
            zm::TextStream out(path, key, zm::TextStream::Mode::kWrite);
            ASSERT_TRUE(out.WriteString(text));
        }
        zm::TextStream in(path, key, zm::TextStream::Mode::kRead);
        std::string back, line;
        while (in.GetLine(line))
            back += line + '\n';
        EXPECT_TRUE(back == text);
    }
}

TEST_F(TextStreamTest, BrokenUtf16BecomesReplacementCharacters) {
    // A lone lead surrogate, a lone trail surrogate, and a file ending inside a unit.
    const std::string bytes(
        "\xFF\xFE\x00\xD8"
        "A\0"
        "\x00\xDC"
        "B\0"
        "C",
        11);
    EXPECT_EQ(Lines(Make("broken", bytes), ""), LineList{"\xEF\xBF\xBD"
                                                         "A"
                                                         "\xEF\xBF\xBD"
                                                         "B"
                                                         "\xEF\xBF\xBD"});
    const std::string cut(
        "\xFE\xFF\x00"
        "A\xD8\x3D",
        6);
    EXPECT_EQ(Lines(Make("cut", cut), ""), LineList{"A\xEF\xBF\xBD"});
}

TEST_F(TextStreamTest, GetCharYieldsCodePointsAndEndOfFileFollows) {
    const std::string path = Make("c", std::string("\xFF\xFE"
                                                   "a\0\xE9\0\x3D\xD8\x00\xDE",
                                                   10));
    zm::TextStream stream(path, "", zm::TextStream::Mode::kRead);
    std::vector<char32_t> chars;
    char32_t c;
    EXPECT_FALSE(stream.EndOfFile());
    while (stream.GetChar(c))
        chars.push_back(c);
    EXPECT_EQ(chars, (std::vector<char32_t>{U'a', U'\u00E9', U'\U0001F600'}));
    EXPECT_TRUE(stream.EndOfFile());

    zm::TextStream broken(Make("b", "x\xC3"), "utf8", zm::TextStream::Mode::kRead);
    ASSERT_TRUE(broken.GetChar(c));
    ASSERT_TRUE(broken.GetChar(c));
    EXPECT_EQ(c, 0xFFFDu);
    EXPECT_FALSE(broken.GetChar(c));
}

TEST_F(TextStreamTest, FailsOnMissingFileOrUnknownKey) {
    EXPECT_TRUE(
        zm::TextStream((dir / "none").string(), "utf8", zm::TextStream::Mode::kRead).Failed());
    EXPECT_TRUE(zm::TextStream(Make("x", "a"), "klingon", zm::TextStream::Mode::kRead).Failed());
    EXPECT_TRUE(zm::TextStream((dir / "no" / "dir").string(), "utf8", zm::TextStream::Mode::kWrite)
                    .Failed());
    zm::TextStream failed((dir / "none").string(), "utf8", zm::TextStream::Mode::kRead);
    std::string line;
    EXPECT_FALSE(failed.GetLine(line));
    EXPECT_TRUE(failed.EndOfFile());
}

// A character of each encoding that ASCII lacks, so that a wrong table shows.
std::string SampleFor(const std::string& key) {
    const std::pair<const char*, const char*> samples[] = {
        {"ibm420", "\xD8\xA8"},        {"iso88596", "\xD8\xA8"},
        {"windows1256", "\xD8\xA8"},   {"iso88592", "\xC5\x82"},
        {"windows1250", "\xC5\x82"},   {"gb18030", "\xE4\xB8\xAD"},
        {"iso2022cn", "\xE4\xB8\xAD"}, {"big5", "\xE4\xB8\xAD"},
        {"iso88595", "\xD0\x96"},      {"koi8r", "\xD0\x96"},
        {"windows1251", "\xD0\x96"},   {"iso88597", "\xCE\xA9"},
        {"windows1253", "\xCE\xA9"},   {"ibm424", "\xD7\x90"},
        {"iso88598", "\xD7\x90"},      {"windows1255", "\xD7\x90"},
        {"eucjp", "\xE6\x97\xA5"},     {"iso2022jp", "\xE6\x97\xA5"},
        {"shiftjis", "\xE6\x97\xA5"},  {"euckr", "\xED\x95\x9C"},
        {"iso2022kr", "\xED\x95\x9C"}, {"iso88599", "\xC5\x9F"},
        {"windows1254", "\xC5\x9F"},   {"cp850", "\xC3\xA9"},
        {"iso88591", "\xC3\xA9"},      {"windows1252", "\xE2\x82\xAC"},
    };
    for (const auto& [k, s] : samples) {
        if (key == k)
            return s;
    }
    return "\xC3\xA9\xF0\x9F\x98\x80";  // Unicode keys and the local code page
}

TEST_F(TextStreamTest, EveryKeyOfTheEncodingTableWritesAndReadsBack) {
    const char** keys = TextFileOptions::GetAllEncodings();
    for (size_t i = 0; i < TextFileOptions::GetEncodingsCount(); ++i) {
        const std::string key = keys[i];
        SCOPED_TRACE(key);
        EXPECT_EQ(zm::IcuConverterName(key).empty(), key.empty());
        const std::string text = "id;" + SampleFor(key) + "\n2;x" + SampleFor(key) + "y\n";
        const std::string path = (dir / ("k" + std::to_string(i))).string();
        {
            zm::TextStream out(path, key, zm::TextStream::Mode::kWrite);
            ASSERT_FALSE(out.Failed());
            ASSERT_TRUE(out.WriteString(text.substr(0, 2).c_str()));
            ASSERT_TRUE(out.WriteString(std::string_view(text).substr(2, 3)));
            ASSERT_TRUE(out.WriteString(text.substr(5)));
            ASSERT_TRUE(out.WriteString(nullptr));
            EXPECT_TRUE(out.Close());
        }
        const std::string bytes = Slurp(path);
        if (key != "utf8" && !key.empty()) {
            EXPECT_EQ(bytes.find(SampleFor(key)), std::string::npos);
        }
        if (key.rfind("utf16", 0) == 0 || key.rfind("utf32", 0) == 0) {
            EXPECT_EQ(zm::GetBomEncoding(path), key);
        }
        EXPECT_EQ(Lines(path, key),
                  (LineList{"id;" + SampleFor(key), "2;x" + SampleFor(key) + "y"}));
    }
}

TEST_F(TextStreamTest, GuessNamesAKeyOfTheTableWithAConfidence) {
    const zm::EncodingGuess bom = zm::GetEncoding(Make("b", std::string("\xFE\xFF\0a", 4)));
    EXPECT_EQ(bom.key, "utf16be");
    EXPECT_EQ(bom.confidence, 100);

    std::string russian;
    for (int i = 0; i < 40; ++i)
        russian += "\xF0\xD2\xC9\xD7\xC5\xD4, \xCD\xC9\xD2! ";
    const zm::EncodingGuess koi = zm::GetEncoding(Make("k", russian));
    EXPECT_EQ(koi.key, "koi8r");
    EXPECT_GE(koi.confidence, 0);
    EXPECT_LE(koi.confidence, 100);

    const zm::EncodingGuess utf8 = zm::GetEncoding(Make("u",
                                                        "Gr\xC3\xBC\xC3\x9F"
                                                        "e, caf\xC3\xA9, na\xC3\xAFve\n"));
    EXPECT_EQ(utf8.key, "utf8");
    EXPECT_GE(utf8.confidence, 61);

    const zm::EncodingGuess none = zm::GetEncoding((dir / "missing").string());
    EXPECT_EQ(none.key, "");
    EXPECT_EQ(none.confidence, 0);
}

}  // namespace
