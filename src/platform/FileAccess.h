// Who has a say in a file or folder that other accounts could have made before this process came.
#pragma once

#include <optional>
#include <string>

namespace Platform {

struct FileAccess {
    bool isLink = false;         // it leads elsewhere
    bool ownerDecides = true;    // it belongs to the system, its administrators or this process's account
    bool everybodyAdds = false;  // a folder: accounts of every kind may make files or folders in it
};

class FileAccessReader {
public:
    // Nothing when there is no such file. What may not be asked has an owner who does not decide.
    virtual std::optional<FileAccess> read(const std::u16string& path) const = 0;

    // On Linux all is as it should be: the whole platform folder belongs to who decides, links included.
    static const FileAccessReader& system() noexcept;

protected:
    // Trivial: used until the process is gone.
    ~FileAccessReader() = default;
};

}  // namespace Platform
