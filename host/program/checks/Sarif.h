// Findings as the static analysis results interchange format has them, version 2.1.0.
#pragma once

#include <string>
#include <vector>

#include "host/program/checks/AlertCheck.h"
#include "json/JSONFormatter.h"

namespace Host {

struct CheckedFile {
    std::u16string name;  // as the user knows it
    std::vector<Finding> findings;
};

// One log with one run; complete: every file could be read.
Tavix::JSONFormatter sarifLog(const std::vector<CheckedFile>& files, const std::u16string& version,
                              bool complete);

}  // namespace Host
