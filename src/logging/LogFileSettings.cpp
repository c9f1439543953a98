#include "logging/LogFileSettings.h"

#include <limits>
#include <string_view>

#include "text/Number.h"
#include "text/Utf.h"

namespace ETWLogging::internal {
namespace {

constexpr std::u16string_view section = u"Config";
constexpr std::u16string_view indexKey = u"LastLogIdx";

struct Range {
    int64_t least, greatest;
};
constexpr Range anyNumber{std::numeric_limits<int32_t>::min(), std::numeric_limits<uint32_t>::max()};

struct Files {
    const Platform::IniFiles& ini;
    const std::u16string& own;
    const std::u16string& shared;
    const bool correct;
    bool valid = true;

    uint32_t read(std::u16string_view key, uint32_t fallback, Range range) {
        for (const std::u16string* file : {&own, &shared}) {
            const auto text = ini.read(*file, section, key);
            if (!text)
                continue;
            const auto number = Ferrow::parseSigned64(*text);
            if (number && number.value >= range.least && number.value <= range.greatest)
                return static_cast<uint32_t>(number.value);
            valid = false;
            if (correct)
                ini.write(*file, section, key, Ferrow::decimal(fallback));  // compat
            return fallback;
        }
        return fallback;
    }
};

LogFileSettings read(Files both) {
    LogFileSettings settings;
    settings.enable = both.read(u"Enable", settings.enable ? 1 : 0, anyNumber) != 0;
    settings.maximumSize = both.read(u"MaxSize", settings.maximumSize, {262144, 10485760});
    settings.maximumFiles = both.read(u"MaxEntries", settings.maximumFiles, {fewestLogFiles, mostLogFiles});
    settings.severity = both.read(u"Severity", settings.severity, {0, 6});
    settings.options = both.read(u"Options", settings.options, anyNumber);
    settings.valid = both.valid;
    return settings;
}

}  // namespace

LogFileSettings readLogFileSettings(const Platform::IniFiles& files, const std::u16string& ownFile,
                                    const std::u16string& sharedFile) {
    return read({files, ownFile, sharedFile, false});
}

LogFileSettings correctLogFileSettings(const Platform::IniFiles& files, const std::u16string& ownFile,
                                       const std::u16string& sharedFile) {
    return read({files, ownFile, sharedFile, true});
}

uint32_t readLogIndex(const Platform::IniFiles& files, const std::u16string& ownFile) {
    const auto text = files.read(ownFile, section, indexKey);
    return text ? Ferrow::parseUnsigned32(*text).value : 0;
}

bool writeLogIndex(const Platform::IniFiles& files, const std::u16string& ownFile, uint32_t index) {
    return files.write(ownFile, section, indexKey, Ferrow::decimal(index));
}

}  // namespace ETWLogging::internal
