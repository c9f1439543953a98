// Keeps this library loaded while one of its own threads cannot be waited for.
#pragma once

#include "platform/DynamicLibrary.h"

namespace MessageBus {

class LibraryPin {
public:
    LibraryPin() = default;
    ~LibraryPin() {
        if (library_)
            Platform::freeLibrary(library_);
    }
    LibraryPin(LibraryPin&& other) noexcept : library_(other.library_) { other.library_ = nullptr; }
    LibraryPin& operator=(LibraryPin&&) = delete;

    // A further reference to the library that this code is in.
    static LibraryPin take() {
        static constexpr char here = 0;
        LibraryPin pin;
        pin.library_ = Platform::libraryContaining(&here);
        return pin;
    }

private:
    Platform::LibraryHandle library_ = nullptr;
};

}  // namespace MessageBus
