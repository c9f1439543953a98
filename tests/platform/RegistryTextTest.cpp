#include <gtest/gtest.h>
#include <optional>

#include "platform/RegistryText.h"
#include "text/Utf.h"

using namespace Platform;

namespace {

// Nothing when there is no such value; a value of a kind that is not read is there, but empty.
std::optional<RegistryValue> valueOf(const RegistryText& text, std::u16string_view path,
                                     std::u16string_view name) {
    const RegistryNode* key = findRegistryKey(text.localMachine, path);
    if (!key || !key->values.contains(name))
        return std::nullopt;
    return key->values.find(name)->second;
}

constexpr std::string_view exported =
    "Windows Registry Editor Version 5.00\r\n"
    "\r\n"
    "; by hand\r\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane]\r\n"
    "@=\"default\"\r\n"
    "\"Path\"=\"C:\\\\A \\\"B\\\" \xC3\xA9\" ; where it is\r\n"
    "\"Number\"=dword:0000001F\r\n"
    "\"Bytes\"=hex(2):41,00,\\\r\n"
    "  42,00,\\\r\n"
    "  00,00\r\n"
    "\"a=b\"=\"c\"\r\n"
    "[HKEY_CURRENT_USER\\SOFTWARE\\Corvane]\r\n"
    "\"Path\"=\"another hive\"\r\n";

TEST(RegistryTexts, AreReadAsTheEditorExportsThem) {
    const std::string utf16 = "\xFF\xFE" + Ferrow::toLittleEndian(Ferrow::toUtf16(exported));
    for (const std::string& bytes : {std::string(exported), "\xEF\xBB\xBF" + std::string(exported), utf16}) {
        const RegistryText text = parseRegistryText(bytes);
        ASSERT_FALSE(text.error) << Ferrow::toUtf8(*text.error);
        EXPECT_EQ(valueOf(text, u"software\\corvane", u""), RegistryValue(u"default"));
        EXPECT_EQ(valueOf(text, u"software\\corvane\\", u"path"), RegistryValue(u"C:\\A \"B\" \u00e9"));
        EXPECT_EQ(valueOf(text, u"software\\corvane", u"a=b"), RegistryValue(u"c"));
        EXPECT_EQ(valueOf(text, u"software\\corvane", u"number"), RegistryValue(31u));
        EXPECT_EQ(valueOf(text, u"software\\corvane", u"bytes"), RegistryValue());
        EXPECT_FALSE(findRegistryKey(text.localMachine, u"software\\corvane\\sub"));
    }
}

TEST(RegistryTexts, NeedNoHeaderMergeRepeatedKeysAndTakeBackWhatTheyDelete) {
    const RegistryText text = parseRegistryText(
        "[HKEY_LOCAL_MACHINE\\A]\n\"x\"=\"1\"\n\"y\"=dword:1\n\"z\"=\"1\"\n"
        "[HKEY_LOCAL_MACHINE\\A\\B\\C]\n\"x\"=\"1\"\n"
        "[hkey_local_machine\\a]\n\"Z\"=\"2\"\n\"x\"=-\n"
        "[-HKEY_LOCAL_MACHINE\\A\\B]\n\"ignored\"=\"1\"\n"
        "[-HKEY_LOCAL_MACHINE\\Never\\Was]\n");
    ASSERT_FALSE(text.error);
    EXPECT_EQ(valueOf(text, u"a", u"z"), RegistryValue(u"2"));
    EXPECT_TRUE(valueOf(text, u"a", u"y"));
    EXPECT_FALSE(valueOf(text, u"a", u"x"));
    EXPECT_FALSE(findRegistryKey(text.localMachine, u"a\\b"));
}

TEST(RegistryTexts, AreRefusedWholeWithTheLineThatIsWrong) {
    for (const char* wrong :
         {"[HKEY_LOCAL_MACHINE\\A", "[SOFTWARE\\A]", "[HKEY_LOCAL_MACHINE\\A\\\\B]", "nonsense",
          "\"x\"=", "\"x\"=\"open", "\"x\"=\"C:\\Temp\"", "\"x\"=\"1\"2", "\"x\"=dword:123456789",
          "\"x\"=dword:", "\"x\"=dword:g", "\"x=1", "\"x\" 1", "\xFF"}) {
        const RegistryText text = parseRegistryText("[HKEY_LOCAL_MACHINE\\Good]\n" + std::string(wrong) +
                                                    "\n[HKEY_LOCAL_MACHINE\\Good]");
        ASSERT_TRUE(text.error) << wrong;
        EXPECT_TRUE(text.localMachine.children.empty()) << wrong;
        EXPECT_TRUE(!Ferrow::isUtf8(wrong) || text.error->ends_with(u", line 2"))
            << Ferrow::toUtf8(*text.error);
    }
}

TEST(RegistryTexts, MayNestKeysOnlyAsDeepAsTheRegistryDoes) {
    const auto depth = [](size_t levels) {
        std::string key = "[HKEY_LOCAL_MACHINE";
        while (levels-- > 0)
            key += "\\k";
        return parseRegistryText(key + "]");
    };
    EXPECT_TRUE(parseRegistryText("\"x\"=\"1\"").error) << "a value of no key";
    EXPECT_FALSE(depth(512).error);
    EXPECT_TRUE(depth(513).error);
    EXPECT_TRUE(depth(1'000'000).error);
}

}  // namespace
