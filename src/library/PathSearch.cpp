#include "library/PathSearch.h"

#include <utility>

#include "logging/Log.h"

namespace Tavix {
namespace {

constexpr std::u16string_view logSource = u"dll\\PathSearch";  // compat

}  // namespace

PathSearch::PathSearch(std::shared_ptr<PathAPI> api, std::vector<std::u16string> folders)
    : api_(api ? std::move(api) : std::make_shared<PathAPI>()), folders_(std::move(folders)) {}

std::vector<std::u16string> PathSearch::getSearchPaths() const {
    return folders_;
}

void PathSearch::addSearchPaths(const std::vector<std::u16string>& folders) {
    folders_.insert(folders_.end(), folders.begin(), folders.end());
}

void PathSearch::addSearchPath(std::u16string&& folder) {
    folders_.push_back(std::move(folder));
}

void PathSearch::addSearchPath(const std::u16string& folder) {
    folders_.push_back(folder);
}

bool PathSearch::findFilePath(const std::u16string& fileName, std::u16string& folder) {
    constexpr std::u16string_view function = u"Tavix::PathSearch::findFilePath";
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Entering findFilePath for file %ls", fileName);
    for (const std::u16string& candidate : folders_) {
        if (!checkIfExists(api_->combine(candidate, fileName)))
            continue;
        folder = candidate;
        if (folder.ends_with(u'\\'))  // compat
            folder.pop_back();
        LOG_FORMATTED(ETWLogging::levelNormal, function, u"File found at path %ls. Returning success.",
                      folder);
        return true;
    }
    LOG_MESSAGE(ETWLogging::levelWarning, function, u"File not found.");
    return false;
}

bool PathSearch::checkIfExists(const std::u16string& path) {
    constexpr std::u16string_view function = u"Tavix::PathSearch::checkIfExists";
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Entering checkIfExists for %ls", path);
    const bool exists = api_->fileExists(path);
    if (exists)
        LOG_MESSAGE(ETWLogging::levelNormal, function, u"File exists");
    else
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"File does not exist.");
    return exists;
}

}  // namespace Tavix
