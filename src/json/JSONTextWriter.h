// RapidJSON's compact writer, straight into a string.
#pragma once

#include <cmath>
#include <rapidjson/writer.h>
#include <string>
#include <string_view>
#include <utility>

#include "json/JSONValue.h"

namespace Tavix {

// An output stream as RapidJSON wants it.
class JSONTextSink {
public:
    using Ch = char16_t;

    explicit JSONTextSink(size_t expectedLength = 256) { text_.reserve(expectedLength); }

    void Put(char16_t unit) { text_.push_back(unit); }
    void Flush() {}
    void append(std::u16string_view text) { text_.append(text); }
    size_t length() const noexcept { return text_.size(); }
    void truncate(size_t length) { text_.resize(length); }
    std::u16string take() noexcept { return std::move(text_); }

private:
    std::u16string text_;
};

// The text is the library's own writer's, unit for unit; strings are appended run by run instead of unit by
// unit. A number that is not finite has no JSON form and is written as null.
class JSONTextWriter : public rapidjson::Writer<JSONTextSink, JSONEncoding, JSONEncoding, JSONHeap> {
public:
    explicit JSONTextWriter(JSONTextSink& sink) : Writer(sink) {}

    bool String(const char16_t* text, rapidjson::SizeType length, bool = false) {
        Prefix(rapidjson::kStringType);
        writeString({text, length});
        return EndValue(true);
    }
    bool Key(const char16_t* text, rapidjson::SizeType length, bool copy = false) {
        return String(text, length, copy);
    }
    bool Key(std::u16string_view text) { return String(text); }
    bool String(std::u16string_view text) {
        Prefix(rapidjson::kStringType);
        writeString(text);
        return EndValue(true);
    }
    bool Double(double number) {
        hasDoubles_ = true;
        return std::isfinite(number) ? Writer::Double(number) : Writer::Null();
    }
    // Whether a number with a fraction or an exponent has been written: read again, it may be another by the
    // last digit.
    bool hasDoubles() const noexcept { return hasDoubles_; }

    // Writes the object that a text holds, without building a document: what parsing and writing it gives. An
    // empty object, and false, for a text that is not well-formed, no object or nested too deeply.
    bool ObjectText(const std::u16string& text);
    // Takes over the text of an object as it stands: one that such a writer has written, without doubles.
    void WrittenObject(std::u16string_view text) {
        Prefix(rapidjson::kObjectType);
        os_->append(text);
        EndValue(true);
    }

private:
    void writeString(std::u16string_view text);

    bool hasDoubles_ = false;
};

}  // namespace Tavix
