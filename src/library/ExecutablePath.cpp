#include "library/ExecutablePath.h"

#include <memory>

#include "platform/Process.h"
#include "platform/ProcessWide.h"

namespace Ferrow {
namespace {

constexpr size_t pathBufferLength = 260;
constexpr size_t partBufferLength = 256;

constinit Platform::ProcessWide<PathParts> executableParts;

}  // namespace

PathParts splitPath(std::u16string_view path) {
    const size_t driveLength = path.size() >= 2 && path[1] == u':' ? 2 : 0;
    const std::u16string_view drive = path.substr(0, driveLength);
    path.remove_prefix(driveLength);

    const size_t separator = path.find_last_of(u"\\/");
    const size_t directoryLength = separator == path.npos ? 0 : separator + 1;
    const std::u16string_view directory = path.substr(0, directoryLength);
    path.remove_prefix(directoryLength);

    const size_t dot = path.rfind(u'.');
    const std::u16string_view name = path.substr(0, dot);
    const std::u16string_view extension = dot == path.npos ? std::u16string_view() : path.substr(dot);

    for (const std::u16string_view part : {directory, name, extension}) {
        if (part.size() >= partBufferLength)
            return {};
    }
    return {std::u16string(drive), std::u16string(directory), std::u16string(name),
            std::u16string(extension)};
}

const PathParts& executablePathParts() {
    return executableParts.get([] {
        const std::u16string path = Platform::executablePath();
        return std::make_unique<PathParts>(path.size() < pathBufferLength ? splitPath(path) : PathParts());
    });
}

}  // namespace Ferrow
