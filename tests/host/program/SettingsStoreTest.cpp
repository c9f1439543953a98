#include "host/program/HostFixture.h"
#include "host/program/output/SystemPath.h"
#include "platform/Files.h"

namespace Host {
namespace {

using Lines = std::vector<std::u16string>;

class SettingsStoreTest : public HostTest {
protected:
    std::u16string path = inFolder(u"store\\settings.json");
    std::u16string damaged = path + u".damaged";

    void writeFile(std::string_view text) {
        Platform::createFolders(inFolder(u"store"));
        ASSERT_TRUE(Platform::appendToFile(path, text, true));
    }
    // What a host would find that starts now.
    std::optional<std::u16string> afterRestart(const std::u16string& name) {
        SettingsStore store(path);
        EXPECT_EQ(store.open(), u"");
        return store.get(name);
    }
};

TEST_F(SettingsStoreTest, KeepsWhatIsPersistentOverARestartAndForgetsWhatIsVolatile) {
    SettingsStore store(path);
    EXPECT_EQ(store.open(), u"");
    const std::u16string value = u"{\"a\":\"\\\\\"}\n\u00e4\U0001F600" + std::u16string(1, u'\0') + u"z";
    EXPECT_EQ(store.set({{u"kept", value}, {u"volatile", u"1", true}}), (std::vector{true, true}));
    EXPECT_EQ(store.get(u"volatile"), u"1");
    EXPECT_EQ(afterRestart(u"kept"), value);
    EXPECT_EQ(afterRestart(u"volatile"), std::nullopt);

    EXPECT_EQ(store.set({{u"kept", u"2", true}}), std::vector{true});
    EXPECT_EQ(afterRestart(u"kept"), std::nullopt) << "the last set makes it volatile";
    store.set({{u"kept", u"3"}});
    EXPECT_EQ(afterRestart(u"kept"), u"3");
    EXPECT_EQ(store.remove({u"kept", u"absent"}), (std::vector{true, false}));
    EXPECT_EQ(afterRestart(u"kept"), std::nullopt);
}

TEST_F(SettingsStoreTest, SweepsWhatKilledWritersHaveLeft) {
    writeFile("{\"properties\":[]}");
    for (const char16_t* name : {u".17-0.tmp", u".17-x.tmp", u".tmp"})
        ASSERT_TRUE(Platform::appendToFile(path + name, "{"));
    SettingsStore store(path);
    EXPECT_EQ(store.open(), u"");
    EXPECT_FALSE(Platform::fileExists(path + u".17-0.tmp"));
    EXPECT_TRUE(Platform::fileExists(path + u".17-x.tmp") && Platform::fileExists(path + u".tmp"))
        << "is another's";
}

TEST_F(SettingsStoreTest, KeepsADamagedFileBesideSaysSoAndStartsEmpty) {
    size_t number = 0;
    for (const std::string_view damage :
         {"", "[]", "{}", "{\"properties\":{}}", "{\"properties\":[{\"name\":\"n\"}]}",
          "{\"properties\":[{\"name\":\"n\",\"value\":\"\xC3\"}]}", "{\"properties\":[]} trailing"}) {
        writeFile(damage);
        SettingsStore store(path);
        const std::u16string told = store.open();
        const std::u16string kept = number == 0 ? damaged : damaged + u"-" + std::u16string(1, u'0' + number);
        EXPECT_NE(told.find(shownPath(kept)), std::u16string::npos) << damage;
        EXPECT_EQ(Platform::readFile(kept), std::string(damage));
        EXPECT_TRUE(store.withPrefix(u"").empty());
        EXPECT_EQ(store.set({{u"n", u"new"}}), std::vector{true});
        EXPECT_EQ(afterRestart(u"n"), u"new");
        ++number;
    }
}

TEST_F(SettingsStoreTest, RefusesAChangeThatItCannotWriteAndKeepsTheOldValue) {
    // A file stands where the folder should be: nothing can be written.
    ASSERT_TRUE(Platform::appendToFile(inFolder(u"store"), "in the way"));
    SettingsStore store(path);
    EXPECT_EQ(store.open(), u"");
    EXPECT_EQ(store.set({{u"n", u"1"}}), std::vector{false});
    EXPECT_EQ(store.get(u"n"), std::nullopt);
    EXPECT_EQ(store.set({{u"v", u"1", true}}), std::vector{true}) << "volatile properties need no file";
}

TEST_F(SettingsStoreTest, LeavesAFileAloneThatIsDamagedWhileTheHostRuns) {
    SettingsStore store(path);
    store.set({{u"n", u"1"}});
    writeFile("half a fi");
    EXPECT_EQ(store.set({{u"n", u"2"}}), std::vector{false});
    EXPECT_EQ(store.get(u"n"), u"1");
    EXPECT_EQ(Platform::readFile(path), "half a fi");
}

TEST_F(SettingsStoreTest, HostsThatShareAFileDoNotUndoEachOther) {
    SettingsStore first(path), second(path);
    first.open();
    second.open();
    first.set({{u"first", u"1"}, {u"both", u"1"}});
    second.set({{u"second", u"2"}});
    first.remove({u"both"});
    EXPECT_EQ(afterRestart(u"first"), u"1");
    EXPECT_EQ(afterRestart(u"second"), u"2");
    EXPECT_EQ(afterRestart(u"both"), std::nullopt);
    EXPECT_EQ(first.get(u"second"), u"2") << "seen with its own change";
}

TEST_F(SettingsStoreTest, WhatIsVolatileHidesWhatAnotherHostKeepsAndLeavesItInTheFile) {
    SettingsStore first(path), second(path);
    first.set({{u"x", u"volatile", true}});
    second.set({{u"x", u"kept"}, {u"y", u"1"}, {u"z", u"1"}});
    first.set({{u"own", u"1"}});
    EXPECT_EQ(first.get(u"x"), u"volatile");
    EXPECT_EQ(first.withPrefix(u"x").size(), 1u);
    EXPECT_EQ(afterRestart(u"x"), u"kept");

    second.remove({u"y", u"x"});
    // Known to be so, and all the same not in the file any more.
    EXPECT_EQ(first.set({{u"y", u"1"}}), std::vector{true});
    EXPECT_EQ(afterRestart(u"y"), u"1");
    second.set({{u"x", u"again"}, {u"z", u"2"}});
    first.remove({u"own"});
    Lines told;
    for (const PropertyChange& change : first.takeChangesOfOthers())
        told.push_back(change.name + u"=" + change.value.value_or(u"none"));
    EXPECT_EQ(told, (Lines{u"y=1", u"z=1", u"y=none", u"z=2"}));
    EXPECT_EQ(first.set({{u"x", u"volatile again", true}}), std::vector{true});
    EXPECT_EQ(afterRestart(u"x"), u"again");
    second.set({{u"new/1", u"1"}, {u"new/2", u"2"}});
    SettingsStore third(path);
    EXPECT_EQ(third.set({{u"x", u"3", true}, {u"third", u"1"}, {u"third", u"2", true}}),
              (std::vector{true, true, true}));
    EXPECT_EQ(afterRestart(u"x"), u"again") << "unknown to the third when it was set";
    EXPECT_EQ(afterRestart(u"third"), std::nullopt);
    EXPECT_EQ(first.remove({u"x", u"new/1"}), (std::vector{true, true}));
    EXPECT_EQ(afterRestart(u"x"), std::nullopt) << "gone in both places";
    EXPECT_EQ(first.removePrefix(u"new/"), Lines{u"new/2"});
    EXPECT_EQ(afterRestart(u"new/2"), std::nullopt);
}

TEST_F(SettingsStoreTest, BoundsWhatItHolds) {
    SettingsStore store(path);
    const std::u16string longName(SettingsStore::maximumName + 1, u'n');
    const std::u16string longValue(SettingsStore::maximumValue + 1, u'v');
    const std::u16string lone(1, char16_t{0xD800});
    const std::u16string zero(1, u'\0');
    EXPECT_EQ(store.set({{u"", u"1"},
                         {longName, u"1"},
                         {u"n", longValue},
                         {u"n", lone},
                         {u"n" + zero, u"1", true},
                         {u"v", lone + zero, true}}),
              (std::vector{false, false, false, false, false, true}));

    const std::u16string largest(SettingsStore::maximumValue, u'v');
    size_t taken = 0;
    while (taken < 100 && store.set({{u"v" + std::u16string(taken + 1, u'v'), largest, true}}).front())
        ++taken;
    EXPECT_EQ(taken, SettingsStore::maximumUnits / SettingsStore::maximumValue - 1);
    EXPECT_EQ(store.set({{u"vv", u"shorter", true}}), std::vector{true}) << "a full store still replaces";
}

}  // namespace
}  // namespace Host
