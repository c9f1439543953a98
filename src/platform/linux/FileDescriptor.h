#pragma once

#include <fcntl.h>
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

// The same under a number that is none of the standard streams'. A host may have closed these, and what it
// prints all the same would go into the file.
inline FileDescriptor clearOfStandardStreams(FileDescriptor opened) noexcept {
    if (!opened || opened.get() > STDERR_FILENO)
        return opened;
    return FileDescriptor(fcntl(opened.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace Platform
