#include <algorithm>

#include "host/program/checks/AlertCheck.h"
#include "host/program/checks/Sarif.h"
#include "host/program/commands/Command.h"
#include "host/program/product/AlertFile.h"
#include "host/program/product/InputFile.h"
#include "text/Utf.h"

namespace Host {
namespace {

void printLine(const std::u16string& file, const Finding& finding, Console& console) {
    const AlertRuleText& rule = finding.text();
    constexpr Style styles[] = {Style::bad, Style::strong, Style::plain};
    console.line(file + u":" + Ferrow::decimal(finding.place.line) + u":" +
                     Ferrow::decimal(finding.place.column) + u": " + levelName(rule.level) + u": " +
                     (finding.pointer.empty() ? u"" : finding.pointer + u": ") + finding.message + u" [" +
                     rule.number + u" " + rule.name + u"]",
                 styles[static_cast<size_t>(rule.level)]);
}

void printObject(const std::u16string& file, const Finding& finding, Console& console) {
    const AlertRuleText& rule = finding.text();
    Tavix::JSONFormatter object;
    object.setString(u"file", file);
    object.setUInt64(u"line", finding.place.line);
    object.setUInt64(u"column", finding.place.column);
    object.setString(u"pointer", finding.pointer);
    object.setString(u"level", levelName(rule.level));
    object.setString(u"rule", rule.number);
    object.setString(u"name", rule.name);
    object.setString(u"message", finding.message);
    if (!finding.accepted.empty())
        object.setStringArray(u"accepted", finding.accepted);
    console.object(object);
}

std::u16string counted(size_t count, const char16_t* what) {
    return Ferrow::decimal(count) + u" " + what + (count == 1 ? u"" : u"s");
}

}  // namespace

int runCheckAlert(const CheckAlertOptions& options, CommandContext& context) {
    Console& console = context.console;
    std::vector<CheckedFile> files;
    bool complete = true;
    size_t found[3] = {};
    for (const std::u16string& path : options.files) {
        std::string bytes;
        std::u16string error;
        if (!readInput(path, maximumAlertFile + 1, bytes, error)) {
            console.error(error);
            complete = false;
            continue;
        }
        CheckedFile file{inputName(path), checkAlert(bytes)};
        for (const Finding& finding : file.findings) {
            ++found[static_cast<size_t>(finding.text().level)];
            if (console.isForPrograms())
                printObject(file.name, finding, console);
            else if (!options.sarif)
                printLine(file.name, finding, console);
        }
        if (options.sarif)
            files.push_back(std::move(file));
    }
    if (options.sarif)
        console.object(sarifLog(files, u"" BREVANT_VERSION, complete));
    else
        console.note(counted(found[0], u"error") + u", " + counted(found[1], u"warning") + u", " +
                     counted(found[2], u"note"));
    return !complete ? exitBadInput : found[0] + found[1] != 0 ? exitFailed : exitDone;
}

}  // namespace Host
