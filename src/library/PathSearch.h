// Finds the first folder of a list that holds a file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "library/SystemInterfaces.h"

namespace Tavix {

// Belongs to one thread. Keeps every folder that was ever added: libraries that share a search also look in
// each other's folders.
class PathSearch {
public:
    // The platform's file functions serve when none are given.
    explicit PathSearch(std::shared_ptr<PathAPI> api = nullptr, std::vector<std::u16string> folders = {});
    virtual ~PathSearch() = default;

    virtual std::vector<std::u16string> getSearchPaths() const;
    // Added at the end.
    virtual void addSearchPaths(const std::vector<std::u16string>& folders);
    virtual void addSearchPath(std::u16string&& folder);
    virtual void addSearchPath(const std::u16string& folder);
    // On success `folder` is the folder as listed, without one trailing "\".
    virtual bool findFilePath(const std::u16string& fileName, std::u16string& folder);
    virtual bool checkIfExists(const std::u16string& path);

private:
    std::shared_ptr<PathAPI> api_;
    std::vector<std::u16string> folders_;
};

}  // namespace Tavix
