#include "host/example_plugin/ExamplePlugin.h"

#include <brevant/alerts.h>

#include "json/JSONFormatter.h"

namespace ExamplePlugin {

std::optional<Verdict> process(const std::u16string& alert) {
    Tavix::JSONFormatter description;
    Tavix::JSONView context;
    if (!description.parse(alert) || !description.view().getObject(BREVANT_DESCRIPTION_CONTEXT, context))
        return std::nullopt;
    Verdict verdict;
    std::u16string category;
    verdict.suppress =
        context.getString(BREVANT_CONTEXT_CATEGORY, category) && category == suppressedCategory;

    std::vector<std::u16string> viewers;
    if (description.getStringArray(BREVANT_DESCRIPTION_PREFERRED_VIEWER, viewers) && viewers.empty())
        description.setStringArray(BREVANT_DESCRIPTION_PREFERRED_VIEWER, {std::u16string(usualViewer)});
    verdict.processed = description.toString();
    return verdict;
}

std::optional<std::u16string> content(const std::u16string& alert) {
    Tavix::JSONFormatter description;
    Tavix::JSONView context;
    if (!description.parse(alert) || !description.view().getObject(BREVANT_DESCRIPTION_CONTEXT, context))
        return std::nullopt;
    std::u16string title, text;
    context.getString(BREVANT_CONTEXT_TITLE, title);
    context.getString(BREVANT_CONTEXT_DEFAULT_CONTENT, text);
    Tavix::JSONFormatter result;
    result.setString(u"title", title);
    result.setString(u"text", text);
    return result.toString();
}

}  // namespace ExamplePlugin
