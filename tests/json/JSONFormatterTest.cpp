#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "json/JSONFormatter.h"

namespace {

using Tavix::JSONFormatter;
using Strings = std::vector<std::u16string>;

JSONFormatter parsed(const std::u16string& text) {
    JSONFormatter formatter;
    EXPECT_TRUE(formatter.parse(text));
    return formatter;
}

std::u16string times(size_t count, const std::u16string& part) {
    std::u16string text;
    for (size_t i = 0; i < count; ++i)
        text += part;
    return text;
}

// Objects within objects, or arrays in one object.
std::u16string objects(size_t levels) {
    return times(levels - 1, u"{\"a\":") + u"{}" + times(levels - 1, u"}");
}
std::u16string arrays(size_t levels) {
    return u"{\"a\":" + times(levels - 1, u"[") + times(levels - 1, u"]") + u"}";
}

TEST(JSONFormatterParse, AcceptsOneWholeObjectOnly) {
    JSONFormatter formatter;
    for (const std::u16string text : {u"{}", u" \t\r\n{ } \n", u"{\"a\":[1,{\"b\":null}],\"\":-0.5e-3}"})
        EXPECT_TRUE(formatter.parse(text));
    constexpr std::u16string_view refused[] = {
        u"", u"   ", u"{} x", u"[1,2]", u"5", u"null", u"\"{}\"", u"{", u"{\"a\":1,}", u"{\"a\":[1,]}",
        u"{'a':1}", u"{a:1}", u"/**/{}", u"{\"a\":NaN}", u"{\"a\":Infinity}", u"{\"a\":01}", u"{\"a\":1e999}",
        u"{\"a\":11e308}", u"{\"a\":-11e308}", u"{\"a\":+1}", u"{\"a\":.5}", u"{\"a\":\"\t\"}",
        u"{\"a\":\"\\x\"}", u"{\"a\":\"\\uD800\"}", u"{\"a\":\"\\uD83D\\u0041\"}", u"{}{}", u"{\"a\" 1}",
        u"{\"a\":tru}", u"\uFEFF{}",
        // A NUL is an error, not the end.
        std::u16string_view(u"{}\0", 3), std::u16string_view(u"{}\0 x", 5),
        std::u16string_view(u"{\"a\0\":1}", 8), std::u16string_view(u"\0{}", 3)};
    for (const std::u16string_view text : refused)
        EXPECT_FALSE(formatter.parse(std::u16string(text))) << testing::PrintToString(text);
}

TEST(JSONFormatterParse, ExponentsOfAnyLengthDoNotOverflow) {
    const std::u16string texts = uR"("e-1234567890\"":"\"e-1234567890","b":"\\","c":)";
    EXPECT_EQ(parsed(u"{" + texts +
                     uR"([0.00000000001e-2147483639,-1.00000000000E-99999999999,)"
                     uR"(15.25e-0000000000002,2.5e-0000000000,1e-9]})")
                  .toString(),
              u"{" + texts + u"[0.0,-0.0,0.1525,2.5,1e-9]}");
    JSONFormatter formatter;
    for (const std::u16string text :
         {u"{\"a\":1e-1234567890", u"{\"a\":e-1234567890}", u"{\"a\":1e-1234567890x}"})
        EXPECT_FALSE(formatter.parse(text));
}

TEST(JSONFormatterParse, FailureLeavesNoMembersAndNothingToSet) {
    for (const std::u16string text : {u"{\"a\":\"x\"", u"[\"a\"]", u"7"}) {
        JSONFormatter formatter = parsed(u"{\"a\":\"old\"}");
        ASSERT_FALSE(formatter.parse(text));
        std::u16string value;
        EXPECT_FALSE(formatter.getString(u"a", value));
        const std::u16string before = formatter.toString();
        formatter.setInt32(u"a", 1);
        formatter.setStringArray(u"a", {u"x"});
        formatter.addStringToArray(u"a", u"x");
        formatter.setObject(u"a", JSONFormatter());
        formatter.addObjectToArray(u"a", JSONFormatter());
        EXPECT_EQ(formatter.toString(), before);
        ASSERT_TRUE(formatter.parse(u"{}"));
        formatter.setInt32(u"a", 1);
        EXPECT_EQ(formatter.toString(), u"{\"a\":1}");
    }
}

TEST(JSONFormatterDepth, IsBoundedWithoutTakingStackWhetherParsedOrBuilt) {
    JSONFormatter formatter;
    const size_t most = Tavix::maximumJsonDepth;
    EXPECT_TRUE(formatter.parse(arrays(most)));
    for (const std::u16string& text :
         {objects(most + 1), arrays(most + 1), arrays(1'000'000), times(1'000'000, u"[")})
        EXPECT_FALSE(formatter.parse(text));
    EXPECT_TRUE(formatter.parse(objects(most)));
    EXPECT_EQ(JSONFormatter(formatter).toString(), objects(most));

    JSONFormatter outer, inner;
    outer.setObject(u"o", formatter);
    outer.setObjectArray(u"l", {JSONFormatter(), formatter});
    outer.addObjectToArray(u"m", formatter);
    Tavix::JSONPool pool;
    JSONFormatter::Value name(rapidjson::StringRef(u"v")), deep(rapidjson::kArrayType);
    for (size_t i = 0; i < most; ++i) {
        JSONFormatter::Value around(rapidjson::kArrayType);
        around.PushBack(deep, pool);
        deep = std::move(around);
    }
    outer.setValue(name, deep);
    EXPECT_EQ(outer.toString(), u"{}");
    ASSERT_TRUE(formatter.getObject(u"a", inner));
    outer.setObject(u"a", inner);
    EXPECT_EQ(outer.toString(), objects(most));
}

TEST(JSONFormatterNumbers, AreReadByTheirKindWithoutConversion) {
    // The kinds that take it: signed and unsigned, 32 and 64 bits wide, and real.
    const std::string_view cases[][2] = {{"5", "iuIU"},
                                         {"-1", "iI"},
                                         {"-0", "iuIU"},
                                         {"3000000000", "uIU"},
                                         {"-2147483649", "I"},
                                         {"4294967296", "IU"},
                                         {"18446744073709551615", "U"},
                                         {"18446744073709551616", "d"},
                                         {"5e0", "d"},
                                         {"\"5\"", ""}};
    for (const auto& [text, kinds] : cases) {
        const JSONFormatter formatter = parsed(u"{\"n\":" + std::u16string(text.begin(), text.end()) + u"}");
        std::string taken;
        const auto take = [&](auto get, auto before, char kind) {
            auto value = before;
            if ((formatter.*get)(u"n", value))
                taken += kind;
            else
                EXPECT_EQ(value, before) << text;
        };
        take(&JSONFormatter::getInt32, int32_t{77}, 'i');
        take(&JSONFormatter::getUInt32, uint32_t{77}, 'u');
        take(&JSONFormatter::getInt64, int64_t{77}, 'I');
        take(&JSONFormatter::getUInt64, uint64_t{77}, 'U');
        take(&JSONFormatter::getDouble, 77.0, 'd');
        EXPECT_EQ(taken, kinds) << text;
    }
}

TEST(JSONFormatterNumbers, ThatWereSetAreReadAndWrittenBack) {
    JSONFormatter formatter;
    formatter.setInt32(u"a", std::numeric_limits<int32_t>::min());
    formatter.setUInt32(u"b", std::numeric_limits<uint32_t>::max());
    formatter.setInt64(u"c", std::numeric_limits<int64_t>::min());
    formatter.setUInt64(u"d", std::numeric_limits<uint64_t>::max());
    formatter.setDouble(u"e", 5);
    formatter.setInt32(u"f", 5);
    formatter.setBool(u"g", true);
    EXPECT_EQ(formatter.toString(),
              u"{\"a\":-2147483648,\"b\":4294967295,\"c\":-9223372036854775808,"
              u"\"d\":18446744073709551615,\"e\":5.0,\"f\":5,\"g\":true}");
    double real = 0;
    EXPECT_TRUE(formatter.getDouble(u"e", real));
    EXPECT_EQ(real, 5);
    bool flag = false;
    EXPECT_TRUE(formatter.getBool(u"g", flag));
    EXPECT_TRUE(flag);
    EXPECT_FALSE(parsed(u"{\"g\":\"true\"}").getBool(u"g", flag));
    formatter.setDouble(u"e", std::nan(""));
    EXPECT_TRUE(JSONFormatter().parse(formatter.toString()));
}

TEST(JSONFormatterStrings, AreWrittenAndReadWhateverTheyHold) {
    std::u16string all;
    for (char16_t unit = 0; unit < 0x100; ++unit)
        all += unit;
    all += u"\u20AC\xD83D\xDE00\xD800/";
    JSONFormatter formatter;
    formatter.setString(u"k\"\n", all);
    const std::u16string text = formatter.toString();
    for (const std::u16string_view part :
         {u"{\"k\\\"\\n\":\"\\u0000\\u0001", u"\\u0007\\b\\t\\n\\u000B\\f\\r\\u000E", u"\\u001F !\\\"#",
          u"[\\\\]", u"\x7F\x80"})
        EXPECT_NE(text.find(part), text.npos) << testing::PrintToString(part);
    std::u16string back;
    ASSERT_TRUE(parsed(text).getString(u"k\"\n", back));
    EXPECT_EQ(back, all);

    // A list's texts end at a NUL, other texts do not; a low surrogate may stand alone.
    const JSONFormatter read = parsed(u"{\"l\":[\"a\\u0000b\",\"\"],\"s\":\"a\\u0000\\uDE00\"}");
    Strings strings;
    EXPECT_TRUE(read.getStringArray(u"l", strings));
    EXPECT_TRUE(read.getString(u"s", back));
    EXPECT_EQ(strings, (Strings{u"a", u""}));
    EXPECT_EQ(back, std::u16string(u"a\0\xDE00", 3));
    EXPECT_FALSE(read.getString(u"S", back));
    EXPECT_FALSE(read.getString(std::u16string(u"s\0", 2), back));
}

TEST(JSONFormatterSet, MovesTheReplacedMemberToTheEnd) {
    JSONFormatter formatter = parsed(u"{\"a\":1,\"b\":2,\"c\":3}");
    formatter.setInt32(u"a", 9);
    formatter.setString(u"a", u"last");
    JSONFormatter::Value name(rapidjson::StringRef(u"c")), object(rapidjson::kObjectType);
    formatter.setValue(name, object);
    EXPECT_EQ(formatter.toString(), u"{\"a\":\"last\",\"b\":2,\"c\":{}}");

    JSONFormatter twice = parsed(u"{\"a\":1,\"a\":2}");
    int32_t value = 0;
    EXPECT_TRUE(twice.getInt32(u"a", value));
    EXPECT_EQ(value, 1);
    twice.setInt32(u"a", 5);
    EXPECT_EQ(twice.toString(), u"{\"a\":2,\"a\":5}");
}

TEST(JSONFormatterArrays, AreAppendedToAndReadUpToTheFirstForeignElement) {
    JSONFormatter formatter = parsed(u"{\"l\":[\"x\",1,\"y\"],\"s\":\"x\"}");
    Strings strings{u"before"};
    EXPECT_FALSE(formatter.getStringArray(u"l", strings));
    EXPECT_EQ(strings, (Strings{u"before", u"x"}));
    EXPECT_FALSE(formatter.getStringArray(u"s", strings));
    EXPECT_TRUE(formatter.getStringArray(u"missing", strings));
    formatter.setStringArray(u"l", {});
    formatter.addStringToArray(u"l", u"p");
    formatter.addStringToArray(u"new", u"q");
    formatter.addStringToArray(u"s", u"no array");
    EXPECT_EQ(formatter.toString(), u"{\"s\":\"x\",\"l\":[\"p\"],\"new\":[\"q\"]}");

    JSONFormatter objects = parsed(u"{\"o\":[{\"n\":1},{\"n\":{\"m\":[2]}},3]}");
    std::vector<JSONFormatter> copies(1);
    EXPECT_FALSE(objects.getObjectArray(u"o", copies));
    ASSERT_EQ(copies.size(), 3u);
    EXPECT_EQ(copies[2].toString(), u"{\"n\":{\"m\":[2]}}");
    EXPECT_TRUE(objects.getObjectArray(u"missing", copies));
    copies.erase(copies.begin());
    objects.setObjectArray(u"o", copies);
    objects.addObjectToArray(u"o", objects);
    objects.addObjectToArray(u"p", copies[0]);
    EXPECT_EQ(objects.toString(),
              u"{\"o\":[{\"n\":1},{\"n\":{\"m\":[2]}},{\"o\":[{\"n\":1},{\"n\":{\"m\":[2]}}]}],"
              u"\"p\":[{\"n\":1}]}");
}

TEST(JSONFormatterObjects, AreCopiedInAndOut) {
    JSONFormatter outer = parsed(u"{\"o\":{\"a\":\"a text that is long enough for the pool\"},\"n\":1}");
    JSONFormatter inner = parsed(u"{\"old\":true}");
    EXPECT_FALSE(outer.getObject(u"n", inner));
    EXPECT_FALSE(outer.getObject(u"x", inner));
    EXPECT_EQ(inner.toString(), u"{\"old\":true}");
    ASSERT_TRUE(outer.getObject(u"o", inner));
    inner.setInt32(u"b", 2);
    outer.setObject(u"o", inner);
    inner = JSONFormatter();
    // A formatter may be both ends of a copy.
    outer.setObject(u"m", outer);
    ASSERT_TRUE(outer.getObject(u"m", outer));
    EXPECT_EQ(outer.toString(),
              u"{\"n\":1,\"o\":{\"a\":\"a text that is long enough for the pool\",\"b\":2}}");

    JSONFormatter moved = std::move(outer);
    outer.setBool(u"usable", true);  // NOLINT(bugprone-use-after-move): documented to be empty
    EXPECT_EQ(outer.toString(), u"{\"usable\":true}");
    const std::u16string text = moved.toString();
    JSONFormatter(moved).setInt32(u"n", 3);
    EXPECT_EQ(moved.toString(), text);
}

}  // namespace
