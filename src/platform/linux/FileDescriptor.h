#pragma once

#include <unistd.h>
#include <utility>

namespace Platform {

// Owns an open file descriptor and closes it.
class FileDescriptor {
public:
    FileDescriptor() noexcept = default;
    explicit FileDescriptor(int number) noexcept : number_(number) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(std::exchange(other.number_, -1));
        return *this;
    }

    int get() const noexcept { return number_; }
    explicit operator bool() const noexcept { return number_ >= 0; }
    void reset(int number = -1) noexcept {
        if (number_ >= 0)
            close(number_);
        number_ = number;
    }

private:
    int number_ = -1;
};

}  // namespace Platform
