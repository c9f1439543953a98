#include "text/TextLength.h"

#include <cstdint>
#include <string>
#ifdef __SSE2__
#include <bit>
#include <emmintrin.h>
#endif

namespace Ferrow {

#ifdef __SSE2__

// Reads whole aligned blocks, which never reach into a page that the text does not reach.
__attribute__((no_sanitize("address", "thread"))) size_t textLength(const char16_t* text) noexcept {
    constexpr uintptr_t block = 16;
    const char16_t* at = text;
    for (; reinterpret_cast<uintptr_t>(at) % block != 0; ++at)
        if (*at == 0)
            return static_cast<size_t>(at - text);
    for (;; at += block / sizeof(char16_t)) {
        const __m128i units = _mm_load_si128(reinterpret_cast<const __m128i*>(at));
        const int zeros = _mm_movemask_epi8(_mm_cmpeq_epi16(units, _mm_setzero_si128()));
        if (zeros != 0)
            return static_cast<size_t>(at - text) +
                   static_cast<size_t>(std::countr_zero(static_cast<unsigned>(zeros))) / sizeof(char16_t);
    }
}

#else

size_t textLength(const char16_t* text) noexcept {
    return std::char_traits<char16_t>::length(text);
}

#endif

}  // namespace Ferrow
