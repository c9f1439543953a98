#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "library/CommonReplacements.h"
#include "library/ExecutablePath.h"
#include "library/PathHelpers.h"
#include "platform/Process.h"
#include "support/PlatformFolder.h"

namespace {

struct FakeFolders : Tavix::ShlObjAPI {
    std::u16string knownFolder(std::u16string_view name) override {
        if (name == u"Desktop")
            return {};
        return u"K:\\" + std::u16string(name);
    }
};

struct FakeSystem : Ferrow::internal::OSInfoProxy {
    uint32_t platform() override { return kind; }
    bool isWow64Process() override { return wow64; }
    uint32_t kind = 1;
    bool wow64 = false;
};

class PathMacrosTest : public testing::Test {
protected:
    std::u16string expanded(std::u16string path) {
        EXPECT_TRUE(helpers.resolvePath(path));
        return path;
    }
    std::u16string replaced(std::u16string path, const Ferrow::CommonReplacements::Replacements& extra = {}) {
        EXPECT_TRUE(common.resolvePath(path, extra));
        return path;
    }

    std::shared_ptr<FakeFolders> folders = std::make_shared<FakeFolders>();
    std::shared_ptr<FakeSystem> system = std::make_shared<FakeSystem>();
    Tavix::PathHelpers helpers{folders, system};
    Ferrow::CommonReplacements common{folders, system};
};

TEST_F(PathMacrosTest, LeavesWhatIsNoMacroOrHasNoValue) {
    for (const std::u16string path :
         {u"", u"plain\\path", u"$(Unknown.Macro)\\x", u"$(App.Folder", u"$()", u"$", u"$(", u"x$)y",
          u"$(FOLDERID_Desktop)\\x", u"$(app.name)", u"$ (App.Name)", u"$(App.Name (x))"})
        EXPECT_EQ(expanded(path), path);
}

TEST_F(PathMacrosTest, FindsMacrosAnywhereAndInsideWhatIsNone) {
    const std::pair<std::u16string, std::u16string> cases[]{
        {u"$(OS.Platform)$(OS.Platform)", u"x64x64"},
        {u"a$(OS.Platform)b$(Unknown)c$(FOLDERID_ProgramData)d", u"ax64b$(Unknown)cK:\\ProgramDatad"},
        {u"$(A$(OS.Platform))", u"$(Ax64)"},
        {u"$$(OS.Platform)", u"$x64"},
        {u"$(($(OS.Platform)", u"$((x64"},
        {u"$()$(OS.Platform)", u"$()x64"},
    };
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(expanded(path), expected);
}

TEST_F(PathMacrosTest, TellsThePlatform) {
    const std::u16string names[] = {u"win32", u"x64", u"PlatformUnknown", u"$(OS.Platform)"};
    for (system->kind = 0; system->kind < 4; ++system->kind)
        EXPECT_EQ(expanded(u"$(OS.Platform)"), names[system->kind]);
}

// Reads it anew each time, and does not expand it again.
TEST_F(PathMacrosTest, FollowsTheInstallFolderInTheRegistry) {
    Support::PlatformFolder machine;
    if (!machine.isOwnMachine())
        GTEST_SKIP() << machine.notOwnMachine;
    const std::u16string path = u"$(Ostrel.InstallDir)OS.Platform)";
    const auto with = [&](const std::string& values) {
        machine.writeKey("CORVANE\\OSTREL", values);
        return expanded(path);
    };
    const std::string both = "\"Install Dir\"=\"$(OS.Platform)\"\n\"Install Dir32\"=\"C:\\\\x86\"\n";
    EXPECT_EQ(with(both), u"$(OS.Platform)OS.Platform)");
    system->wow64 = true;
    EXPECT_EQ(with(both), u"C:\\x86OS.Platform)");
    system->wow64 = false;
    const std::string longest(259, 'i');
    EXPECT_EQ(with("\"Install Dir\"=\"" + longest + "\"\n"), std::u16string(259, u'i') + u"OS.Platform)");
    for (const std::string& unread : {"\"" + longest + "i\"", std::string("dword:00000001")})
        EXPECT_EQ(with("\"Install Dir\"=" + unread + "\n"), path);
    EXPECT_EQ(replaced(path), path);
}

TEST_F(PathMacrosTest, AsksTheCallersReplacementsFirst) {
    const Ferrow::CommonReplacements::Replacements extra{
        {u"$(Mine)", [] { return u"m"; }},
        {u"$(OS.Platform)", [] { return u"own"; }},
        {u"$(App.Name)", [] { return u""; }},
        {u"$(Null)", nullptr},
    };
    EXPECT_EQ(replaced(u"$(Mine)$(OS.Platform)$(App.Name)$(Null)", extra), u"mown$(App.Name)$(Null)");
    EXPECT_EQ(replaced(u"$(Mine)$(OS.Platform)"), u"$(Mine)x64");
}

TEST_F(PathMacrosTest, TakesLongPathsInLinearTime) {
    // Quadratic scanning of this would take minutes.
    std::u16string openings, closings;
    for (int i = 0; i < 500'000; ++i) {
        openings += u"$(a";
        closings += u"$(a)";
    }
    EXPECT_EQ(expanded(openings), openings);
    EXPECT_EQ(expanded(closings), closings);
}

TEST_F(PathMacrosTest, TakesTheExecutablesPathApart) {
    const std::u16string path = Platform::executablePath();
    EXPECT_EQ(expanded(u"$(App.Path)"), path);
    EXPECT_EQ(expanded(u"$(App.Folder)$(App.Binary)"), path);
    EXPECT_EQ(expanded(u"$(App.Name)"), u"test_library");

    for (const std::u16string split : {u"C:|\\P.x\\Q\\|H.y|.exe", u"|\\usr.d\\|host|"}) {
        std::u16string whole = split;
        std::erase(whole, u'|');
        const auto parts = Ferrow::splitPath(whole);
        EXPECT_EQ(parts.drive + u"|" + parts.directory + u"|" + parts.name + u"|" + parts.extension, split);
    }
    EXPECT_EQ(Ferrow::splitPath(u"C:\\" + std::u16string(255, u'n')).name.size(), 255u);
    EXPECT_EQ(Ferrow::splitPath(u"C:\\" + std::u16string(256, u'n')).drive, u"");
}

}  // namespace
