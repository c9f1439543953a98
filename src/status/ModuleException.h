#pragma once

#include <stdexcept>

namespace Tavix {

// The framework's exception, thrown by constructors only and caught at the module function table.
class ModuleException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Tavix
