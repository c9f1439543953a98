// What a viewer shows of an alert, and what the user's choices publish.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Host {

struct DisplayedAlert {
    struct Message {
        std::u16string name;  // empty: none
        std::u16string payload;
    };
    struct OptionMessage {
        std::vector<std::u16string> options;  // the ids of those that are ticked
        Message message;
    };
    struct Action {
        std::u16string text;
        Message message;
        std::u16string id;
        bool isDefault = false;
        std::vector<OptionMessage> optionMessages;
    };
    struct Option {
        std::u16string text;
        bool selected = false;
        std::u16string id;
    };

    std::u16string id;
    std::u16string title;
    std::vector<std::u16string> texts;  // in the order of display; none of them empty
    std::vector<Action> actions;
    std::vector<Option> options;
    std::vector<Message> timeoutMessages;
    std::vector<Message> dismissalMessages;
    std::chrono::seconds timeout{30};

    // What choosing the action publishes: the message for just those options, given by their place, or else
    // the action's own.
    const Message& messageFor(const Action& action, const std::vector<size_t>& ticked) const;

    // Reads an alert description. Whatever its context lacks is empty; of what an alert may hold without
    // limit only the first 64 are kept. Nothing when the text is no JSON object or names no id that can be
    // part of a message's name.
    static std::optional<DisplayedAlert> parse(const std::u16string& description);
};

}  // namespace Host
