#pragma once

#include <utility>
#include <windows.h>

namespace Platform {

// Owns a kernel handle and closes it. Neither null nor INVALID_HANDLE_VALUE counts as one.
class Handle {
public:
    Handle() noexcept = default;
    explicit Handle(HANDLE handle) noexcept : handle_(handle) {}
    ~Handle() { reset(); }
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Handle& operator=(Handle&& other) noexcept {
        reset(std::exchange(other.handle_, nullptr));
        return *this;
    }

    HANDLE get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ && handle_ != INVALID_HANDLE_VALUE; }
    // Leaves the thread's last error as it is.
    void reset(HANDLE handle = nullptr) noexcept {
        if (*this) {
            const DWORD error = GetLastError();
            CloseHandle(handle_);
            SetLastError(error);
        }
        handle_ = handle;
    }

private:
    HANDLE handle_ = nullptr;
};

// Owns an open registry key.
class OpenKey {
public:
    OpenKey() noexcept = default;
    explicit OpenKey(HKEY key) noexcept : key_(key) {}
    ~OpenKey() { reset(); }
    OpenKey(OpenKey&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}
    OpenKey& operator=(OpenKey&& other) noexcept {
        reset(std::exchange(other.key_, nullptr));
        return *this;
    }

    HKEY get() const noexcept { return key_; }
    explicit operator bool() const noexcept { return key_ != nullptr; }
    void reset(HKEY key = nullptr) noexcept {
        if (key_)
            RegCloseKey(key_);
        key_ = key;
    }

private:
    HKEY key_ = nullptr;
};

}  // namespace Platform
