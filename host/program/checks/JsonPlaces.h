// Where the values of a JSON text stand in it.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace Host {

// A line and a column, from 1 on; columns count UTF-16 units.
struct TextPlace {
    size_t line = 1;
    size_t column = 1;
};

// Over a text that has been parsed and found to be JSON, where it is not said otherwise. Looks only at what
// it is asked for: one level costs the memory of its own members. Lives no longer than the text.
class JsonPlaces {
public:
    // Of the name, in its quotation marks, and of the value. For elements of lists they are the same.
    struct Entry {
        size_t name, value;
    };

    explicit JsonPlaces(std::u16string_view text) noexcept : text_(text) {}

    size_t root() const noexcept { return afterBlanks(0); }
    // Of the object or list that begins there, in order.
    std::vector<Entry> entries(size_t at) const;
    // Of any text.
    TextPlace placeOf(size_t at) const noexcept;

private:
    size_t afterBlanks(size_t at) const noexcept;
    size_t afterString(size_t at) const noexcept;
    size_t afterValue(size_t at) const noexcept;

    std::u16string_view text_;
};

}  // namespace Host
