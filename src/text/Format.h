// printf-style formatting of UTF-16 text, type-safe: the conversion says how a value is to look, the
// argument's own type how it is read. A wrong or missing argument shows as "(?)" and reads no memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace Ferrow {

class FormatArgument {
public:
    enum class Kind { signedNumber, unsignedNumber, real, wideText, narrowText, pointer };

    template <class T>
    FormatArgument(
        const T& value) noexcept {  // NOLINT(google-explicit-constructor): arguments convert silently
        if constexpr (std::is_same_v<T, bool>) {
            kind_ = Kind::unsignedNumber;
            unsigned_ = value ? 1 : 0;
            size_ = sizeof(int);
        } else if constexpr (std::is_enum_v<T>) {
            *this = FormatArgument(static_cast<std::underlying_type_t<T>>(value));
        } else if constexpr (std::is_integral_v<T>) {
            size_ = sizeof(T);
            kind_ = std::is_signed_v<T> ? Kind::signedNumber : Kind::unsignedNumber;
            if constexpr (std::is_signed_v<T>)
                signed_ = value;
            else
                unsigned_ = value;
        } else if constexpr (std::is_floating_point_v<T>) {
            kind_ = Kind::real;
            real_ = static_cast<double>(value);
        } else if constexpr (std::is_convertible_v<const T&, std::u16string_view> && !std::is_pointer_v<T>) {
            setText(std::u16string_view(value));
        } else if constexpr (std::is_convertible_v<const T&, std::string_view> && !std::is_pointer_v<T>) {
            setText(std::string_view(value));
        } else {
            *this = FormatArgument(static_cast<const std::remove_pointer_t<std::decay_t<T>>*>(value));
        }
    }
    // Null shows as "(null)".
    FormatArgument(const char16_t* text) noexcept {  // NOLINT(google-explicit-constructor)
        setText(text ? std::u16string_view(text) : std::u16string_view(u"(null)"));
    }
    FormatArgument(const char* text) noexcept {  // NOLINT(google-explicit-constructor)
        setText(text ? std::string_view(text) : std::string_view("(null)"));
    }
    FormatArgument(const void* address) noexcept  // NOLINT(google-explicit-constructor)
        : kind_(Kind::pointer), address_(address), size_(sizeof address) {}

    Kind kind() const noexcept { return kind_; }
    unsigned size() const noexcept { return size_; }  // bytes of the argument's own type
    int64_t signedNumber() const noexcept { return signed_; }
    uint64_t unsignedNumber() const noexcept { return unsigned_; }
    double real() const noexcept { return real_; }
    const void* address() const noexcept { return address_; }
    std::u16string_view wideText() const noexcept {
        return {static_cast<const char16_t*>(address_), length_};
    }
    std::string_view narrowText() const noexcept { return {static_cast<const char*>(address_), length_}; }

private:
    void setText(std::u16string_view text) noexcept {
        kind_ = Kind::wideText;
        address_ = text.data();
        length_ = text.size();
    }
    void setText(std::string_view text) noexcept {
        kind_ = Kind::narrowText;
        address_ = text.data();
        length_ = text.size();
    }

    Kind kind_ = Kind::signedNumber;
    union {
        int64_t signed_;
        uint64_t unsigned_ = 0;
        double real_;
        const void* address_;
    };
    size_t length_ = 0;
    unsigned size_ = sizeof(int);
};

// Conversions: d i u x X o c s f e g p %, with flags - + 0 space #, width, precision (numbers or *), and the
// length modifiers h hh l ll w z, which decide nothing (%s, %ls and %hs all take the text that is given).
// The result is cut to maximumLength units, never inside a surrogate pair.
std::u16string formatTextArguments(std::u16string_view format, const FormatArgument* arguments, size_t count,
                                   size_t maximumLength = SIZE_MAX);

template <class... Arguments>
std::u16string formatText(std::u16string_view format, const Arguments&... arguments) {
    const FormatArgument list[] = {FormatArgument(arguments)..., FormatArgument(0)};
    return formatTextArguments(format, list, sizeof...(arguments));
}

}  // namespace Ferrow
