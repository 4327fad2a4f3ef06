// Compound files from real writers: entry names in directory order, streams found without
// regard to case, small streams kept in the mini-stream, and files that are no compound file.
#include "platform/CompoundFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

// A file in the temporary folder of this process's own: test runs may share the folder.
std::string TempPath(const std::string& name) {
    return ::testing::TempDir() + std::to_string(::getpid()) + "-" + name;
}

using zm::CompoundFile;

std::string Corpus(const std::string& name) {
    return std::string(ZM_CORPUS) + "/xls/" + name;
}

// The record type and length at the start of a workbook stream: a BOF record.
std::pair<int, int> FirstRecord(zm::CompoundStream& stream) {
    uint8_t head[4] = {};
    if (stream.Read(head, 4) != 4)
        return {-1, -1};
    return {head[0] | head[1] << 8, head[2] | head[3] << 8};
}

TEST(CompoundFile, FindsTheWorkbookStreamWhateverItsCase) {
    const struct {
        const char* file;
        const char* asked;  // spelled differently from the file where the file allows it
        int bof;
    } cases[] = {
        {"WORKBOOK_in_capitals.xls", "Workbook", 0x0809},  // stored as "WORKBOOK"
        {"59074.xls", "BOOK", 0x0809},                     // stored as "Book", BIFF5
        {"minimal_112.xls", "workbook", 0x0809},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        ASSERT_TRUE(CompoundFile::IsCompoundFile(Corpus(c.file)));
        std::string error;
        const auto file = CompoundFile::Open(Corpus(c.file), &error);
        ASSERT_NE(file, nullptr) << error;
        const std::vector<std::string> names = file->EntryNames();
        EXPECT_FALSE(names.empty());
        auto stream = file->OpenStream(c.asked);
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(FirstRecord(*stream).first, c.bof);
        EXPECT_EQ(stream->Tell(), 4u);
        // Seeking back and past the end.
        const uint64_t size = stream->Size();
        EXPECT_GT(size, 16u);
        EXPECT_TRUE(stream->Seek(0));
        EXPECT_EQ(FirstRecord(*stream).first, c.bof);
        EXPECT_FALSE(stream->Seek(size + 1));
        EXPECT_TRUE(stream->Seek(size));
        uint8_t byte;
        EXPECT_EQ(stream->Read(&byte, 1), 0u);
        EXPECT_EQ(file->OpenStream("NoSuchStream"), nullptr);
        EXPECT_EQ(file->OpenStream(names.size()), nullptr);
    }
}

TEST(CompoundFile, SmallStreamsLiveInTheMiniStreamAndReadTheSame) {
    // Streams under 4096 bytes are stored in the mini-stream's 64-byte sectors.
    const auto file = CompoundFile::Open(Corpus("minimal_112.xls"));
    ASSERT_NE(file, nullptr);
    size_t small = 0;
    const auto names = file->EntryNames();
    for (size_t i = 0; i < names.size(); ++i) {
        auto stream = file->OpenStream(i);
        if (stream == nullptr || stream->Size() >= 4096)
            continue;
        ++small;
        std::vector<uint8_t> whole(stream->Size()), pieces;
        ASSERT_EQ(stream->Read(whole.data(), whole.size()), whole.size());
        ASSERT_TRUE(stream->Seek(0));
        uint8_t chunk[7];
        for (size_t got; (got = stream->Read(chunk, sizeof chunk)) > 0;)
            pieces.insert(pieces.end(), chunk, chunk + got);
        EXPECT_EQ(pieces, whole) << names[i];
    }
    EXPECT_GT(small, 0u);
}

TEST(CompoundFile, RefusesWhatIsNoCompoundFile) {
    for (const char* name : {"too_small.xls", "Test_git_issue_466_biff3.xls", "no-such-file.xls"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(CompoundFile::IsCompoundFile(Corpus(name)));
        std::string error;
        EXPECT_EQ(CompoundFile::Open(Corpus(name), &error), nullptr);
        EXPECT_FALSE(error.empty());
    }
}

TEST(CompoundFile, CutFilesOpenNotOrReadShortNeverOutside) {
    std::ifstream in(Corpus("WORKBOOK_in_capitals.xls"), std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(in), {}};
    const std::string path = TempPath("cut-compound.xls");
    for (size_t length = 0; length < whole.size(); length += length < 4096 ? 97 : 1531) {
        SCOPED_TRACE(length);
        std::ofstream(path, std::ios::binary).write(whole.data(), static_cast<long>(length));
        const auto file = CompoundFile::Open(path);
        if (file == nullptr)
            continue;
        const auto names = file->EntryNames();
        for (size_t i = 0; i < names.size(); ++i) {
            auto stream = file->OpenStream(i);
            if (stream == nullptr)
                continue;
            std::vector<uint8_t> buffer(4096);
            size_t total = 0;
            for (size_t got; (got = stream->Read(buffer.data(), buffer.size())) > 0;)
                total += got;
            EXPECT_LE(total, stream->Size());
        }
    }
    std::remove(path.c_str());
}

}  // namespace
