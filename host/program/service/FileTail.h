// What is appended to files from a moment on.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Host {

// Watches the files of one folder whose names end alike; folder and files may come into being later. A file
// that has become shorter was started anew and counts from its beginning.
class FileTail {
public:
    // The moment is that of construction. The folder is in Windows form.
    FileTail(std::u16string folder, std::u16string nameEnding);

    // The whole lines since then, or since the last call, file by file in the order of their names; the last
    // mostLines of them.
    std::vector<std::u16string> newLines(size_t mostLines);

private:
    std::vector<std::u16string> files() const;

    const std::u16string folder_;
    const std::u16string nameEnding_;
    std::map<std::u16string, uint64_t> read_;  // up to where, by path
};

}  // namespace Host
