// Values of INI files that may be stored in a protected form; plain INI files on this implementation.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Platform {

class IniFiles {
public:
    // Section and key are compared without case. Nothing when file, section or key is missing.
    virtual std::optional<std::u16string> read(const std::u16string& file, std::u16string_view section,
                                               std::u16string_view key) const = 0;
    // Sets one value and leaves the rest of the file as it is; creates file and folders when missing.
    virtual bool write(const std::u16string& file, std::u16string_view section, std::u16string_view key,
                       std::u16string_view value) const = 0;

    static const IniFiles& protectedReader() noexcept;

protected:
    // Trivial: used until the process is gone.
    ~IniFiles() = default;
};

}  // namespace Platform
