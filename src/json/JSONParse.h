// Strict parsing into any RapidJSON handler, with bounded stack and depth.
#pragma once

#include <algorithm>
#include <cmath>
#include <rapidjson/reader.h>
#include <string>

#include "json/JSONExponents.h"
#include "json/JSONValue.h"

namespace Tavix {

// Hands events on and ends the parse at what a document must not hold: a level too deep, before the handler
// sees it, or a number beyond all doubles.
template <class Handler>
class JSONGuard {
public:
    using Size = rapidjson::SizeType;

    explicit JSONGuard(Handler& handler) noexcept : handler_(handler) {}
    unsigned deepest() const noexcept { return deepest_; }

    bool Null() { return handler_.Null(); }
    bool Bool(bool value) { return handler_.Bool(value); }
    bool Int(int32_t value) { return handler_.Int(value); }
    bool Uint(uint32_t value) { return handler_.Uint(value); }
    bool Int64(int64_t value) { return handler_.Int64(value); }
    bool Uint64(uint64_t value) { return handler_.Uint64(value); }
    // The reader lets 11e308 pass as infinity, which no text can hold again.
    bool Double(double value) { return std::isfinite(value) && handler_.Double(value); }
    bool RawNumber(const char16_t* text, Size length, bool copy) {
        return handler_.RawNumber(text, length, copy);
    }
    bool String(const char16_t* text, Size length, bool copy) { return handler_.String(text, length, copy); }
    bool Key(const char16_t* text, Size length, bool copy) { return handler_.Key(text, length, copy); }
    bool StartObject() { return enter() && handler_.StartObject(); }
    bool EndObject(Size count) { return leave(), handler_.EndObject(count); }
    bool StartArray() { return enter() && handler_.StartArray(); }
    bool EndArray(Size count) { return leave(), handler_.EndArray(count); }

private:
    bool enter() noexcept {
        deepest_ = std::max(deepest_, ++depth_);
        return depth_ <= maximumJsonDepth;
    }
    void leave() noexcept { --depth_; }

    Handler& handler_;
    unsigned depth_ = 0;
    unsigned deepest_ = 0;
};

template <class Handler>
bool parseShortExponents(const std::u16string& text, Handler& handler, unsigned& depth) {
    constexpr size_t readerStack = 2048;  // bytes; holds the string being read and the open levels
    rapidjson::GenericReader<JSONEncoding, JSONEncoding, JSONHeap> reader(nullptr, readerStack);
    rapidjson::GenericStringStream<JSONEncoding> stream(text.c_str());
    JSONGuard<Handler> guard(handler);
    if (!reader.template Parse<rapidjson::kParseIterativeFlag>(stream, guard) || stream.Tell() != text.size())
        return false;
    depth = guard.deepest();
    return true;
}

// The whole text must be one value: a NUL is an error, not an end. Takes no stack for nesting. On failure the
// handler has seen the events before the error.
template <class Handler>
bool parseJson(const std::u16string& text, Handler& handler, unsigned& depth) {
    if (mayHoldLongExponent(text)) [[unlikely]]
        return parseShortExponents(withShortExponents(std::u16string_view(text)), handler, depth);
    return parseShortExponents(text, handler, depth);
}

}  // namespace Tavix
