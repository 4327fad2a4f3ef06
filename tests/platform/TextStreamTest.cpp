// Tests of the text stream: line splitting, byte-order marks, conversion across block
// boundaries, every encoding key in both directions, and encoding guessing.
#include "platform/TextStream.h"

#include <gtest/gtest.h>

#include "formats/text/TextFileOptions.h"
#include "tests/support/TextTestSupport.h"

namespace {

using LineList = std::vector<std::string>;
using zm::TextStream;

LineList Lines(const std::string& path, const std::string& key) {
    TextStream stream(path, key, TextStream::Mode::kRead);
    EXPECT_FALSE(stream.Failed());
    LineList lines;
    std::string line;
    while (stream.GetLine(line))
        lines.push_back(line);
    return lines;
}

// Writes `text` in the encoding `key`, then reads its lines back.
LineList WrittenAndRead(const zmtest::ScratchDir& dir, const std::string& key,
                        const std::string& text) {
    {
        TextStream out(dir.Path(key), key, TextStream::Mode::kWrite);
        EXPECT_TRUE(out.WriteString(text));
    }
    return Lines(dir.Path(key), key);
}

TEST(TextStream, LinesByteOrderMarksAndBrokenInput) {
    struct Case {
        const char* what;
        std::string bytes, key;
        LineList lines;
    };
    const std::string bad = "\xEF\xBF\xBD";  // U+FFFD
    const Case cases[] = {
        {"LF and CR LF end lines", "a\nb\r\nc", "utf8", {"a", "b", "c"}},
        {"one CR before LF is dropped", "a\r\r\n\n", "utf8", {"a\r", ""}},
        {"a lone CR is text", "a\rb\n", "utf8", {"a\rb"}},
        {"empty file", "", "utf8", {}},
        {"one line end", "\n", "utf8", {""}},
        // A byte-order mark never reaches the text and wins over the key (UTF-16 and legacy
        // code pages are shown by the text and CSV fixture goldens).
        {"UTF-8 mark", "\xEF\xBB\xBFna\xC3\xAFve\n", "windows1252", {"na\xC3\xAFve"}},
        {"UTF-32LE mark", std::string("\xFF\xFE\0\0x\0\0\0", 8), "", {"x"}},
        {"UTF-32BE mark", std::string("\0\0\xFE\xFF\0\0\0x", 8), "", {"x"}},
        // A lone lead surrogate, a lone trail surrogate, and a file ending inside a unit.
        {"bad UTF-16",
         std::string("\xFF\xFE\0\xD8\x41\0\0\xDC\x42\0\x43", 11),
         "",
         {bad + "A" + bad + "B" + bad}},
        {"UTF-16 cut in a pair", std::string("\xFE\xFF\0\x41\xD8\x3D", 6), "", {"A" + bad}},
    };
    zmtest::ScratchDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Lines(dir.Write("in", c.bytes), c.key), c.lines);
    }

    size_t length = 0;
    EXPECT_EQ(zm::GetBomEncoding(reinterpret_cast<const uint8_t*>("\xFF\xFE\0\0"), 4, &length),
              "utf32le");
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(zm::GetBomEncoding(reinterpret_cast<const uint8_t*>("\xEF\xBB"), 2, &length), "");
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(zm::GetBomEncoding(dir.Write("g", "\xFE\xFF\0a")), "utf16be");
    EXPECT_EQ(zm::GetBomEncoding(dir.Path("missing")), "");
    // The local code page is UTF-8 only when the start is valid UTF-8.
    EXPECT_EQ(
        TextStream(dir.Write("u", "caf\xC3\xA9\n"), "", TextStream::Mode::kRead).EncodingKey(),
        "utf8");
    EXPECT_EQ(TextStream(dir.Write("w", "caf\xE9\n"), "", TextStream::Mode::kRead).EncodingKey(),
              "windows1252");
}

TEST(TextStream, CharactersSplitByTheConversionBlockComeOutWhole) {
    // The reader converts 256 KiB at a time; put a multibyte character across that edge
    // and make the file several blocks long.
    zmtest::ScratchDir dir;
    const size_t block = 256 * 1024;
    const std::string pad(block - 1, 'a'), nihon = "\xE6\x97\xA5\xE6\x9C\xAC";
    const std::string sjis = pad + "\x93\xFA\x96\x7B\n" + std::string(3 * block, 'b') + "\nend";
    EXPECT_EQ(Lines(dir.Write("sjis", sjis), "shiftjis"),
              (LineList{pad + nihon, std::string(3 * block, 'b'), "end"}));

    // UTF-16LE: an odd split after the mark, and a surrogate pair across the edge.
    std::string utf16("\xFF\xFE", 2);
    for (size_t i = 0; i < block / 2 - 2; ++i)
        utf16.append("z\0", 2);
    utf16.append("\x3D\xD8\x00\xDE\n\0", 6);  // U+1F600
    EXPECT_EQ(Lines(dir.Write("utf16", utf16), ""),
              (LineList{std::string(block / 2 - 2, 'z') + "\xF0\x9F\x98\x80"}));

    const std::string utf8 = pad + nihon + "\n" + std::string(2 * block, 'c');
    TextStream stream(dir.Write("utf8", utf8), "utf8", TextStream::Mode::kRead);
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

TEST(TextStream, LongMixedTextSurvivesEveryConversionPath) {
    // ASCII runs of every length between other characters, over several blocks, so that
    // the sixteen-unit and eight-byte copies meet every kind of edge.
    zmtest::ScratchDir dir;
    const char* others[] = {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xE6\x97\xA5"};
    for (const std::string key : {"utf16le", "utf16be", "utf32le", "windows1252", "utf8"}) {
        SCOPED_TRACE(key);
        std::string text;
        for (int i = 0; text.size() < 700000; ++i) {
            text.append(static_cast<size_t>(i % 41), static_cast<char>('a' + i % 26));
            text += others[i % (key == "windows1252" ? 2 : 4)];
            text += i % 7 == 0 ? "\n" : "";
        }
        text += '\n';
        std::string back;
        for (const auto& line : WrittenAndRead(dir, key, text))
            back += line + '\n';
        EXPECT_TRUE(back == text);
    }
}

TEST(TextStream, AnUnterminatedLastLineLongerThanWhatPrecedesItComesOutWhole) {
    // The last line has no line feed and is longer than the text before it in the
    // buffer, both in a short file and where it crosses the 256 KiB block edge; each
    // encoding takes a different road to UTF-8 (no conversion, byte table, UTF-16, ICU).
    zmtest::ScratchDir dir;
    const size_t block = 256 * 1024;
    const std::string longLast = "sample A\t12.5 " + std::string(3000, 'x') + " \xC3\xA9";
    const LineList shapes[] = {
        {"name\tvalue", "sample A\t12.5"},
        {"a\tb", "1.234\t5.678"},
        {std::string(block - 40, 'p'), longLast},
        {std::string(block - 2, 'p'), longLast},
        {std::string(2 * block + 7, 'q'), "r", longLast},
    };
    for (const std::string key : {"utf8", "windows1252", "utf16le", "utf16be", "gb18030"}) {
        for (const LineList& lines : shapes) {
            SCOPED_TRACE(key + " " + std::to_string(lines.front().size()));
            std::string text;
            for (size_t i = 0; i < lines.size(); ++i)
                text += lines[i] + (i + 1 < lines.size() ? "\r\n" : "");
            EXPECT_TRUE(WrittenAndRead(dir, key, text) == lines);
        }
    }
}

TEST(TextStream, TextReadAsUtf8IsAlwaysWellFormed) {
    // Ill-formed bytes in a file read without conversion become U+FFFD, one for each
    // maximal ill-formed part, also where the local code page was taken for UTF-8 from
    // the file's start and a windows-1252 byte comes after the sample.
    zmtest::ScratchDir dir;
    const std::string bad = "\xEF\xBF\xBD", block(256 * 1024 - 1, 'a');
    EXPECT_EQ(Lines(dir.Write("u", "a\xE9z\n\xC3\n\xED\xA0\x80x\n\xC0\xAF\n\xF0\x9F\x98"), "utf8"),
              (LineList{"a" + bad + "z", bad, bad + bad + bad + "x", bad + bad, bad}));
    const std::string late = std::string(70000, 'x') + "\ncaf\xE9\n";
    TextStream local(dir.Write("l", late), "", TextStream::Mode::kRead);
    EXPECT_EQ(local.EncodingKey(), "utf8");
    std::string line;
    ASSERT_TRUE(local.GetLine(line) && local.GetLine(line));
    EXPECT_EQ(line, "caf" + bad);
    // A well-formed character cut by the block edge stays whole; a bad one there does not.
    EXPECT_EQ(Lines(dir.Write("e", block + "\xC3\xA9\n" + block + "\xE9\n"), "utf8"),
              (LineList{block + "\xC3\xA9", block + bad}));
}

TEST(TextStream, GetCharEndOfFileAndFailures) {
    zmtest::ScratchDir dir;
    TextStream stream(dir.Write("c", std::string("\xFF\xFE\x61\0\xE9\0\x3D\xD8\0\xDE", 10)), "",
                      TextStream::Mode::kRead);
    std::u32string chars;
    char32_t c;
    EXPECT_FALSE(stream.EndOfFile());
    while (stream.GetChar(c))
        chars += c;
    EXPECT_EQ(chars, U"a\u00E9\U0001F600");
    EXPECT_TRUE(stream.EndOfFile());

    TextStream broken(dir.Write("b", "x\xC3"), "utf8", TextStream::Mode::kRead);
    ASSERT_TRUE(broken.GetChar(c));
    ASSERT_TRUE(broken.GetChar(c));
    EXPECT_EQ(c, 0xFFFDu);
    EXPECT_FALSE(broken.GetChar(c));

    EXPECT_TRUE(TextStream(dir.Write("x", "a"), "klingon", TextStream::Mode::kRead).Failed());
    EXPECT_TRUE(TextStream(dir.Path("no/dir"), "utf8", TextStream::Mode::kWrite).Failed());
    TextStream failed(dir.Path("none"), "utf8", TextStream::Mode::kRead);
    std::string line;
    EXPECT_TRUE(failed.Failed());
    EXPECT_FALSE(failed.GetLine(line));
    EXPECT_TRUE(failed.EndOfFile());
}

// A character of each encoding that ASCII lacks, so that a wrong table shows; the Unicode
// keys and the local code page take characters from everywhere.
std::string SampleFor(const std::string& key) {
    const std::string samples[] = {"\xD8\xA8 ibm420 iso88596 windows1256 ",
                                   "\xC5\x82 iso88592 windows1250 ",
                                   "\xE4\xB8\xAD gb18030 iso2022cn big5 ",
                                   "\xD0\x96 iso88595 koi8r windows1251 ",
                                   "\xCE\xA9 iso88597 windows1253 ",
                                   "\xD7\x90 ibm424 iso88598 windows1255 ",
                                   "\xE6\x97\xA5 eucjp iso2022jp shiftjis ",
                                   "\xED\x95\x9C euckr iso2022kr ",
                                   "\xC5\x9F iso88599 windows1254 ",
                                   "\xC3\xA9 cp850 iso88591 ",
                                   "\xE2\x82\xAC windows1252 "};
    for (const std::string& sample : samples) {
        if (!key.empty() && sample.find(" " + key + " ") != std::string::npos)
            return sample.substr(0, sample.find(' '));
    }
    return "\xC3\xA9\xF0\x9F\x98\x80";
}

TEST(TextStream, EveryKeyOfTheEncodingTableWritesAndReadsBack) {
    zmtest::ScratchDir dir;
    const char** keys = TextFileOptions::GetAllEncodings();
    for (size_t i = 0; i < TextFileOptions::GetEncodingsCount(); ++i) {
        const std::string key = keys[i], sample = SampleFor(key);
        SCOPED_TRACE(key);
        EXPECT_EQ(zm::IcuConverterName(key).empty(), key.empty());
        const std::string text = "id;" + sample + "\n2;x" + sample + "y\n";
        const std::string path = dir.Path("k" + std::to_string(i));
        {
            // Written in pieces through each overload.
            TextStream out(path, key, TextStream::Mode::kWrite);
            ASSERT_FALSE(out.Failed());
            ASSERT_TRUE(out.WriteString(text.substr(0, 2).c_str()));
            ASSERT_TRUE(out.WriteString(std::string_view(text).substr(2, 3)));
            ASSERT_TRUE(out.WriteString(text.substr(5)));
            ASSERT_TRUE(out.WriteString(nullptr));
            EXPECT_TRUE(out.Close());
        }
        if (key != "utf8" && !key.empty()) {
            EXPECT_EQ(zmtest::Slurp(path).find(sample), std::string::npos);
        }
        if (key.rfind("utf16", 0) == 0 || key.rfind("utf32", 0) == 0) {
            EXPECT_EQ(zm::GetBomEncoding(path), key);
        }
        EXPECT_EQ(Lines(path, key), (LineList{"id;" + sample, "2;x" + sample + "y"}));
    }
}

TEST(TextStream, GuessNamesAKeyOfTheTableWithAConfidence) {
    zmtest::ScratchDir dir;
    auto guess = [&](const std::string& bytes) {
        const zm::EncodingGuess g = zm::GetEncoding(dir.Write("g", bytes));
        return g.key + " " + std::to_string(g.confidence);
    };
    EXPECT_EQ(guess(std::string("\xFE\xFF\0a", 4)), "utf16be 100");
    std::string russian;
    for (int i = 0; i < 40; ++i)
        russian += "\xF0\xD2\xC9\xD7\xC5\xD4, \xCD\xC9\xD2! ";
    EXPECT_EQ(guess(russian).substr(0, 6), "koi8r ");
    EXPECT_EQ(zm::GetEncoding(dir.Path("missing")).key, "");
}

}  // namespace
