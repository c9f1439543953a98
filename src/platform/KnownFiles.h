// Tells that files are as they were without looking at them again.
#pragma once

#include <memory>
#include <span>
#include <string>

namespace Platform {

// The files themselves, and each folder, link and mount that leads to them. Belongs to one thread at a time.
class KnownFiles {
public:
    KnownFiles() noexcept;
    ~KnownFiles();
    KnownFiles(const KnownFiles&) = delete;
    KnownFiles& operator=(const KnownFiles&) = delete;

    enum class Registry { left, followed };

    // Speaks of these files instead, whether or not they exist, and of the registry. Look at them afterwards.
    // Full paths.
    void follow(std::span<const std::u16string> paths, Registry registry = Registry::left);
    // True only when nothing has changed since follow began, as far as files are written through calls and
    // not through memory; costs one system call. Always false before, and where the system does not tell of
    // changes.
    bool unchanged();
    // Whether it ever does.
    static bool areToldOf() noexcept;

private:
    struct Watches;
    std::unique_ptr<Watches> watches_;
};

}  // namespace Platform
