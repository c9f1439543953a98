#pragma once

#include <string>
#include <string_view>

#include "platform/FileAccess.h"

namespace ETWLogging::internal {

// The folder of a log. It lies where every account may make folders, below the one for application data of
// all users, so one that another account may have made, or a link, is not used, here or on the way. What may
// not be used is told to the core log, once. Not for concurrent use.
class LogFolder {
public:
    // Both without trailing separator, the path below the base. The reader outlives this object.
    LogFolder(std::u16string base, std::u16string path, const Platform::FileAccessReader& reader);

    const std::u16string& path() const noexcept { return path_; }

    // Whether what is there so far may be used. Refused once, it stays so.
    bool isUsable();
    // Makes what is missing. False when that fails, or when the folder may not be used.
    bool create();

    // Whether the settings in a file count: no other account may have put it there.
    bool obeys(const std::u16string& file) const;

private:
    bool refuse(const std::u16string& folder, std::u16string_view why);

    const std::u16string base_;
    const std::u16string path_;
    const Platform::FileAccessReader& reader_;
    bool refused_ = false;
};

}  // namespace ETWLogging::internal
