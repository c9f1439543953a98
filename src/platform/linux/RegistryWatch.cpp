#include <sys/eventfd.h>

#include "platform/Registry.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/PathWatch.h"
#include "platform/linux/RegistryFile.h"
#include "text/Utf.h"

namespace Platform {
namespace {

// Follows the registry file.
class FileWatch final : public RegistryWatch {
public:
    explicit FileWatch(std::u16string_view key)
        : key_(Ferrow::toLowerAscii(key)),
          cancelled_(eventfd(0, EFD_CLOEXEC)),
          file_(registryFilePath()),
          seen_(values()) {}

    bool usable() const noexcept { return static_cast<bool>(cancelled_); }

    bool wait() override {
        while (file_.wait(cancelled_.get())) {
            // The file changes for other keys too.
            Values now = values();
            if (now == seen_)
                continue;
            seen_ = std::move(now);
            return true;
        }
        return false;
    }

    void cancel() override {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(cancelled_.get(), &one, sizeof one);
    }

private:
    using Values = decltype(RegistryNode::values);

    Values values() const {
        // Of what this watch has been told, others may not have been yet.
        const std::shared_ptr<const RegistryNode> registry = currentRegistry(Look::always);
        const RegistryNode* const key = findRegistryKey(*registry, key_);
        return key ? key->values : Values();
    }

    const std::u16string key_;
    const FileDescriptor cancelled_;
    // Of the waiting thread, and of the constructor before it.
    PathWatch file_;
    Values seen_;
};

}  // namespace

std::unique_ptr<RegistryWatch> RegistryWatch::create(std::u16string_view path) {
    auto watch = std::make_unique<FileWatch>(path);
    if (!watch->usable())
        return nullptr;
    return watch;
}

}  // namespace Platform
