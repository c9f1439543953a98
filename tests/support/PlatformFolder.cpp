#include "support/PlatformFolder.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>

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

}  // namespace

PlatformFolder::PlatformFolder() : path_(freshFolder()) {
    if (const char* value = std::getenv(variable))
        before_ = value;
    setVariable(path_.string());
}

PlatformFolder::~PlatformFolder() {
    setVariable(before_);
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::u16string PlatformFolder::portable() const {
    std::u16string text = path_.u16string();
    for (char16_t& unit : text) {
        if (unit == u'/')
            unit = u'\\';
    }
    return text;
}

void PlatformFolder::writeRegistry(std::string_view text) {
    write("registry.reg", text);
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
    std::filesystem::rename(temporary, path_ / name);
}

}  // namespace Support
