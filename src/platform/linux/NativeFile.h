#pragma once

#include <string>

#include "FileDescriptor.h"

namespace Platform {

using NativePath = std::string;
using NativeFile = FileDescriptor;

}  // namespace Platform
