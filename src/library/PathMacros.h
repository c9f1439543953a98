// Macros of the form $(Name) in paths: the scanner and the table of known ones.
#pragma once

#include <string>
#include <string_view>

#include "library/SystemInterfaces.h"

namespace Ferrow {

// Where the scanner asks for values.
class MacroValues {
public:
    // The value of a whole macro text, for example "$(App.Folder)"; empty when it is unknown or has none.
    virtual std::u16string valueOf(std::u16string_view macro) const = 0;

protected:
    ~MacroValues() = default;
};

// Replaces each macro that has a value; the others stay as they are. A value is not expanded again. Takes
// time linear in path and values.
void expandMacros(std::u16string& path, const MacroValues& values);

// The values that every expander knows: operating system, executable, known folders.
std::u16string commonMacroValue(std::u16string_view macro, Tavix::ShlObjAPI& folders,
                                internal::OSInfoProxy& system);

}  // namespace Ferrow
