#include "platform/Registry.h"

#include "platform/linux/RegistryFile.h"
#include "text/Utf.h"

namespace Platform {
namespace {

class FileRegistryKey final : public RegistryKey {
public:
    explicit FileRegistryKey(std::u16string path) : path_(std::move(path)) {}

    std::optional<std::u16string> readText(std::u16string_view name) const override {
        return read<std::u16string>(name);
    }
    std::optional<uint32_t> readNumber(std::u16string_view name) const override {
        return read<uint32_t>(name);
    }

private:
    template <class T>
    std::optional<T> read(std::u16string_view name) const {
        const std::shared_ptr<const RegistryNode> registry = currentRegistry();
        const RegistryNode* key = findRegistryKey(*registry, path_);
        if (!key)
            return std::nullopt;
        const auto value = key->values.find(Ferrow::toLowerAscii(name));
        if (value == key->values.end())
            return std::nullopt;
        const T* typed = std::get_if<T>(&value->second);
        return typed ? std::optional<T>(*typed) : std::nullopt;
    }

    const std::u16string path_;
};

class FileRegistry final : public Registry {
public:
    std::unique_ptr<RegistryKey> openKey(std::u16string_view path) const override {
        std::u16string folded = Ferrow::toLowerAscii(path);
        if (!findRegistryKey(*currentRegistry(), folded))
            return nullptr;
        return std::make_unique<FileRegistryKey>(std::move(folded));
    }
};

constinit const FileRegistry fileRegistry;

}  // namespace

const Registry& Registry::system() noexcept {
    return fileRegistry;
}
const Registry& Registry::protectedReader() noexcept {
    return fileRegistry;
}

}  // namespace Platform
