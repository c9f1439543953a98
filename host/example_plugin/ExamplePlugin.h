// An alert plugin to learn from. It serves any product whose settings name it:
//   Brevant/Product/<product> = {"pluginFile":"ExamplePlugin.dll","pluginPath":"$(App.Folder)"}
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ExamplePlugin {

// The rule: adverts are suppressed.
constexpr std::u16string_view suppressedCategory = u"advert";
// The viewer of alerts that name none.
constexpr std::u16string_view usualViewer = u"console";

struct Verdict {
    bool suppress = false;
    std::u16string processed;  // the description, with a viewer
};

// Nothing when the text is no alert description. A description is suppressed when its context's "category" is
// the suppressed one.
std::optional<Verdict> process(const std::u16string& alert);

// What the viewer displays: {"title":T,"text":X}, from the context's "title" and "defaultcontent". Nothing
// when the text is no alert description.
std::optional<std::u16string> content(const std::u16string& alert);

}  // namespace ExamplePlugin
