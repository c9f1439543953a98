#include "host/program/service/FileTail.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "host/program/output/SystemPath.h"
#include "platform/Files.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr uint64_t mostBytes = uint64_t{1} << 20;  // read of one file, from its end

std::string readFrom(const std::u16string& path, uint64_t begin, uint64_t end) {
    std::ifstream stream(systemPath(path), std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(begin));
    std::string bytes(static_cast<size_t>(end - begin), '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    return bytes;
}

}  // namespace

FileTail::FileTail(std::u16string folder, std::u16string nameEnding)
    : folder_(std::move(folder)), nameEnding_(std::move(nameEnding)) {
    for (const std::u16string& path : files())
        read_[path] = Platform::fileSize(path).value_or(0);
}

std::vector<std::u16string> FileTail::files() const {
    std::vector<std::u16string> result;
    std::error_code error;
    for (std::filesystem::directory_iterator at(systemPath(folder_), error), end; !error && at != end;
         at.increment(error)) {
        const std::u8string name = at->path().filename().u8string();
        const std::u16string text =
            Ferrow::toUtf16({reinterpret_cast<const char*>(name.data()), name.size()});
        if (text.ends_with(nameEnding_))
            result.push_back(folder_ + u"\\" + text);
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::vector<std::u16string> FileTail::newLines(size_t mostLines) {
    std::deque<std::u16string> lines;
    for (const std::u16string& path : files()) {
        const uint64_t size = Platform::fileSize(path).value_or(0);
        uint64_t& begin = read_[path];
        if (begin > size)
            begin = 0;
        if (begin == size)
            continue;
        begin = std::max(begin, size - std::min(size, mostBytes));
        const std::string bytes = readFrom(path, begin, size);
        std::string_view rest(bytes.data(), bytes.rfind('\n') + 1);
        begin += rest.size();
        while (!rest.empty()) {
            const size_t end = rest.find('\n');
            std::string_view line = rest.substr(0, end);
            if (line.ends_with('\r'))
                line.remove_suffix(1);
            if (!line.empty())
                lines.push_back(Ferrow::toUtf16(line));
            if (lines.size() > mostLines)
                lines.pop_front();
            rest.remove_prefix(end + 1);
        }
    }
    return {lines.begin(), lines.end()};
}

}  // namespace Host
