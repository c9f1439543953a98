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

struct FakeRegistry : Tavix::RegistryAPI {
    std::u16string readText(std::u16string_view key, std::u16string_view name) override {
        return key == u"SOFTWARE\\CORVANE\\OSTREL" && name == wanted ? value : std::u16string();
    }
    std::u16string wanted = u"Install Dir";
    std::u16string value = u"I:\\Ostrel";
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
    std::shared_ptr<FakeRegistry> registry = std::make_shared<FakeRegistry>();
    Tavix::PathHelpers helpers{folders, system, registry};
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

TEST_F(PathMacrosTest, TellsPlatformInstallFolderAndKnownFolders) {
    const std::u16string names[] = {u"win32", u"x64", u"PlatformUnknown", u"$(OS.Platform)"};
    for (system->kind = 0; system->kind < 4; ++system->kind)
        EXPECT_EQ(expanded(u"$(OS.Platform)"), names[system->kind]);

    EXPECT_EQ(replaced(u"$(Ostrel.InstallDir)\\x"), u"$(Ostrel.InstallDir)\\x");
    // Read anew each time, and not expanded again.
    for (const std::u16string value : {u"$(OS.Platform)", u"J:"}) {
        registry->value = value;
        EXPECT_EQ(expanded(u"$(Ostrel.InstallDir)OS.Platform)"), value + u"OS.Platform)");
    }
    system->wow64 = true;
    EXPECT_EQ(expanded(u"$(Ostrel.InstallDir)"), u"$(Ostrel.InstallDir)");
    registry->wanted = u"Install Dir32";
    EXPECT_EQ(expanded(u"$(Ostrel.InstallDir)"), u"J:");
}

TEST(PathMacrosOfThisMachineTest, FollowTheInstallFolderInTheRegistry) {
    Support::PlatformFolder machine;
    if (!machine.isOwnMachine())
        GTEST_SKIP() << machine.notOwnMachine;
    Tavix::PathHelpers helpers;
    const auto expanded = [&](const std::string& values) {
        machine.writeKey("CORVANE\\OSTREL", values);
        std::u16string path = u"$(Ostrel.InstallDir)\\x";
        helpers.resolvePath(path);
        return path;
    };
    const std::string longest(259, 'i');
    EXPECT_EQ(expanded("\"Install Dir\"=\"C:\\\\Ostrel\"\n\"Install Dir32\"=\"C:\\\\x86\"\n"),
              u"C:\\Ostrel\\x");
    EXPECT_EQ(expanded("\"Install Dir\"=\"" + longest + "\"\n"), std::u16string(259, u'i') + u"\\x");
    EXPECT_EQ(expanded("\"Install Dir\"=\"" + longest + "i\"\n"), u"$(Ostrel.InstallDir)\\x");
    EXPECT_EQ(expanded("\"Install Dir\"=dword:00000001\n"), u"$(Ostrel.InstallDir)\\x");
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
