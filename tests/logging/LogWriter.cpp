// log_writer <mark> <count>: one of several processes that write one log, in the folder that
// BREVANT_PLATFORM_DIR names, as the product's logger does.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "logging/CLogging.h"
#include "text/Utf.h"

int main(int, char** arguments) {
    std::u16string portable = std::filesystem::path(std::getenv("BREVANT_PLATFORM_DIR")).u16string();
    std::ranges::replace(portable, u'/', u'\\');
    const ETWLogging::FileLogIdentity identity{u"app", u"Brevant.dll", u"", u"", 42};
    auto mutex = Platform::NamedMutex::create(ETWLogging::CLogging::mutexName(identity.name),
                                              logFolderOf(identity, portable));
    if (!mutex)
        return 1;
    ETWLogging::CLogging logger(identity, {.commonDataFolder = portable, .mutex = std::move(mutex)});
    const std::u16string mark = Ferrow::toUtf16(arguments[1]) + u":";
    const std::u16string padding(500, u'p');
    const int lines = std::atoi(arguments[2]);
    for (int line = 0; line < lines; ++line)
        logger.write({4, u"Source", u"function", 1, mark + Ferrow::decimal(line) + u"|" + padding});
    return 0;
}
