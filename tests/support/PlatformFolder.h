// A machine of the test's own. Where the platform layer keeps registry and user sessions as files, they are
// files in a fresh folder. On Windows the registry and the data folder are the machine's: only a machine that
// is there for tests (environment BREVANT_TEST_MACHINE) is changed, and the list of sessions is read from the
// fresh folder by the library that the tests put before the system's (tests/wine).
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

    // Whether registry and data folder are the test's to change; tests that need them are skipped otherwise.
    bool isOwnMachine() const;
    static constexpr const char* notOwnMachine = "changes the registry: set BREVANT_TEST_MACHINE to allow it";
    // The folder for application data of all users.
    std::filesystem::path data() const;

    // Replace the file in one step, as an administrator's editor would. The text is what Windows exports.
    void writeRegistry(std::string_view text);
    // Parts of such a text: a key of the machine's software with its values as lines, a component's
    // registration under its class id in braces.
    static std::string keyText(const std::string& key, const std::string& values) {
        return "[HKEY_LOCAL_MACHINE\\SOFTWARE\\" + key + "]\n" + values + "\n";
    }
    static std::string componentText(const std::string& classId, const std::u16string& library);
    // A registry with that part alone.
    void writeKey(const std::string& key, const std::string& values) { writeRegistry(keyText(key, values)); }
    void registerComponent(const std::string& classId, const std::u16string& library) {
        writeRegistry(componentText(classId, library));
    }
    void writeSessions(std::string_view text);
    void write(const std::filesystem::path& name, std::string_view text);

private:
    void forgetData();
    void forgetRegistry();

    std::filesystem::path path_;
    std::string before_;
    std::string registry_;
};

}  // namespace Support
