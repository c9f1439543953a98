#include "platform/DynamicLibrary.h"

#include "platform/LibraryTrust.h"
#include "platform/windows/Handle.h"
#include "platform/windows/Wide.h"
// The trust headers need the base types above.
#include <softpub.h>
#include <wintrust.h>

namespace Platform {
namespace {

// Open so that nobody can write, rename or delete the file while it is checked and loaded.
Handle openUnchanging(const std::u16string& systemPath) {
    return Handle(CreateFileW(wide(systemPath), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
}

// What is wrong with a chain of certificates, gravest first. The chain has been judged as of the signature's
// timestamp where there is one: a certificate that expired after it counts as valid.
struct ChainFault {
    DWORD bit;
    LONG reason;
};
constexpr ChainFault chainFaults[] = {
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, TRUST_E_CERT_SIGNATURE},
    {CERT_TRUST_IS_EXPLICIT_DISTRUST, TRUST_E_EXPLICIT_DISTRUST},
    {CERT_TRUST_IS_REVOKED, CERT_E_REVOKED},
    {CERT_TRUST_IS_UNTRUSTED_ROOT, CERT_E_UNTRUSTEDROOT},
    {CERT_TRUST_IS_PARTIAL_CHAIN, CERT_E_CHAINING},
    {CERT_TRUST_IS_NOT_TIME_VALID, CERT_E_EXPIRED},
    {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, CERT_E_WRONG_USAGE},
    {CERT_TRUST_INVALID_BASIC_CONSTRAINTS, TRUST_E_BASIC_CONSTRAINTS},
};

// Zero, or the reason why such a chain is not trusted.
LONG chainVerdict(DWORD faults) {
    // Whether a revocation list that cannot be had matters is the system's to say: the lists are not fetched.
    faults &= ~static_cast<DWORD>(CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION);
    for (const ChainFault& fault : chainFaults) {
        if (faults & fault.bit)
            return fault.reason;
    }
    return faults == 0 ? 0 : TRUST_E_FAIL;
}

// Zero, or the reason why the file's signature is not trusted.
DWORD signatureVerdict(const std::u16string& systemPath, HANDLE file) {
    WINTRUST_FILE_INFO fileInfo{};
    fileInfo.cbStruct = sizeof fileInfo;
    fileInfo.pcwszFilePath = wide(systemPath);
    fileInfo.hFile = file;
    WINTRUST_DATA data{};
    data.cbStruct = sizeof data;
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks = WTD_REVOKE_NONE;
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &fileInfo;
    data.dwStateAction = WTD_STATEACTION_VERIFY;
    data.dwProvFlags = WTD_CACHE_ONLY_URL_RETRIEVAL;
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    const HWND nobody = static_cast<HWND>(INVALID_HANDLE_VALUE);
    LONG verdict = WinVerifyTrust(nobody, &action, &data);
    if (verdict == 0) {
        // Not every system refuses a signer without a trusted root on its own.
        CRYPT_PROVIDER_DATA* provider = WTHelperProvDataFromStateData(data.hWVTStateData);
        CRYPT_PROVIDER_SGNR* signer =
            provider ? WTHelperGetProvSignerFromChain(provider, 0, FALSE, 0) : nullptr;
        verdict = signer && signer->pChainContext
                      ? chainVerdict(signer->pChainContext->TrustStatus.dwErrorStatus)
                      : TRUST_E_NO_SIGNER_CERT;
    }
    data.dwStateAction = WTD_STATEACTION_CLOSE;
    WinVerifyTrust(nobody, &action, &data);
    return static_cast<DWORD>(verdict);
}

bool trusted(const std::u16string& systemPath, HANDLE file) {
    const DWORD verdict = signatureVerdict(systemPath, file);
    SetLastError(verdict);
    return verdict == 0;
}

std::u16string finalPath(HANDLE file, DWORD form) {
    const DWORD needed = GetFinalPathNameByHandleW(file, nullptr, 0, form);
    std::u16string path(needed, u'\0');
    const DWORD length = needed ? GetFinalPathNameByHandleW(file, wide(path.data()), needed, form) : 0;
    path.resize(length < needed ? length : 0);
    return path;
}

// Where an open file lies, links resolved: none of them can lead elsewhere by the time the file is loaded.
// Empty, with the last error set, where the file system cannot tell.
std::u16string finalPath(HANDLE file) {
    // Some network shares cannot give the long form of each name, some volumes have no letter.
    std::u16string path;
    for (const DWORD form : {FILE_NAME_NORMALIZED, FILE_NAME_OPENED, FILE_NAME_OPENED | VOLUME_NAME_GUID}) {
        path = finalPath(file, form);
        if (!path.empty())
            break;
    }
    // A library is known by the plain form where that is not too long.
    constexpr std::u16string_view plain = u"\\\\?\\", share = u"\\\\?\\UNC\\", volume = u"\\\\?\\Volume{";
    if (path.size() >= MAX_PATH || path.starts_with(volume))
        return path;
    if (path.starts_with(share))
        return u"\\\\" + path.substr(share.size());
    return path.starts_with(plain) ? path.substr(plain.size()) : path;
}

// Whether it names one file whatever the current folder and drive are; sets the last error when not.
bool isFullPath(std::u16string_view path) {
    const auto separator = [&](size_t at) {
        return at < path.size() && (path[at] == u'\\' || path[at] == u'/');
    };
    if ((separator(0) && separator(1)) || (path.size() > 1 && path[1] == u':' && separator(2)))
        return true;
    SetLastError(path.empty() ? ERROR_PATH_NOT_FOUND : ERROR_BAD_PATHNAME);
    return false;
}

// The name that stands for this file alone: to one without an extension the loader would add its own.
std::u16string loaderPath(std::u16string systemPath) {
    if (systemPath.find(u'.', systemPath.find_last_of(u"\\/") + 1) == std::u16string::npos)
        systemPath += u'.';
    return systemPath;
}

// The module that holds this address, with a reference of its own unless the flags say otherwise.
HMODULE moduleOf(const void* address, DWORD flags) {
    HMODULE module = nullptr;
    if (address)
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | flags,
                           static_cast<const wchar_t*>(address), &module);
    else
        SetLastError(ERROR_MOD_NOT_FOUND);
    return module;
}

}  // namespace

LibraryHandle loadLibrary(const std::u16string& path) {
    if (!isFullPath(path))
        return nullptr;
    std::u16string system = systemPath(path);
    if (system.empty())
        return nullptr;
    Handle file;
    if (librariesAreVerified()) {
        file = openUnchanging(system);
        if (!file || !trusted(system, file.get()))
            return nullptr;
        system = finalPath(file.get());
        if (system.empty())
            return nullptr;
    }
    return LoadLibraryExW(wide(loaderPath(std::move(system))), nullptr, 0);
}

LibraryHandle loadedLibrary(const std::u16string& path) {
    const std::u16string system = isFullPath(path) ? systemPath(path) : std::u16string();
    HMODULE module = nullptr;
    if (system.empty() || !GetModuleHandleExW(0, wide(loaderPath(system)), &module))
        return nullptr;
    return module;
}

LibraryHandle libraryContaining(const void* address) {
    return moduleOf(address, 0);
}

void* libraryFunction(LibraryHandle library, const char* name) {
    if (!library || !name) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

bool freeLibrary(LibraryHandle library) {
    if (library)
        return FreeLibrary(static_cast<HMODULE>(library)) != 0;
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

bool narrowLibrarySearch() noexcept {
    return SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32 | LOAD_LIBRARY_SEARCH_APPLICATION_DIR) != 0;
}

std::u16string libraryPathOf(const void* address) {
    const HMODULE module = moduleOf(address, GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT);
    return module ? modulePath(module) : std::u16string();
}

bool verifyLibraryTrust(const std::u16string& path) {
    const std::u16string system = systemPath(path);
    if (system.empty())
        return false;
    if (!librariesAreVerified())
        return true;
    const Handle file = openUnchanging(system);
    return file && trusted(system, file.get());
}

std::string_view libraryTrustRule() noexcept {
    return "it must be signed by a trusted signer, unless \"Verify Libraries\" is 0";
}

}  // namespace Platform
