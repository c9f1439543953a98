#include "host/program/product/InputFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "host/program/output/SystemPath.h"

namespace Host {
namespace {

bool readAll(std::istream& stream, size_t most, std::string& bytes) {
    bytes.assign(most, '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    return !stream.bad();
}

}  // namespace

bool readInput(const std::u16string& path, size_t most, std::string& bytes, std::u16string& error) {
    if (path == u"-") {
        if (readAll(std::cin, most, bytes))
            return true;
        error = u"cannot read standard input";
        return false;
    }
    // Not through the platform's reader: it is the user who names this file, so it may be a pipe or a device.
    const std::filesystem::path file = systemPath(path);
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        error = u"\"" + shownPath(path) + u"\" is a folder";
        return false;
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        error = u"cannot read \"" + shownPath(path) + u"\": " +
                (std::filesystem::exists(file, ignored) ? u"no permission" : u"there is no such file");
        return false;
    }
    if (readAll(stream, most, bytes))
        return true;
    error = u"cannot read \"" + shownPath(path) + u"\"";
    return false;
}

std::u16string inputName(const std::u16string& path) {
    return path == u"-" ? u"standard input" : shownPath(path);
}

}  // namespace Host
