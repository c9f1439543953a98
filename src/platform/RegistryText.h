// The text form of a registry, as the Windows registry editor exports it, and the tree that it describes.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Platform {

// Text and 32-bit numbers; values of other types are kept as present but unreadable.
using RegistryValue = std::variant<std::monostate, std::u16string, uint32_t>;

// A key with its values and the keys below it. All names are in folded case.
struct RegistryNode {
    std::map<std::u16string, RegistryValue, std::less<>> values;
    std::map<std::u16string, std::unique_ptr<RegistryNode>, std::less<>> children;
};

// Null when there is no such key. The path is in folded case, segments separated by "\".
const RegistryNode* findRegistryKey(const RegistryNode& root, std::u16string_view path);

struct RegistryText {
    RegistryNode localMachine;  // empty after an error
    std::optional<std::u16string> error;
};

// Accepts UTF-8 with or without byte order mark and UTF-16 with one, any line ends, ";" comments, the
// editor's header line, and the forms that delete ("[-KEY]", "name"=-), which take back what stands before
// them in the same text. Keys of other hives are passed over.
RegistryText parseRegistryText(std::string_view bytes);

}  // namespace Platform
