#include <future>
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/Registry.h"

using namespace Platform;

namespace {

// A key of the tests' own in the machine's registry, gone after each test.
class SystemRegistries : public testing::Test {
protected:
    SystemRegistries() { removeKey(); }
    ~SystemRegistries() override { removeKey(); }

    static void removeKey() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\CORVANE\\BrevantTest"); }
    void set(const wchar_t* name, DWORD type, const void* data, DWORD size, const wchar_t* below = L"") {
        const std::wstring key = std::wstring(L"SOFTWARE\\CORVANE\\BrevantTest\\Key") + below;
        ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type, data, size), ERROR_SUCCESS);
    }
    void setNumber(DWORD number, const wchar_t* below = L"") { set(L"Number", REG_DWORD, &number, 4, below); }

    const std::u16string path = u"SOFTWARE\\CORVANE\\BrevantTest\\Key";
};

TEST_F(SystemRegistries, AnswerOnlyForTheTypeAskedFor) {
    EXPECT_FALSE(Registry::system().openKey(path));
    setNumber(31);
    const std::wstring text(1000, L'x');
    set(L"Text", REG_SZ, text.c_str(), 2002);
    set(L"Unterminated", REG_SZ, L"abcd", 6);
    set(nullptr, REG_SZ, L"default", 16);
    set(L"Bytes", REG_BINARY, "abc", 3);
    const auto key = Registry::system().openKey(path);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->readNumber(u"number"), 31u);
    EXPECT_EQ(key->readText(u"Text"), std::u16string(1000, u'x'));
    EXPECT_EQ(key->readText(u"Unterminated"), u"abc");
    EXPECT_EQ(key->readText(u""), u"default");
    for (const char16_t* name : {u"Bytes", u"Missing"})
        EXPECT_FALSE(key->readNumber(name) || key->readText(name));
    EXPECT_FALSE(key->readText(u"Number"));
    EXPECT_FALSE(key->readNumber(u"Text"));
}

TEST_F(SystemRegistries, TellOfChangesOfAKeyOnceItExists) {
    const auto watch = RegistryWatch::create(path);
    ASSERT_TRUE(watch);
    const auto waiting = [&] { return std::async(std::launch::async, [&] { return watch->wait(); }); };
    auto created = waiting();
    setNumber(1);
    EXPECT_TRUE(created.get());
    setNumber(2);  // before the wait: it must not be lost
    EXPECT_TRUE(watch->wait());
    setNumber(1, L"\\Below");
    EXPECT_TRUE(watch->wait()) << "a new key below";
    auto change = waiting();
    setNumber(2, L"\\Below");
    EXPECT_EQ(change.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    setNumber(3);
    EXPECT_TRUE(change.get());
    removeKey();
    const auto gone = [&] { return !Registry::system().openKey(path); };
    EXPECT_TRUE(watch->wait());
    EXPECT_TRUE(gone());
    auto again = std::async(std::launch::async, [&] {
        while (gone())
            ASSERT_TRUE(watch->wait());
    });
    setNumber(4);
    again.get();
    watch->cancel();
    while (watch->wait()) {
    }
    EXPECT_FALSE(watch->wait());
}

}  // namespace
