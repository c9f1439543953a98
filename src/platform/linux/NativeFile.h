#pragma once

#include <string>

#include "platform/linux/FileDescriptor.h"

namespace Platform {

using NativePath = std::string;
using NativeFile = FileDescriptor;

}  // namespace Platform
