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
    struct Action {
        std::u16string text;
        Message message;
    };
    struct Option {
        std::u16string text;
        bool selected = false;
    };

    std::u16string id;
    std::u16string title;
    std::vector<std::u16string> texts;  // in the order of display; none of them empty
    std::vector<Action> actions;
    std::vector<Option> options;
    std::vector<Message> timeoutMessages;
    std::vector<Message> dismissalMessages;
    std::chrono::seconds timeout{30};

    // Reads an alert description. Whatever its context lacks is empty; of what an alert may hold without
    // limit only the first 64 are kept. Nothing when the text is no JSON object or names no id that can be
    // part of a message's name.
    static std::optional<DisplayedAlert> parse(const std::u16string& description);
};

}  // namespace Host
