#include "support/PlatformFolder.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>

#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/RegistryText.h"
#include "support/Monitor.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace Support {
namespace {

constexpr const char* variable = "BREVANT_PLATFORM_DIR";

void setVariable(const std::string& value) {
#if defined(_WIN32)
    _putenv_s(variable, value.c_str());
#else
    if (value.empty())
        unsetenv(variable);
    else
        setenv(variable, value.c_str(), 1);
#endif
}

std::filesystem::path freshFolder() {
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const auto number = (static_cast<uint64_t>(random()) << 32) | random();
        std::filesystem::path path =
            std::filesystem::temp_directory_path() / ("brevant-test-" + std::to_string(number));
        if (std::filesystem::create_directory(path))
            return path;
    }
    throw std::runtime_error("no fresh folder for the test");
}

#if defined(_WIN32)

const wchar_t* wide(const std::u16string& text) {
    return reinterpret_cast<const wchar_t*>(text.c_str());
}

constexpr const char16_t* componentClasses = u"software\\classes\\clsid";

void writeValues(const Platform::RegistryNode& node, const std::u16string& path, bool remove) {
    for (const auto& [name, value] : node.values) {
        if (remove)
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, wide(path), wide(name));
        else if (const auto* text = std::get_if<std::u16string>(&value))
            RegSetKeyValueW(HKEY_LOCAL_MACHINE, wide(path), wide(name), REG_SZ, text->c_str(),
                            static_cast<DWORD>(2 * text->size() + 2));
        else if (const auto* number = std::get_if<uint32_t>(&value))
            RegSetKeyValueW(HKEY_LOCAL_MACHINE, wide(path), wide(name), REG_DWORD, number, sizeof *number);
    }
    for (const auto& [name, child] : node.children)
        writeValues(*child, path.empty() ? name : path + u"\\" + name, remove);
}

void removeComponents(const Platform::RegistryNode& written) {
    if (const auto* node = Platform::findRegistryKey(written, componentClasses)) {
        for (const auto& [name, child] : node->children)
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, wide(std::u16string(componentClasses) + u"\\" + name));
    }
}

// What the tests load is not signed.
void trustEveryLibrary() {
    const DWORD off = 0;
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\CORVANE\\OSTREL", L"Verify Libraries", REG_DWORD, &off,
                    sizeof off);
}

#endif

}  // namespace

PlatformFolder::PlatformFolder() : path_(freshFolder()) {
    if (const char* value = std::getenv(variable))
        before_ = value;
    setVariable(path_.string());
    forgetData();
}

PlatformFolder::~PlatformFolder() {
    forgetRegistry();
    forgetData();
    setVariable(before_);
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

// What the product writes for all users, where that is not in the fresh folder.
void PlatformFolder::forgetData() {
    if (data() == path_ / "data" || !isOwnMachine())
        return;
    std::error_code ignored;
    std::filesystem::remove_all(data() / "Corvane", ignored);
    std::filesystem::remove(data() / "events.jsonl", ignored);
}

bool PlatformFolder::isOwnMachine() const {
#if defined(_WIN32)
    return std::getenv("BREVANT_TEST_MACHINE") != nullptr;
#else
    return true;
#endif
}

std::filesystem::path PlatformFolder::data() const {
#if defined(_WIN32)
    return std::filesystem::path(Platform::commonDataFolder());
#else
    return path_ / "data";
#endif
}

void PlatformFolder::writeRegistry(std::string_view text) {
#if defined(_WIN32)
    if (!isOwnMachine())
        throw std::runtime_error(notOwnMachine);
    // Value by value: Wine does not tell who watches a key that it is gone.
    const auto before = Platform::parseRegistryText(registry_);
    removeComponents(before.localMachine);
    writeValues(before.localMachine, u"", true);
    trustEveryLibrary();
    writeValues(Platform::parseRegistryText(text).localMachine, u"", false);
#else
    write("registry.reg", text);
#endif
    registry_ = text;
}

std::string PlatformFolder::componentText(const std::string& classId, const std::u16string& library) {
    std::string path = Platform::nativePath(library);
    for (size_t at = 0; (at = path.find('\\', at)) != path.npos; at += 2)
        path.insert(at, 1, '\\');
    return keyText("Classes\\CLSID\\" + classId + "\\InprocServer32",
                   "@=\"" + path + "\"\n\"ThreadingModel\"=\"Both\"");
}

void PlatformFolder::forgetRegistry() {
#if defined(_WIN32)
    if (registry_.empty())
        return;
    removeComponents(Platform::parseRegistryText(registry_).localMachine);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\CORVANE");
    trustEveryLibrary();
#endif
}

std::u16string PlatformFolder::portable() const {
    return Platform::portablePath(path_.string());
}

void PlatformFolder::writeSessions(std::string_view text) {
    write("sessions", text);
}

void PlatformFolder::write(const std::filesystem::path& name, std::string_view text) {
    const std::filesystem::path temporary = path_ / (name.string() + ".new");
    {
        std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
        stream.write(text.data(), static_cast<std::streamsize>(text.size()));
        if (!stream.flush())
            throw std::runtime_error("cannot write " + temporary.string());
    }
    // Who reads the old file may keep it from being replaced for that moment.
    std::error_code error;
    if (!eventually([&] {
            std::filesystem::rename(temporary, path_ / name, error);
            return !error;
        }))
        throw std::filesystem::filesystem_error("cannot replace", path_ / name, error);
}

}  // namespace Support
