#include "platform/Registry.h"

#include "platform/windows/Handle.h"
#include "platform/windows/Wide.h"

namespace Platform {
namespace {

class SystemRegistryKey final : public RegistryKey {
public:
    explicit SystemRegistryKey(HKEY key) noexcept : key_(key) {}

    std::optional<std::u16string> readText(std::u16string_view name) const override {
        const std::u16string wanted(name);
        std::u16string text(64, u'\0');
        for (;;) {
            DWORD type = 0;
            // One unit is kept free: a stored text need not be terminated.
            auto bytes = static_cast<DWORD>((text.size() - 1) * sizeof(char16_t));
            const LSTATUS status = RegQueryValueExW(key_.get(), wide(wanted), nullptr, &type,
                                                    reinterpret_cast<BYTE*>(text.data()), &bytes);
            if (status == ERROR_MORE_DATA && (type == REG_SZ || type == REG_EXPAND_SZ) && bytes < mostBytes) {
                text.resize(bytes / sizeof(char16_t) + 2);
                continue;
            }
            if (status != ERROR_SUCCESS || (type != REG_SZ && type != REG_EXPAND_SZ))
                return std::nullopt;
            text.resize(bytes / sizeof(char16_t));
            text.resize(std::min(text.find(u'\0'), text.size()));
            return text;
        }
    }

    std::optional<uint32_t> readNumber(std::u16string_view name) const override {
        const std::u16string wanted(name);
        DWORD type = 0;
        DWORD number = 0;
        DWORD bytes = sizeof number;
        if (RegQueryValueExW(key_.get(), wide(wanted), nullptr, &type, reinterpret_cast<BYTE*>(&number),
                             &bytes) != ERROR_SUCCESS ||
            type != REG_DWORD || bytes != sizeof number)
            return std::nullopt;
        return number;
    }

private:
    static constexpr DWORD mostBytes = 16 << 20;
    const OpenKey key_;
};

class SystemRegistry final : public Registry {
public:
    std::unique_ptr<RegistryKey> openKey(std::u16string_view path) const override {
        const std::u16string wanted(path);
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, wide(wanted), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return nullptr;
        return std::make_unique<SystemRegistryKey>(key);
    }
};

constinit const SystemRegistry systemRegistry;

}  // namespace

const Registry& Registry::system() noexcept {
    return systemRegistry;
}
const Registry& Registry::protectedReader() noexcept {
    return systemRegistry;
}

}  // namespace Platform
