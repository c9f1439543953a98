#include "logging/LogFolder.h"

#include <algorithm>
#include <utility>

#include "logging/CLogger.h"
#include "platform/Files.h"
#include "text/Format.h"

namespace ETWLogging::internal {
namespace {

void report(uint32_t line, const char16_t* function, const std::u16string& message) {
    Ferrow::coreLogger().log(Ferrow::coreLogError, u"LogFolder", line, function, message.c_str());
}

}  // namespace

LogFolder::LogFolder(std::u16string base, std::u16string path, const Platform::FileAccessReader& reader)
    : base_(std::move(base)), path_(std::move(path)), reader_(reader) {}

// Where not everybody may make folders, who has made one may decide.
bool LogFolder::isUsable() {
    bool madeByAnybody = true;
    for (size_t end = base_.size(); !refused_ && end != path_.size();) {
        end = std::min(path_.find(u'\\', end + 1), path_.size());
        const std::u16string folder = path_.substr(0, end);
        const auto access = reader_.read(folder);
        if (!access)
            break;
        if (access->isLink)
            return refuse(folder, u"is a link");
        if (madeByAnybody && !access->ownerDecides)
            return refuse(folder, u"belongs to another account");
        madeByAnybody = access->everybodyAdds;
    }
    return !refused_;
}

bool LogFolder::create() {
    return !refused_ && Platform::createFolders(path_) && isUsable();
}

bool LogFolder::obeys(const std::u16string& file) const {
    const auto access = reader_.read(file);
    if (!access || access->ownerDecides)
        return true;
    const auto folder = reader_.read(file.substr(0, file.rfind(u'\\')));
    if (folder && !folder->everybodyAdds)
        return true;
    report(__LINE__, u"ETWLogging::internal::LogFolder::obeys",
           Ferrow::formatText(u"%s belongs to another account. It is not read.", file));
    return false;
}

bool LogFolder::refuse(const std::u16string& folder, std::u16string_view why) {
    refused_ = true;
    report(__LINE__, u"ETWLogging::internal::LogFolder::isUsable",
           Ferrow::formatText(u"%s %s. Nothing will be logged.", folder, why));
    return false;
}

}  // namespace ETWLogging::internal
