#include "host/example_plugin/ExamplePlugin.h"

#include "json/JSONFormatter.h"

namespace ExamplePlugin {

std::optional<Verdict> process(const std::u16string& alert) {
    Tavix::JSONFormatter description;
    Tavix::JSONView context;
    if (!description.parse(alert) || !description.view().getObject(u"context", context))
        return std::nullopt;
    Verdict verdict;
    std::u16string category;
    verdict.suppress = context.getString(u"category", category) && category == suppressedCategory;

    std::vector<std::u16string> viewers;
    if (description.getStringArray(u"preferredViewer", viewers) && viewers.empty())
        description.setStringArray(u"preferredViewer", {std::u16string(usualViewer)});
    verdict.processed = description.toString();
    return verdict;
}

std::optional<std::u16string> content(const std::u16string& alert) {
    Tavix::JSONFormatter description;
    Tavix::JSONView context;
    if (!description.parse(alert) || !description.view().getObject(u"context", context))
        return std::nullopt;
    std::u16string title, text;
    context.getString(u"title", title);
    context.getString(u"defaultcontent", text);
    Tavix::JSONFormatter result;
    result.setString(u"title", title);
    result.setString(u"text", text);
    return result.toString();
}

}  // namespace ExamplePlugin
