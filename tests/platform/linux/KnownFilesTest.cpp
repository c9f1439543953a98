#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/Files.h"
#include "platform/KnownFiles.h"
#include "support/PlatformFolder.h"

namespace {

namespace fs = std::filesystem;

TEST(KnownFiles, TellsOfEveryChangeOnTheWayAndOfNoOther) {
    Support::PlatformFolder folder;
    const fs::path root = folder.path();
    const auto write = [&](const char* name, const char* text) { folder.write(root / name, text); };
    fs::create_directories(root / "real/inner");
    fs::create_directory_symlink("real", root / "link");
    write("real/inner/file", "1");
    fs::create_hard_link(root / "real/inner/file", root / "another name");
    const std::u16string path = Platform::portablePath((root / "link/inner/file").native());

    Platform::KnownFiles files;
    EXPECT_FALSE(files.unchanged());
    const std::pair<const char*, std::function<void()>> changes[]{
        {"appended to", [&] { std::ofstream(root / "real/inner/file", std::ios::app) << "2"; }},
        {"written by another name", [&] { std::ofstream(root / "another name") << "3"; }},
        {"replaced", [&] { write("real/inner/file", "3"); }},
        {"made unreadable", [&] { chmod((root / "real/inner/file").c_str(), 0); }},
        {"removed", [&] { fs::remove(root / "real/inner/file"); }},
        {"come to be", [&] { write("real/inner/file", "4"); }},
        {"a link",
         [&] {
             write("elsewhere", "5");
             fs::remove(root / "real/inner/file");
             fs::create_symlink("../../elsewhere", root / "real/inner/file");
         }},
        {"changed behind a link", [&] { std::ofstream(root / "elsewhere") << "6"; }},
        {"on another way",
         [&] {
             fs::create_directories(root / "other/inner");
             fs::remove(root / "link");
             fs::create_directory_symlink(root / "other", root / "link");
         }},
        {"moved with its folder", [&] { fs::rename(root / "other", root / "gone"); }},
    };
    for (const auto& [what, change] : changes) {
        files.follow({&path, 1});
        EXPECT_TRUE(files.unchanged()) << what;
        write("beside", what);
        write("real/beside", what);
        EXPECT_TRUE(files.unchanged()) << what;
        change();
        EXPECT_FALSE(files.unchanged()) << what;
        EXPECT_FALSE(files.unchanged()) << "told once, not known again until it is followed: " << what;
    }
}

TEST(KnownFiles, TellsOfTheRegistryWhereItIsFollowed) {
    Support::PlatformFolder folder;
    Platform::KnownFiles files;
    const std::pair<const char*, std::function<void()>> changes[]{
        {"written", [&] { folder.writeKey("A", "\"b\"=\"c\"\n"); }},
        {"another one", [&] { setenv("BREVANT_PLATFORM_DIR", (folder.path() / "other").c_str(), 1); }},
    };
    for (const auto& [what, change] : changes) {
        files.follow({}, Platform::KnownFiles::Registry::followed);
        EXPECT_TRUE(files.unchanged()) << what;
        change();
        EXPECT_FALSE(files.unchanged()) << what;
    }
}

}  // namespace
