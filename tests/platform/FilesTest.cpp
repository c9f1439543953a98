#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

class Files : public testing::Test {
protected:
    size_t entries() const {
        return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder.path()), {}));
    }
    Support::PlatformFolder folder;
    std::u16string file = folder.portable() + u"\\file \u00e9.txt";
};

TEST_F(Files, AreWrittenAppendedReadRenamedAndRemoved) {
    EXPECT_FALSE(readFile(file));
    EXPECT_EQ(lastError(), 2u);
    ASSERT_TRUE(appendToFile(file, "one"));
    ASSERT_TRUE(appendToFile(file, "two"));
    EXPECT_EQ(readFile(file), "onetwo");
    EXPECT_EQ(fileSize(file), 6u);
    ASSERT_TRUE(appendToFile(file, "three", true));
    const std::u16string other = folder.portable() + u"\\other";
    ASSERT_TRUE(writeFileAtomically(other, "old"));
    ASSERT_TRUE(renameFile(file, other));
    EXPECT_FALSE(fileExists(file));
    EXPECT_EQ(readFile(other), "three");
    EXPECT_TRUE(removeFile(other));
    EXPECT_FALSE(removeFile(other));
    EXPECT_EQ(entries(), 0u);
}

TEST_F(Files, ReadersSeeTheOldTextOrTheNewOneWhileTheFileIsReplaced) {
    const std::string texts[] = {std::string(100'000, 'a'), std::string(200'000, 'b')};
    ASSERT_TRUE(writeFileAtomically(file, texts[0]));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int round = 0; round < 50; ++round)
            writeFileAtomically(file, texts[round % 2]);
        done = true;
    });
    while (!done) {
        const auto text = readFile(file);
        EXPECT_TRUE(!text || *text == texts[0] || *text == texts[1]);
    }
    writer.join();
    EXPECT_EQ(entries(), 1u);
}

TEST_F(Files, AFailedReplacementLeavesNothingBehindAndLargerOnesAreNotRead) {
    EXPECT_FALSE(writeFileAtomically(folder.portable() + u"\\missing\\file", "text"));
    ASSERT_TRUE(createFolders(file));
    EXPECT_FALSE(writeFileAtomically(file, "text"));
    EXPECT_EQ(entries(), 1u);
    EXPECT_FALSE(readFile(file));
    EXPECT_EQ(lastError(), 5u);
    ASSERT_TRUE(writeFileAtomically(file + u"2", "12345"));
    EXPECT_EQ(readFile(file + u"2", 5), "12345");
    EXPECT_FALSE(readFile(file + u"2", 4));
}

TEST_F(Files, PathsThatNameNoFileFail) {
    ASSERT_TRUE(writeFileAtomically(file, "text"));
    for (const std::u16string& path : {std::u16string(), file + std::u16string(1, u'\0') + u".txt"}) {
        EXPECT_FALSE(fileExists(path));
        EXPECT_FALSE(readFile(path));
        EXPECT_FALSE(writeFileAtomically(path, "x"));
        EXPECT_FALSE(createFolders(path));
        EXPECT_FALSE(removeFile(path));
    }
    EXPECT_EQ(readFile(file), "text");
}

TEST_F(Files, LieInFoldersOfAnyDepth) {
    std::u16string deep = folder.portable();
    for (int level = 0; level < 20; ++level)
        deep += u"\\a folder of twenty!!";
    ASSERT_TRUE(createFolders(deep + u"\\"));
    ASSERT_TRUE(createFolders(deep));
    ASSERT_TRUE(writeFileAtomically(deep + u"\\file", "text"));
    EXPECT_EQ(readFile(deep + u"\\file"), "text");
    EXPECT_FALSE(createFolders(deep + u"\\file\\below"));
    EXPECT_FALSE(createFolders(deep + u"\\file"));
    EXPECT_EQ(lastError(), 183u);
}

TEST(Folders, AreKnownByTheirNames) {
    EXPECT_TRUE(fileExists(commonDataFolder()));
    EXPECT_EQ(knownFolder(u"ProgramData"), commonDataFolder());
    EXPECT_EQ(knownFolder(u"NoSuchFolder"), u"");
}

}  // namespace
