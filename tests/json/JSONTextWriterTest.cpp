#include <gtest/gtest.h>

#include "json/JSONFormatter.h"
#include "json/JSONTextWriter.h"

namespace {

std::u16string written(const std::u16string& text) {
    Tavix::JSONTextSink sink;
    Tavix::JSONTextWriter writer(sink);
    writer.StartObject();
    writer.Key(u"before");
    writer.Int(1);
    writer.Key(u"text");
    writer.ObjectText(text);
    writer.Key(u"after");
    writer.Bool(true);
    writer.EndObject();
    return sink.take();
}

std::u16string framed(const std::u16string& object) {
    return u"{\"before\":1,\"text\":" + object + u",\"after\":true}";
}

TEST(JSONTextWriter, WritesAnObjectTextAsADocumentWould) {
    for (const std::u16string text :
         {u"{}", u" { \"a\" : [ 1 , -2, 1.50, 1E3, 0.1234567890123456789, 18446744073709551615, 1e-320 ] } ",
          u"{\"a\":{\"b\":[{},[],null,true,false]},\"a\":\"\\u0041\\/\\n\\u0000\",\"\":\"\u20AC\"}",
          u"\n{\"n\":123456789012345678901234567890}"}) {
        Tavix::JSONFormatter document;
        ASSERT_TRUE(document.parse(text));
        EXPECT_EQ(written(text), framed(document.toString()));
    }
}

TEST(JSONTextWriter, PutsAnEmptyObjectInPlaceOfWhatIsNone) {
    for (const std::u16string text :
         {u"", u" ", u"[1]", u"7", u"null", u"{\"a\":[1,2,{\"b\":", u"{\"a\":1}}", u"{} x", u"{\"a\":1,}"})
        EXPECT_EQ(written(text), framed(u"{}")) << testing::PrintToString(text);
    EXPECT_EQ(written(std::u16string(u"{}\0", 3)), framed(u"{}"));
    EXPECT_EQ(written(u"{\"a\":" + std::u16string(1'000'000, u'[')), framed(u"{}"));
}

}  // namespace
