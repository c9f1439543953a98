#include "platform/FileCalls.h"

#include <algorithm>

#include "AccessList.h"
#include "Wide.h"
#include "platform/Files.h"
#include "platform/windows/Wide.h"
#include "text/Utf.h"

namespace Platform {
namespace {

constexpr size_t mostAtOnce = 1 << 24;

}  // namespace

std::string nativePath(std::u16string_view path) {
    return Ferrow::toUtf8(path);
}

NativePath checkedPath(const std::u16string& path) {
    return systemPath(path);
}

NativeFile openFile(const NativePath& path, FileUse use) {
    const bool isNew = use == FileUse::temporary || use == FileUse::privateTemporary;
    const DWORD access = use == FileUse::read     ? GENERIC_READ
                         : use == FileUse::append ? FILE_APPEND_DATA
                                                  : GENERIC_WRITE;
    const DWORD disposition = use == FileUse::read     ? OPEN_EXISTING
                              : use == FileUse::append ? OPEN_ALWAYS
                              : isNew                  ? CREATE_NEW
                                                       : CREATE_ALWAYS;
    const DWORD flags = FILE_ATTRIBUTE_NORMAL | (isNew ? FILE_FLAG_OPEN_REPARSE_POINT : 0);
    NewAccess readers(use == FileUse::privateTemporary ? privateList() : std::u16string());
    if (use == FileUse::privateTemporary && !readers.attributes())
        return NativeFile();
    return NativeFile(CreateFileW(wide(path), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  use == FileUse::privateTemporary ? readers.attributes() : nullptr,
                                  disposition, flags, nullptr));
}

std::optional<uint64_t> regularSize(const NativeFile& file) {
    LARGE_INTEGER size{};
    if (GetFileType(file.get()) != FILE_TYPE_DISK)
        SetLastError(ERROR_ACCESS_DENIED);
    else if (GetFileSizeEx(file.get(), &size))
        return static_cast<uint64_t>(size.QuadPart);
    return std::nullopt;
}

std::optional<size_t> readSome(const NativeFile& file, char* buffer, size_t size) {
    DWORD count = 0;
    if (!ReadFile(file.get(), buffer, static_cast<DWORD>(std::min(mostAtOnce, size)), &count, nullptr))
        return std::nullopt;
    return count;
}

bool writeAll(const NativeFile& file, std::string_view text) {
    while (!text.empty()) {
        DWORD written = 0;
        if (!WriteFile(file.get(), text.data(), static_cast<DWORD>(std::min(mostAtOnce, text.size())),
                       &written, nullptr))
            return false;
        if (written == 0) {
            SetLastError(ERROR_WRITE_FAULT);
            return false;
        }
        text.remove_prefix(written);
    }
    return true;
}

bool moveIntoPlace(NativeFile file, const NativePath& from, const NativePath& to) {
    if (!FlushFileBuffers(file.get()))
        return false;
    file.reset();
    return renamePath(from, to);
}

std::optional<FileIdentity> identityOf(const NativeFile&) {
    return std::nullopt;
}

std::optional<FileStatus> statusOf(const NativePath& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(wide(path), GetFileExInfoStandard, &data))
        return std::nullopt;
    return FileStatus{static_cast<uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow,
                      (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0};
}

bool makeFolder(const NativePath& path) {
    // Where everybody may make folders, what is ours is closed to them.
    const size_t end = path.find_last_of(u"\\/");
    const std::optional<FileSecurity> above =
        end == path.npos ? std::nullopt : FileSecurity::of(path.substr(0, end + 1));
    const bool open = above && above->letsEverybodyAdd();
    NewAccess own(open ? ownFolderList() : std::u16string());
    return CreateDirectoryW(wide(path), open ? own.attributes() : nullptr) ||
           GetLastError() == ERROR_ALREADY_EXISTS;
}

bool makePrivateFolder(const NativePath& path) {
    NewAccess own(privateList());
    if (!own.attributes())
        return false;
    if (CreateDirectoryW(wide(path), own.attributes()))
        return true;
    if (GetLastError() != ERROR_ALREADY_EXISTS)
        return false;
    const std::optional<FileSecurity> security = FileSecurity::of(path);
    const DWORD attributes = GetFileAttributesW(wide(path));
    if (!security || !security->isOwnedByWhoDecides() || !(attributes & FILE_ATTRIBUTE_DIRECTORY) ||
        (attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    return SetFileSecurityW(wide(path), DACL_SECURITY_INFORMATION, own.attributes()->lpSecurityDescriptor) !=
           0;
}

bool removePath(const NativePath& path) {
    return DeleteFileW(wide(path)) != 0;
}

bool renamePath(const NativePath& from, const NativePath& to) {
    // A scanner or an indexer may hold the target for a moment without letting others delete it.
    constexpr int attempts = 10;
    for (int attempt = 1;; ++attempt) {
        if (MoveFileExW(wide(from), wide(to), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
            return true;
        const DWORD error = GetLastError();
        if ((error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION) || attempt == attempts)
            return false;
        Sleep(static_cast<DWORD>(5 * attempt));
    }
}

}  // namespace Platform
