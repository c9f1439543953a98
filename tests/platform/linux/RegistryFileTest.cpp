#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/Diagnostics.h"
#include "platform/Registry.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

std::vector<std::u16string> reports;

std::string numbered(int number) {
    return "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Logging]\n\"Severity\"=dword:" + std::to_string(number) +
           "\n\"Text\"=\"t\"\n";
}

class RegistryFiles : public testing::Test {
protected:
    RegistryFiles() {
        reports.clear();
        setDiagnosticSink(
            [](uint32_t level, const char16_t*, const char16_t*, uint32_t, const std::u16string& text) {
                Registry::system().openKey(u"SOFTWARE");  // as the log does that it stands for
                if (level == 4)
                    reports.push_back(text);
            });
    }
    ~RegistryFiles() override { setDiagnosticSink(nullptr); }

    std::optional<uint32_t> severity() const {
        const auto key = Registry::system().openKey(u"software\\CORVANE\\Logging");
        return key ? key->readNumber(u"severity") : std::nullopt;
    }

    Support::PlatformFolder folder;
};

TEST_F(RegistryFiles, AreReadAgainAfterEveryChange) {
    EXPECT_FALSE(severity());
    // Same size and often the same tick of the file system's clock.
    for (int number = 1; number < 10; ++number) {
        folder.writeRegistry(numbered(number));
        EXPECT_EQ(severity(), static_cast<uint32_t>(number));
    }
    const auto key = Registry::protectedReader().openKey(u"SOFTWARE\\Corvane\\Logging");
    ASSERT_TRUE(key);
    EXPECT_EQ(key->readText(u"TEXT"), u"t");
    EXPECT_FALSE(key->readText(u"Severity"));
    EXPECT_FALSE(key->readNumber(u"Text"));
    EXPECT_FALSE(key->readText(u""));
    folder.writeRegistry(numbered(1) + "@=\"d\"\n");
    EXPECT_EQ(key->readText(u""), u"d");
    std::filesystem::remove(folder.path() / "registry.reg");
    EXPECT_FALSE(key->readNumber(u"Severity"));
}

TEST_F(RegistryFiles, ThatDoNotParseOrAreTooLargeReadAsEmptyAndAreReportedOncePerText) {
    for (size_t number = 1; number < 3; ++number) {
        folder.writeRegistry(numbered(static_cast<int>(number)) + "nonsense\n");
        for (int time = 0; time < 3; ++time)
            EXPECT_FALSE(severity());
        EXPECT_EQ(reports.size(), number);
    }
    folder.writeRegistry(numbered(3));
    EXPECT_EQ(severity(), 3u);
    EXPECT_EQ(reports.size(), 2u);
    // A file of no blocks that would take all memory.
    std::filesystem::resize_file(folder.path() / "registry.reg", uintmax_t{1} << 40);
    EXPECT_FALSE(severity());
    EXPECT_EQ(reports.size(), 3u);
}

TEST_F(RegistryFiles, GiveManyReadersOneWholeState) {
    folder.writeRegistry(numbered(1));
    std::vector<std::jthread> readers;
    for (int index = 0; index < 3; ++index) {
        readers.emplace_back([&](const std::stop_token& end) {
            while (!end.stop_requested()) {
                const auto value = severity();
                EXPECT_TRUE(value && *value >= 1 && *value <= 9);
            }
        });
    }
    for (int round = 0; round < 200; ++round)
        folder.writeRegistry(numbered(1 + round % 9));
}

class RegistryWatches : public RegistryFiles {
protected:
    // The outcome of a wait that goes on while the test does.
    std::future<bool> waiting() {
        return std::async(std::launch::async, [this] { return watch->wait(); });
    }
    std::unique_ptr<RegistryWatch> watch = RegistryWatch::create(u"SOFTWARE\\Corvane\\Logging");
};

TEST_F(RegistryWatches, MissNoChangeAfterTheirConstruction) {
    folder.writeRegistry(numbered(1));
    EXPECT_TRUE(watch->wait());
    auto change = waiting();
    folder.writeRegistry(numbered(2));
    EXPECT_TRUE(change.get());
    EXPECT_EQ(severity(), 2u);
}

TEST_F(RegistryWatches, EndForGoodWhenTheyAreCancelled) {
    auto end = waiting();
    folder.write("another file", "which is nobody's concern");
    folder.writeRegistry("REGEDIT4\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane]\n\"of another key\"=dword:1\n");
    EXPECT_EQ(end.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    watch->cancel();
    EXPECT_FALSE(end.get());
    folder.writeRegistry(numbered(1));
    EXPECT_FALSE(watch->wait());
}

TEST_F(RegistryWatches, FollowAFolderThatComesGoesAndComesAgain) {
    const std::filesystem::path later = folder.path() / "not" / "yet";
    setenv("BREVANT_PLATFORM_DIR", later.c_str(), 1);
    watch = RegistryWatch::create(u"SOFTWARE\\Corvane\\Logging");
    for (int round = 1; round <= 3; ++round) {
        auto waiting = std::async(std::launch::async, [&] {
            while (severity() != static_cast<uint32_t>(round))
                ASSERT_TRUE(watch->wait());
        });
        std::filesystem::create_directories(later);
        folder.write("prepared", numbered(round));
        std::filesystem::rename(folder.path() / "prepared", later / "registry.reg");
        waiting.get();
        std::filesystem::remove_all(folder.path() / "not");
        while (severity())
            ASSERT_TRUE(watch->wait());
    }
}

// In a process of its own, with mounts of its own.
TEST_F(RegistryWatches, FollowMounts) {
    constexpr int refused = 77;
    const std::filesystem::path way = folder.path() / "way", file = way / "registry.reg",
                                other = folder.path() / "other";
    const auto put = [](const std::filesystem::path& to, int number) {
        std::ofstream(to) << numbered(number);
    };
    // Within the time that a watch may take, or it is cancelled.
    const auto expectTold = [&](int number) {
        auto told = waiting();
        if (told.wait_for(std::chrono::seconds(10)) == std::future_status::timeout)
            watch->cancel();
        EXPECT_TRUE(told.get()) << number;
        EXPECT_EQ(severity(), static_cast<uint32_t>(number));
    };
    const pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            _exit(refused);
        std::filesystem::create_directory(way);
        setenv("BREVANT_PLATFORM_DIR", way.c_str(), 1);
        put(file, 1);
        put(other, 2);
        watch = RegistryWatch::create(u"SOFTWARE\\Corvane\\Logging");
        EXPECT_EQ(mount(other.c_str(), file.c_str(), nullptr, MS_BIND, nullptr), 0);
        expectTold(2);
        put(other, 3);
        expectTold(3);
        EXPECT_EQ(mount("none", way.c_str(), "tmpfs", 0, nullptr), 0);
        put(file, 4);
        expectTold(4);
        EXPECT_EQ(umount(way.c_str()), 0);
        expectTold(3);
        _exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == refused)
        GTEST_SKIP() << "only root may mount";
    EXPECT_EQ(status, 0);
}

}  // namespace
