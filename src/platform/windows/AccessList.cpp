#include "AccessList.h"

#include <aclapi.h>
#include <algorithm>
#include <array>
#include <sddl.h>
#include <string_view>

#include "Handle.h"
#include "Wide.h"

namespace Platform {
namespace {

constexpr std::u16string_view localSystem = u"S-1-5-18";
constexpr std::u16string_view administrators = u"S-1-5-32-544";
constexpr std::u16string_view installer =
    u"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";  // TrustedInstaller

// Everyone, local, batch, interactive, network and anonymous logons, authenticated users, local accounts,
// users, guests, power users, packaged applications.
constexpr std::u16string_view everybody[] = {
    u"S-1-1-0",  u"S-1-2-0",   u"S-1-5-2",      u"S-1-5-3",      u"S-1-5-4",      u"S-1-5-7",
    u"S-1-5-11", u"S-1-5-113", u"S-1-5-32-545", u"S-1-5-32-546", u"S-1-5-32-547", u"S-1-15-2-1"};

bool isEverybody(std::u16string_view account) {
    const bool usersOfADomain = account.starts_with(u"S-1-5-21-") && account.ends_with(u"-513");
    return usersOfADomain || std::ranges::find(everybody, account) != std::end(everybody);
}

std::u16string accountText(PSID account) {
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(account, &text))
        return {};
    std::u16string copy = narrow(text);
    LocalFree(text);
    return copy;
}

std::u16string ownAccount() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        return {};
    const Handle owned(token);
    alignas(TOKEN_USER) std::array<BYTE, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user{};
    DWORD length = 0;
    if (!GetTokenInformation(token, TokenUser, user.data(), static_cast<DWORD>(user.size()), &length))
        return {};
    return accountText(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid);
}

std::vector<Grant> grantsOf(ACL* list) {
    // No list at all lets everybody do everything.
    if (!list)
        return {{std::u16string(everybody[0]), FILE_ALL_ACCESS, 0}};
    std::vector<Grant> grants;
    for (DWORD index = 0; index < list->AceCount; ++index) {
        void* entry = nullptr;
        if (!GetAce(list, index, &entry))
            continue;
        auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        if (allowed->Header.AceType != ACCESS_ALLOWED_ACE_TYPE &&
            allowed->Header.AceType != ACCESS_ALLOWED_CALLBACK_ACE_TYPE)
            continue;
        GENERIC_MAPPING meaning{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};
        DWORD rights = allowed->Mask;
        MapGenericMask(&rights, &meaning);
        grants.push_back({accountText(&allowed->SidStart), rights, allowed->Header.AceFlags});
    }
    return grants;
}

// Full access for who decides, in the lists' language.
std::u16string fullAccess(std::u16string_view flags) {
    std::u16string list;
    for (const std::u16string& account :
         {std::u16string(localSystem), std::u16string(administrators), ownAccount()}) {
        if (!account.empty())
            ((list += u"(A;").append(flags) += u";GA;;;").append(account) += u')';
    }
    return list;
}

}  // namespace

std::optional<FileSecurity> FileSecurity::of(const std::u16string& path) {
    const Handle file(
        CreateFileW(wide(path), READ_CONTROL, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!file)
        return std::nullopt;
    PSID owner = nullptr;
    ACL* list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetSecurityInfo(file.get(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                        &owner, nullptr, &list, nullptr, &descriptor);
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return std::nullopt;
    }
    FileSecurity security{accountText(owner), grantsOf(list)};
    LocalFree(descriptor);
    return security;
}

bool FileSecurity::isOwnedByWhoDecides() const {
    return !owner.empty() &&
           (owner == localSystem || owner == administrators || owner == installer || owner == ownAccount());
}

bool FileSecurity::letsEverybodyAdd() const {
    constexpr DWORD adding = FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY | WRITE_DAC | WRITE_OWNER;
    return std::ranges::any_of(grants, [](const Grant& grant) {
        return !(grant.flags & INHERIT_ONLY_ACE) && (grant.rights & adding) && isEverybody(grant.account);
    });
}

std::u16string ownFolderList() {
    return u"D:P" + fullAccess(u"OICI") + u"(A;OICI;0x1200a9;;;BU)";  // users may read
}

std::u16string privateList() {
    return u"D:P" + fullAccess(u"OICI");
}

std::u16string writersMutexList(std::u16string folder) {
    std::optional<FileSecurity> security = FileSecurity::of(folder);
    for (size_t end = folder.rfind(u'\\'); !security && end != folder.npos; end = folder.rfind(u'\\')) {
        folder.resize(end);
        security = FileSecurity::of(folder + u'\\');
    }
    std::u16string list = u"D:" + fullAccess({});
    for (const Grant& grant : security ? security->grants : std::vector<Grant>()) {
        const bool changesFiles = (grant.flags & OBJECT_INHERIT_ACE) && (grant.rights & FILE_APPEND_DATA);
        if (changesFiles && !grant.account.empty() && !isEverybody(grant.account))
            (list += u"(A;;0x100001;;;").append(grant.account) += u')';  // wait and release
    }
    return list;
}

NewAccess::NewAccess(const std::u16string& list) {
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(wide(list), SDDL_REVISION_1,
                                                              &attributes_.lpSecurityDescriptor, nullptr))
        attributes_.lpSecurityDescriptor = nullptr;
}

}  // namespace Platform
