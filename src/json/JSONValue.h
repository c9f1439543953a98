// The document model of all JSON in the system: RapidJSON's, over UTF-16.
#pragma once

#include <cstdlib>
#include <new>
#include <rapidjson/document.h>

namespace Tavix {

// Texts nested deeper than this are refused, whatever the thread's stack: what is in a document can then be
// copied and written by recursion. The root object counts as one level.
constexpr unsigned maximumJsonDepth = 512;

// The heap, with std::bad_alloc when it is exhausted: RapidJSON would write through the null pointer.
class JSONHeap {
public:
    static const bool kNeedFree = true;  // NOLINT: a name that RapidJSON looks for

    void* Malloc(size_t size) { return size ? checked(std::malloc(size)) : nullptr; }
    void* Realloc(void* block, size_t, size_t size) {
        if (size)
            return checked(std::realloc(block, size));
        std::free(block);
        return nullptr;
    }
    static void Free(void* block) { std::free(block); }

private:
    static void* checked(void* block) {
        if (!block)
            throw std::bad_alloc();
        return block;
    }
};

// UTF-16 whose escapes may name a lone low surrogate: it is carried as the unit that it is. RapidJSON's own
// encoding asserts that none comes, and a text from outside may hold one.
struct JSONEncoding : rapidjson::UTF16<char16_t> {
    template <class OutputStream>
    static void Encode(OutputStream& stream, unsigned codepoint) {
        if (codepoint <= 0xFFFF)
            stream.Put(static_cast<char16_t>(codepoint));
        else
            UTF16::Encode(stream, codepoint);
    }
};

using JSONPool = rapidjson::MemoryPoolAllocator<JSONHeap>;
using JSONValue = rapidjson::GenericValue<JSONEncoding, JSONPool>;

}  // namespace Tavix
