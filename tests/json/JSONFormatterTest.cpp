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

std::u16string nested(size_t levels, const std::u16string& open, const std::u16string& close) {
    std::u16string text;
    for (size_t i = 0; i < levels; ++i)
        text += open;
    for (size_t i = 0; i < levels; ++i)
        text += close;
    return text;
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

TEST(JSONFormatterParse, FailureLeavesNoMembersAndNothingToSet) {
    for (const std::u16string text : {u"{\"a\":\"x\"", u"[\"a\"]", u"7"}) {
        JSONFormatter formatter = parsed(u"{\"a\":\"old\"}");
        ASSERT_FALSE(formatter.parse(text));
        std::u16string value = u"kept";
        EXPECT_FALSE(formatter.getString(u"a", value));
        EXPECT_EQ(value, u"kept");
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
    JSONFormatter broken;
    ASSERT_FALSE(broken.parse(u"{"));
    Strings strings{u"kept"};
    EXPECT_TRUE(broken.getStringArray(u"a", strings));
    EXPECT_EQ(strings, Strings{u"kept"});
}

TEST(JSONFormatterParse, RefusesDeepNestingWithoutTakingStack) {
    JSONFormatter formatter;
    const std::u16string open = u"{\"a\":", close = u"}";
    const size_t most = Tavix::maximumJsonDepth;
    // The innermost value of an object chain has to be there.
    const auto objects = [&](size_t levels) {
        return nested(levels - 1, open, u"").append(u"{}").append(nested(levels - 1, u"", close));
    };
    EXPECT_TRUE(formatter.parse(objects(most)));
    EXPECT_EQ(formatter.toString(), objects(most));
    EXPECT_EQ(JSONFormatter(formatter).toString(), objects(most));
    EXPECT_FALSE(formatter.parse(objects(most + 1)));
    EXPECT_TRUE(formatter.parse(open + nested(most - 1, u"[", u"]") + close));
    EXPECT_FALSE(formatter.parse(open + nested(most, u"[", u"]") + close));
    EXPECT_FALSE(formatter.parse(open + nested(1'000'000, u"[", u"]") + close));
    EXPECT_FALSE(formatter.parse(std::u16string(1'000'000, u'[')));
}

TEST(JSONFormatterDepth, BuildingStopsAtTheDepthThatParsingAllows) {
    JSONFormatter deepest = parsed(nested(Tavix::maximumJsonDepth - 1, u"{\"a\":", u"")
                                       .append(u"{}")
                                       .append(nested(Tavix::maximumJsonDepth - 1, u"", u"}")));
    JSONFormatter outer;
    outer.setObject(u"o", deepest);
    outer.setObjectArray(u"l", {JSONFormatter(), deepest});
    outer.addObjectToArray(u"m", deepest);
    EXPECT_EQ(outer.toString(), u"{}");
    JSONFormatter inner;
    ASSERT_TRUE(deepest.getObject(u"a", inner));
    outer.setObject(u"o", inner);
    EXPECT_EQ(outer.toString().size(), deepest.toString().size());
}

TEST(JSONFormatterNumbers, AreReadByTheirKindWithoutConversion) {
    struct Case {
        std::u16string text;
        bool int32, uint32, int64, uint64, real;
    };
    const Case cases[] = {{u"5", true, true, true, true, false},
                          {u"-1", true, false, true, false, false},
                          {u"-0", true, true, true, true, false},
                          {u"3000000000", false, true, true, true, false},
                          {u"-2147483649", false, false, true, false, false},
                          {u"4294967296", false, false, true, true, false},
                          {u"18446744073709551615", false, false, false, true, false},
                          {u"18446744073709551616", false, false, false, false, true},
                          {u"5.0", false, false, false, false, true},
                          {u"5e0", false, false, false, false, true},
                          {u"\"5\"", false, false, false, false, false},
                          {u"true", false, false, false, false, false},
                          {u"null", false, false, false, false, false}};
    for (const Case& c : cases) {
        const JSONFormatter formatter = parsed(u"{\"n\":" + c.text + u"}");
        int32_t i32 = 77;
        uint32_t u32 = 77;
        int64_t i64 = 77;
        uint64_t u64 = 77;
        double real = 77;
        EXPECT_EQ(formatter.getInt32(u"n", i32), c.int32) << testing::PrintToString(c.text);
        EXPECT_EQ(formatter.getUInt32(u"n", u32), c.uint32) << testing::PrintToString(c.text);
        EXPECT_EQ(formatter.getInt64(u"n", i64), c.int64) << testing::PrintToString(c.text);
        EXPECT_EQ(formatter.getUInt64(u"n", u64), c.uint64) << testing::PrintToString(c.text);
        EXPECT_EQ(formatter.getDouble(u"n", real), c.real) << testing::PrintToString(c.text);
        EXPECT_TRUE((i32 == 77) != c.int32 && (u64 == 77) != c.uint64 && (real == 77) != c.real);
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
    uint32_t asUnsigned = 0;
    EXPECT_TRUE(formatter.getUInt32(u"f", asUnsigned));
    double real = 0;
    EXPECT_TRUE(formatter.getDouble(u"e", real));
    EXPECT_EQ(real, 5);
    bool flag = false;
    EXPECT_TRUE(formatter.getBool(u"g", flag) && flag);
    EXPECT_FALSE(parsed(u"{\"g\":\"true\"}").getBool(u"g", flag));
    formatter.setDouble(u"e", std::nan(""));
    EXPECT_TRUE(JSONFormatter().parse(formatter.toString()));
}

TEST(JSONFormatterStrings, AreEscapedAsTheLibraryDoes) {
    std::u16string all;
    for (char16_t unit = 0; unit < 0x100; ++unit)
        all += unit;
    all += u"\u20AC\xD83D\xDE00\xD800/";
    JSONFormatter formatter;
    formatter.setString(u"k\"\n", all);
    const std::u16string text = formatter.toString();
    EXPECT_TRUE(
        text.starts_with(u"{\"k\\\"\\n\":\"\\u0000\\u0001\\u0002\\u0003\\u0004\\u0005\\u0006\\u0007\\b\\t\\n"
                         u"\\u000B\\f\\r\\u000E"));
    EXPECT_NE(text.find(u"\\u001F !\\\"#"), std::u16string::npos);
    EXPECT_NE(text.find(u"[\\\\]"), std::u16string::npos);
    EXPECT_NE(text.find(u"\x7F\x80"), std::u16string::npos);
    std::u16string back;
    ASSERT_TRUE(parsed(text).getString(u"k\"\n", back));
    EXPECT_EQ(back, all);

    const JSONFormatter list = parsed(u"{\"l\":[\"a\\u0000b\",\"\"],\"s\":\"a\\u0000b\"}");
    Strings strings;
    ASSERT_TRUE(list.getStringArray(u"l", strings));
    EXPECT_EQ(strings, (Strings{u"a", u""}));
    ASSERT_TRUE(list.getString(u"s", back));
    EXPECT_EQ(back, std::u16string(u"a\0b", 3));
    EXPECT_FALSE(list.getString(u"S", back));
    EXPECT_FALSE(list.getString(std::u16string(u"s\0", 2), back));
}

TEST(JSONFormatterStrings, CarryALoneLowSurrogate) {
    std::u16string value;
    ASSERT_TRUE(parsed(u"{\"s\":\"\\uDE00-\\uD83D\\uDE00\"}").getString(u"s", value));
    EXPECT_EQ(value, std::u16string(u"\xDE00-\xD83D\xDE00"));
}

TEST(JSONFormatterSet, MovesTheReplacedMemberToTheEnd) {
    JSONFormatter formatter = parsed(u"{\"a\":1,\"b\":2,\"c\":3}");
    formatter.setInt32(u"a", 9);
    EXPECT_EQ(formatter.toString(), u"{\"c\":3,\"b\":2,\"a\":9}");
    formatter.setString(u"a", u"last");
    EXPECT_EQ(formatter.toString(), u"{\"c\":3,\"b\":2,\"a\":\"last\"}");

    JSONFormatter twice = parsed(u"{\"a\":1,\"a\":2}");
    int32_t value = 0;
    ASSERT_TRUE(twice.getInt32(u"a", value));
    EXPECT_EQ(value, 1);
    twice.setInt32(u"a", 5);
    EXPECT_EQ(twice.toString(), u"{\"a\":2,\"a\":5}");
    ASSERT_TRUE(twice.getInt32(u"a", value));
    EXPECT_EQ(value, 2);
}

TEST(JSONFormatterArrays, AreAppendedToAndReadUpToTheFirstForeignElement) {
    JSONFormatter formatter = parsed(u"{\"l\":[\"x\",1,\"y\"],\"s\":\"x\"}");
    Strings strings{u"before"};
    EXPECT_FALSE(formatter.getStringArray(u"l", strings));
    EXPECT_EQ(strings, (Strings{u"before", u"x"}));
    EXPECT_FALSE(formatter.getStringArray(u"s", strings));
    EXPECT_TRUE(formatter.getStringArray(u"missing", strings));
    EXPECT_EQ(strings.size(), 2u);

    formatter.setStringArray(u"l", {});
    EXPECT_TRUE(formatter.getStringArray(u"l", strings));
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
    objects.setObjectArray(u"o", {});
    EXPECT_EQ(objects.toString(), u"{\"p\":[{\"n\":1}],\"o\":[]}");
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
    EXPECT_EQ(outer.toString(),
              u"{\"n\":1,\"o\":{\"a\":\"a text that is long enough for the pool\",\"b\":2}}");
    // A formatter may be both ends of a copy.
    outer.setObject(u"n", outer);
    ASSERT_TRUE(outer.getObject(u"n", outer));
    EXPECT_EQ(outer.toString(),
              u"{\"n\":1,\"o\":{\"a\":\"a text that is long enough for the pool\",\"b\":2}}");

    JSONFormatter moved = std::move(outer);
    outer.setBool(u"usable", true);  // NOLINT(bugprone-use-after-move): documented to be empty
    EXPECT_EQ(outer.toString(), u"{\"usable\":true}");
    JSONFormatter copy(moved);
    copy.setInt32(u"n", 3);
    int32_t value = 0;
    EXPECT_TRUE(moved.getInt32(u"n", value));
    EXPECT_EQ(value, 1);
}

TEST(JSONFormatterValue, IsPutInUnlessItIsTooDeep) {
    JSONFormatter formatter = parsed(u"{\"a\":1,\"b\":2}");
    JSONFormatter::Value name(rapidjson::StringRef(u"a")), value(rapidjson::kObjectType);
    formatter.setValue(name, value);
    EXPECT_EQ(formatter.toString(), u"{\"b\":2,\"a\":{}}");

    Tavix::JSONPool pool;
    JSONFormatter::Value deep(rapidjson::kArrayType);
    for (unsigned i = 0; i < Tavix::maximumJsonDepth; ++i) {
        JSONFormatter::Value outer(rapidjson::kArrayType);
        outer.PushBack(deep, pool);
        deep = std::move(outer);
    }
    JSONFormatter::Value other(rapidjson::StringRef(u"b"));
    formatter.setValue(other, deep);
    EXPECT_EQ(formatter.toString(), u"{\"b\":2,\"a\":{}}");
}

}  // namespace
