#pragma once

#include <stdexcept>

namespace Host {

// Thrown by constructors of the host when a part of it cannot be had. The text, in UTF-8, is for the user.
class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Host
