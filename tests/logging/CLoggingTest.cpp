#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <map>

#include "logging/CLogger.h"
#include "logging/CLogging.h"
#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "support/PlatformFolder.h"
#include "text/Utf.h"

namespace {

using namespace ETWLogging;
namespace fs = std::filesystem;

constexpr size_t smallestSize = 262144;

class FileLog : public testing::Test {
protected:
    fs::path base() const { return machine_.path() / "Corvane" / "CVLOGS"; }
    fs::path file(int index) const { return base() / "app" / ("app00" + std::to_string(index) + ".log"); }

    static std::string textOf(const fs::path& file) {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static void put(const fs::path& file, const std::string& text) {
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }
    void putOwnSettings(const std::string& values) {
        put(base() / "app" / "log.ini", "[Config]\r\n" + values + "\r\n");
    }
    bool ownSettingsHave(const std::string& line) {
        return textOf(base() / "app" / "log.ini").find("\r\n" + line + "\r\n") != std::string::npos;
    }
    void fill(int index) { put(file(index), std::string(smallestSize, 'x')); }

    std::unique_ptr<CLogging> start(std::unique_ptr<Platform::NamedMutex> mutex = nullptr,
                                    const std::u16string& group = u"", const std::u16string& suffix = u"") {
        return std::make_unique<CLogging>(
            FileLogIdentity{u"app", u"Brevant.dll", group, suffix, 42},
            CLogging::Services{.commonDataFolder = machine_.portable(),
                               .localTime = [] { return Platform::CalendarTime{2026, 11, 24, 12, 0, 0}; },
                               .mutex = std::move(mutex)});
    }
    static void log(CLogging& logger, uint32_t level, std::u16string_view message) {
        logger.write({level, u"Source", u"function", 1, message});
    }

    Support::PlatformFolder machine_;
};

TEST_F(FileLog, WritesLevelsFromTheThresholdOnInUtf8) {
    const auto logger = start();
    EXPECT_EQ(logger->enabledLevels(), 0b1111000u);
    for (uint32_t level = 0; level <= 7; ++level)
        log(*logger, level, std::u16string(u"\u00E9 ") += Ferrow::decimal(level));
    logger->write({3, u"", u"", 0, {}});
    const std::string head = "11/24/2026 12:00:00 PM$ -- (", tail = ")$ [    Brevant.dll]$ \xC3\xA9 ";
    EXPECT_EQ(textOf(file(0)), head + "Information" + tail + "3\r\n" + head + "Error" + tail + "4\r\n" +
                                   head + "Critical" + tail + "5\r\n" + head + "Information" + tail +
                                   "6\r\n");
}

TEST_F(FileLog, NamesItsFilesByGroupAndSuffix) {
    log(*start(nullptr, u"Group", u"two"), 4, u"m");
    EXPECT_TRUE(fs::exists(base() / "Group" / "app" / "app_two000.log"));
    const FileLogIdentity ours = processFileLogIdentity(u"g");
    const std::u16string executable = Platform::executablePath();
    EXPECT_TRUE(executable.substr(executable.rfind(u'\\') + 1).starts_with(ours.name));
    EXPECT_EQ(ours.name.find(u'.'), ours.name.npos);
    EXPECT_TRUE(Platform::libraryPathOf(reinterpret_cast<const void*>(&processFileLogIdentity))
                    .ends_with(u'\\' + ours.logName));
}

TEST_F(FileLog, PrefersItsOwnSettingsAndCorrectsWhatIsOutOfRangeWhereItStands) {
    put(base() / "log.ini", "[Config]\r\nMaxSize=100\r\nSeverity=1\r\nOptions=0\r\nMaxEntries=5\r\n");
    putOwnSettings("MaxEntries=1\r\nSeverity=5\r\nEnable=4294967296\r\nLastLogIdx=x");
    const auto logger = start();
    EXPECT_EQ(textOf(base() / "log.ini"),
              "[Config]\r\nMaxSize=262144\r\nSeverity=1\r\nOptions=0\r\nMaxEntries=5\r\n");
    EXPECT_EQ(textOf(base() / "app" / "log.ini"),
              "[Config]\r\nMaxEntries=3\r\nSeverity=5\r\nEnable=1\r\nLastLogIdx=x\r\n");
    EXPECT_EQ(logger->enabledLevels(), 0b1100000u);
    log(*logger, 5, u"m");
    EXPECT_EQ(textOf(file(0)), "11/24/2026 12:00:00 PM$ -- (Critical)$ m\r\n");

    logger->configurationChanged({.enable = false, .severity = std::nullopt});
    EXPECT_EQ(logger->enabledLevels(), 0u);
    logger->configurationChanged({.enable = true, .severity = 6});
    EXPECT_EQ(logger->enabledLevels(), 0b1000000u);
}

TEST_F(FileLog, MovesOnToAnEmptyFileWhenTheCurrentOneIsFullAndFollowsOthersThatDid) {
    putOwnSettings("LastLogIdx=2");
    for (const int index : {0, 1, 2})
        fill(index);
    const auto one = start(), other = start();
    const std::string head = "11/24/2026 12:00:00 PM$ -- (Error)$ [    Brevant.dll]$ ";
    for (const int index : {0, 1}) {
        log(*one, 4, u"first");
        log(*other, 4, u"second");
        log(*start(), 4, u"third");
        EXPECT_TRUE(ownSettingsHave("LastLogIdx=" + std::to_string(index)));
        EXPECT_EQ(textOf(file(index)), head + "first\r\n" + head + "second\r\n" + head + "third\r\n");
        fill(index);
    }
    EXPECT_EQ(fs::file_size(file(2)), smallestSize);
}

TEST_F(FileLog, StartsOverWhenTheStoredIndexIsBeyondTheFiles) {
    putOwnSettings("LastLogIdx=3");
    fill(0);
    const auto logger = start();
    log(*logger, 4, u"m");
    EXPECT_TRUE(ownSettingsHave("LastLogIdx=0"));
    EXPECT_LT(fs::file_size(file(0)), 100u);

    logger->setMaximumFiles(1);  // clamped to 2
    for (const int index : {0, 1}) {
        fill(index);
        log(*logger, 4, u"m");
    }
    EXPECT_TRUE(ownSettingsHave("LastLogIdx=0"));
    EXPECT_FALSE(fs::exists(file(2)));
}

TEST_F(FileLog, GoesThroughItsFilesWithoutAStoredIndexToo) {
    putOwnSettings("LastLogIdx=1\r\n" + std::string(2 << 20, ';'));
    const auto logger = start();
    for (const int index : {0, 1, 2}) {
        log(*logger, 4, u"m");
        EXPECT_LT(fs::file_size(file(index)), 100u);
        fill(index);
    }
    EXPECT_EQ(fs::file_size(file(1)), smallestSize);
    EXPECT_TRUE(ownSettingsHave("LastLogIdx=1")) << "too large to be read or changed";
}

TEST_F(FileLog, OfTwoProcessesLosesAndTearsNoLine) {
    putOwnSettings("MaxEntries=100");
    constexpr int lines = 1000;
    const std::string end = "|" + std::string(500, 'p') + "\r\n";
    const fs::path writer =
        fs::path(Platform::nativePath(Platform::executablePath())).parent_path() / LOG_WRITER_FILE;
    const auto run = [&](const std::string& mark) {
        return std::async(std::launch::async,
                          [command = "\"" + writer.string() + "\" " + mark + " " + std::to_string(lines)] {
                              return std::system(command.c_str());
                          });
    };
    auto first = run("a"), second = run("b");
    EXPECT_EQ(first.get() + second.get(), 0);
    std::string all;
    int files = 0;
    for (; fs::exists(file(files)); ++files)
        all += textOf(file(files));
    EXPECT_GT(files, 3);
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 2 * lines);
    for (const char* mark : {"$ a:", "$ b:"}) {
        size_t place = 0;
        for (int line = 0; line < lines && place != all.npos; ++line)
            place = all.find(mark + std::to_string(line) + end, place);
        EXPECT_NE(place, all.npos) << mark << " is not complete and in order";
    }
}

// The mutex of all writers, as the test plays the others.
struct PlayedMutex : Platform::NamedMutex {
    explicit PlayedMutex(std::function<bool(std::chrono::milliseconds)> play) : others(std::move(play)) {}
    bool acquire(std::chrono::milliseconds timeout) override {
        EXPECT_FALSE(held);
        return held = others(timeout);
    }
    void release() override {
        EXPECT_TRUE(held);
        held = false;
    }
    const std::function<bool(std::chrono::milliseconds)> others;
    static inline bool held = false;
};

TEST_F(FileLog, WaitsOnceForWritersThatDoNotFinishAndWritesAnyway) {
    std::vector<std::chrono::milliseconds::rep> waits;
    bool busy = true;
    const auto logger = start(std::make_unique<PlayedMutex>([&](std::chrono::milliseconds timeout) {
        waits.push_back(timeout.count());
        return !busy;
    }));
    for (const bool others : {true, true, true, false, false, true, true}) {
        busy = others;
        log(*logger, 4, u"m");
    }
    EXPECT_EQ(waits, (std::vector<std::chrono::milliseconds::rep>{7000, 0, 0, 0, 7000, 7000, 0}));
    const std::string text = textOf(file(0));
    EXPECT_EQ(std::ranges::count(text, '\n'), 7);
}

TEST_F(FileLog, ChangesItsSettingsWhileItHoldsTheMutexOfAllWriters) {
    struct Watched final : Platform::IniFiles {
        std::optional<std::u16string> read(const std::u16string& file, std::u16string_view section,
                                           std::u16string_view key) const override {
            return protectedReader().read(file, section, key);
        }
        bool write(const std::u16string& file, std::u16string_view section, std::u16string_view key,
                   std::u16string_view value) const override {
            EXPECT_TRUE(PlayedMutex::held) << "for another writer may store the index now";
            return protectedReader().write(file, section, key, value);
        }
    };
    static const Watched watched;
    putOwnSettings("MaxEntries=1\r\nSeverity=9");
    const auto another = [this](std::chrono::milliseconds) {
        putOwnSettings("MaxEntries=5\r\nSeverity=9\r\nLastLogIdx=2");
        return true;
    };
    const CLogging logger({u"app", u"", u"", u"", 42}, {.commonDataFolder = machine_.portable(),
                                                        .settings = watched,
                                                        .mutex = std::make_unique<PlayedMutex>(another)});
    EXPECT_EQ(textOf(base() / "app" / "log.ini"),
              "[Config]\r\nMaxEntries=5\r\nSeverity=3\r\nLastLogIdx=2\r\n");
    EXPECT_FALSE(PlayedMutex::held);

    putOwnSettings("Severity=9");
    EXPECT_EQ(start(std::make_unique<PlayedMutex>([](auto) { return false; }))->enabledLevels(), 0b1111000u);
    EXPECT_TRUE(ownSettingsHave("Severity=9")) << "a later start corrects it";
}

// What other accounts have to do with the folders, as the test says.
struct PlayedAccess final : Platform::FileAccessReader {
    std::optional<Platform::FileAccess> read(const std::u16string& path) const override {
        const auto said = says.find(path);
        return !Platform::fileExists(path) ? std::nullopt
               : said == says.end()        ? std::optional(Platform::FileAccess())
                                           : said->second;
    }
    std::map<std::u16string, Platform::FileAccess> says;
};

class ForeignLog : public FileLog {
protected:
    ForeignLog() { Ferrow::coreLogger().registerHandler(told_); }
    ~ForeignLog() override { Ferrow::coreLogger().unregisterHandler(told_.get()); }

    void say(const std::u16string& folder, const Platform::FileAccess& access) {
        access_.says[machine_.portable() + u"\\Corvane" + folder] = access;
    }
    CLogging started() {
        return CLogging({u"app", u"", u"", u"", 42},
                        {.commonDataFolder = machine_.portable(), .access = access_, .mutex = nullptr});
    }
    // How often something was told since the last call.
    int told() { return std::exchange(told_->times, 0); }

    static constexpr Platform::FileAccess link{.isLink = true}, foreign{.ownerDecides = false},
        open{.everybodyAdds = true};
    PlayedAccess access_;

private:
    struct Told : Ferrow::CLoggingHandlerIf {
        void log(uint32_t, const char16_t*, uint32_t, const char16_t*, const char16_t*) noexcept override {
            ++times;
        }
        int times = 0;
    };
    const std::shared_ptr<Told> told_ = std::make_shared<Told>();
};

TEST_F(ForeignLog, IsNotWrittenInAFolderThatALinkOrAnotherAccountsFolderLeadsTo) {
    const std::string wrong = "[Config]\r\nSeverity=9\r\n";
    struct Case {
        std::u16string folder;
        Platform::FileAccess access, above;
        bool used;
    };
    for (const auto& [folder, access, above, used] : {Case{u"", link, {}, false},
                                                      {u"", foreign, {}, false},
                                                      {u"\\CVLOGS\\app", link, {}, false},
                                                      {u"\\CVLOGS\\app", foreign, open, false},
                                                      {u"\\CVLOGS\\app", foreign, {}, true}}) {
        access_.says.clear();
        say(u"\\CVLOGS", above);
        say(folder, access);
        for (const bool madeInTime : {true, false}) {
            fs::remove_all(base().parent_path());
            if (madeInTime)
                put(base() / "app" / "log.ini", wrong);
            CLogging logger = started();
            EXPECT_EQ(logger.enabledLevels() != 0, used || !madeInTime);
            if (!madeInTime)
                put(base() / "app" / "log.ini", wrong);
            logger.configurationChanged({.enable = true, .severity = 1});
            for (int record = 0; record < 2; ++record)
                log(logger, 4, u"m");
            EXPECT_EQ(fs::exists(file(0)), used);
            EXPECT_EQ(logger.enabledLevels() != 0, used);
            EXPECT_EQ(textOf(base() / "app" / "log.ini") == wrong, !used || !madeInTime);
            EXPECT_EQ(told(), used ? 0 : 1);
        }
    }
}

TEST_F(ForeignLog, IsNotRuledByAFileThatAnotherAccountPutThere) {
    putOwnSettings("Severity=5\r\nMaxEntries=1");
    say(u"\\CVLOGS\\app\\log.ini", foreign);
    say(u"\\CVLOGS\\app", open);
    EXPECT_EQ(started().enabledLevels(), 0b1111000u);
    EXPECT_TRUE(ownSettingsHave("MaxEntries=1"));
    EXPECT_EQ(told(), 1);
    say(u"\\CVLOGS\\app", {});
    EXPECT_EQ(started().enabledLevels(), 0b1100000u) << "who may write there may say so";
    EXPECT_EQ(told(), 0);
}

TEST_F(FileLog, DropsRecordsWhileItsFolderCannotBeMade) {
    put(base() / "app", "in the way");
    const auto logger = start();
    log(*logger, 4, u"lost");
    fs::remove(base() / "app");
    log(*logger, 4, u"kept");
    EXPECT_EQ(textOf(file(0)), "11/24/2026 12:00:00 PM$ -- (Error)$ [    Brevant.dll]$ kept\r\n");
}

}  // namespace
