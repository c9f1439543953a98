// What the viewer displays: the record behind a description's "context".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Tavix {
class JSONView;
}

namespace Vok {

// A bus message that is to be published when something happens to the alert. The broker only carries it.
struct ActionMessage {
    std::u16string messagename;
    std::u16string payload;
};

struct AlertOption {
    std::u16string id;
    std::u16string text;
    bool selected = false;
};

struct ActionOption {
    std::vector<std::u16string> idList;
    ActionMessage message;
};

struct AlertAction {
    std::u16string id;
    std::u16string text;
    ActionMessage defaultmessage;
    bool isDefault = false;  // key "default"
    std::vector<ActionOption> options;
};

// Each field is named after its key.
struct AlertContext {
    // Fills a default record. False when the text is no object or a required member is missing or wrong; what
    // was read before stays. Throws nothing for bad text.
    bool fromJson(const std::u16string& text);
    // The same with an object that has been parsed.
    bool read(const Tavix::JSONView& json);

    std::u16string category;  // compat
    std::u16string title;
    std::u16string shortdescription;
    std::u16string longdescription;
    std::u16string langid;
    std::u16string detailscontent;
    std::u16string defaultcontent;
    std::u16string recommendedtext;
    std::u16string detaillinktext;
    std::u16string detaillinkcontext;
    std::u16string appid;
    std::u16string plugin;
    std::u16string alertmarketdescription;
    std::u16string typedescription;
    std::u16string telemetry;
    uint32_t timeout = 0;
    uint32_t width = 0;
    uint32_t status = 0;
    uint32_t detaillinktype = 0;
    bool legacy = false;
    std::vector<ActionMessage> timeoutactions;
    std::vector<ActionMessage> dismissalactions;
    std::vector<AlertAction> actions;
    std::vector<AlertOption> options;
};

}  // namespace Vok
