// Access lists, in this system's language for them.
#pragma once

#include <optional>
#include <string>
#include <vector>
#include <windows.h>

namespace Platform {

// One account's or group's rights to a file or folder.
struct Grant {
    std::u16string account;  // "S-1-..."
    DWORD rights;
    BYTE flags;  // what in a folder it is handed down to
};

struct FileSecurity {
    std::u16string owner;
    std::vector<Grant> grants;

    // Of a file, a folder or a link itself; nothing, with the last error set, when it cannot be read.
    static std::optional<FileSecurity> of(const std::u16string& path);

    // By the system, its administrators or this process's account.
    bool isOwnedByWhoDecides() const;
    // Accounts of every kind may make files or folders in this one.
    bool letsEverybodyAdd() const;
};

// Of a folder for this account, administrators and the system; others may read what is in it.
std::u16string ownFolderList();
// Of a file or a folder for this account, administrators and the system alone.
std::u16string privateList();
// Of a mutex for these and for whom the folder, or else the nearest one above it, lets change its files.
// Groups of accounts of every kind are left out.
std::u16string writersMutexList(std::u16string folder);

// An access list as the system takes it for a new object; for a text that it does not take, null attributes,
// which mean the account's own list.
class NewAccess {
public:
    explicit NewAccess(const std::u16string& list);
    ~NewAccess() { LocalFree(attributes_.lpSecurityDescriptor); }
    NewAccess(const NewAccess&) = delete;
    NewAccess& operator=(const NewAccess&) = delete;

    SECURITY_ATTRIBUTES* attributes() noexcept {
        return attributes_.lpSecurityDescriptor ? &attributes_ : nullptr;
    }

private:
    SECURITY_ATTRIBUTES attributes_{sizeof attributes_, nullptr, FALSE};
};

}  // namespace Platform
