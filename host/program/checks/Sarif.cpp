#include "host/program/checks/Sarif.h"

#include <algorithm>

#include "text/Utf.h"

namespace Host {
namespace {

using Tavix::JSONFormatter;

JSONFormatter messageOf(const std::u16string& text) {
    JSONFormatter message;
    message.setString(u"text", text);
    return message;
}

// A relative reference, or one of the scheme "file".
std::u16string uriOf(const std::u16string& name) {
    constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~/";
    constexpr char16_t digits[] = u"0123456789ABCDEF";
    std::string path = Ferrow::toUtf8(name);
    std::ranges::replace(path, '\\', '/');
    const bool hasDrive = path.size() > 2 && path[1] == ':' && path[2] == '/';
    std::u16string uri = hasDrive ? u"file:///" : path.starts_with('/') ? u"file://" : u"";
    for (size_t at = 0; at < path.size(); ++at) {
        const auto byte = static_cast<unsigned char>(path[at]);
        if (plain.find(path[at]) != plain.npos || (hasDrive && at == 1))
            uri += static_cast<char16_t>(byte);
        else
            uri += {u'%', digits[byte >> 4], digits[byte & 15]};
    }
    return uri;
}

JSONFormatter ruleObject(const AlertRuleText& rule) {
    JSONFormatter configuration, object;
    configuration.setString(u"level", levelName(rule.level));
    object.setString(u"id", rule.number);
    object.setString(u"name", rule.name);
    object.setObject(u"shortDescription", messageOf(rule.sentence));
    object.setObject(u"defaultConfiguration", configuration);
    return object;
}

JSONFormatter resultObject(const Finding& finding, const std::u16string& uri) {
    JSONFormatter artifact, region, physical, logical, location, result;
    artifact.setString(u"uri", uri);
    region.setUInt64(u"startLine", finding.place.line);
    region.setUInt64(u"startColumn", finding.place.column);
    physical.setObject(u"artifactLocation", artifact);
    physical.setObject(u"region", region);
    logical.setString(u"fullyQualifiedName", finding.pointer);
    location.setObject(u"physicalLocation", physical);
    location.setObjectArray(u"logicalLocations", {logical});
    result.setString(u"ruleId", finding.text().number);
    result.setUInt32(u"ruleIndex", static_cast<uint32_t>(finding.rule));
    result.setString(u"level", levelName(finding.text().level));
    result.setObject(u"message", messageOf(finding.message));
    result.setObjectArray(u"locations", {location});
    return result;
}

}  // namespace

JSONFormatter sarifLog(const std::vector<CheckedFile>& files, const std::u16string& version, bool complete) {
    std::vector<JSONFormatter> rules, results;
    for (const AlertRuleText& rule : alertRules())
        rules.push_back(ruleObject(rule));
    for (const CheckedFile& file : files) {
        const std::u16string uri = uriOf(file.name);
        for (const Finding& finding : file.findings)
            results.push_back(resultObject(finding, uri));
    }
    JSONFormatter driver, tool, invocation, run, log;
    driver.setString(u"name", u"brevant");
    driver.setString(u"version", version);
    driver.setObjectArray(u"rules", rules);
    tool.setObject(u"driver", driver);
    invocation.setBool(u"executionSuccessful", complete);
    run.setObject(u"tool", tool);
    run.setString(u"columnKind", u"utf16CodeUnits");
    run.setObjectArray(u"invocations", {invocation});
    run.setObjectArray(u"results", results);
    log.setString(u"$schema", u"https://json.schemastore.org/sarif-2.1.0.json");
    log.setString(u"version", u"2.1.0");
    log.setObjectArray(u"runs", {run});
    return log;
}

}  // namespace Host
