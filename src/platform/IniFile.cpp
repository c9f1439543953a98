#include "platform/IniFile.h"

#include "platform/Files.h"
#include "platform/IniText.h"
#include "platform/Sync.h"

namespace Platform {
namespace {

constexpr size_t mostBytes = 1 << 20;

// Held from reading a file to replacing it, so that two threads do not lose each other's values. Leaf.
constinit Mutex writing;

class PlainIniFiles final : public IniFiles {
public:
    std::optional<std::u16string> read(const std::u16string& file, std::u16string_view section,
                                       std::u16string_view key) const override {
        const std::optional<std::string> text = readFile(file, mostBytes);
        return text ? readIniValue(*text, section, key) : std::nullopt;
    }

    bool write(const std::u16string& file, std::u16string_view section, std::u16string_view key,
               std::u16string_view value) const override {
        MutexLock lock(writing);
        std::string text;
        if (fileExists(file)) {
            std::optional<std::string> content = readFile(file, mostBytes);
            if (!content)
                return false;
            text = std::move(*content);
        } else {
            const size_t separator = file.rfind(u'\\');
            if (separator != std::u16string::npos && separator > 0 &&
                !createFolders(file.substr(0, separator)))
                return false;
        }
        const std::optional<std::string> edited = withIniValue(text, section, key, value);
        return edited && edited->size() <= mostBytes && writeFileAtomically(file, *edited);
    }
};

constinit const PlainIniFiles plainIniFiles;

}  // namespace

const IniFiles& IniFiles::protectedReader() noexcept {
    return plainIniFiles;
}

}  // namespace Platform
