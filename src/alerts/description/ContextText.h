// The text of a description's context, and what is known of it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "alerts/description/DuplicateKey.h"

namespace Tavix {
class JSONView;
}

namespace Vok {

// Moved, never copied; a move leaves the source empty.
class ContextText {
public:
    ContextText() = default;
    // Any text. Implicit: to most of its users the context is just that.
    ContextText(std::u16string text) noexcept : text_(std::move(text)) {}
    ContextText(const char16_t* text) : text_(text) {}
    // The compact text of an object in a document; about as long as expected, at most.
    ContextText(const Tavix::JSONView& object, size_t expectedLength);
    ContextText(ContextText&& other) noexcept { *this = std::move(other); }
    ContextText& operator=(ContextText&& other) noexcept;

    const std::u16string& text() const noexcept { return text_; }
    operator const std::u16string&() const noexcept { return text_; }

    // Whether it comes from a document.
    bool isWritten() const noexcept { return key_.has_value(); }
    // Whether reading and writing it again would give the same text, so that it can be taken into another.
    bool isStable() const noexcept { return isStable_; }
    // Of what AlertContext reads in the text, which is not read again when it comes from a document.
    DuplicateKey duplicateKey() const;

private:
    std::u16string text_;
    std::optional<DuplicateKey> key_;  // of a text from a document
    bool isStable_ = false;
};

}  // namespace Vok
