// A machine of the test's own: registry and user sessions as files in a fresh folder that the platform layer
// reads instead of the real ones. Systems with a registry of their own do not look there.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Support {

class PlatformFolder {
public:
    // Makes a fresh folder and points BREVANT_PLATFORM_DIR at it; the destructor restores the variable and
    // removes the folder.
    PlatformFolder();
    ~PlatformFolder();
    PlatformFolder(const PlatformFolder&) = delete;
    PlatformFolder& operator=(const PlatformFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // The same in Windows form, as the product writes paths.
    std::u16string portable() const;

    // Replace the file in one step, as an administrator's editor would.
    void writeRegistry(std::string_view text);
    void writeSessions(std::string_view text);
    void write(const std::filesystem::path& name, std::string_view text);

private:
    std::filesystem::path path_;
    std::string before_;
};

}  // namespace Support
