#include "host/program/viewer/AlertCard.h"

#include <algorithm>
#include <utility>

#include "host/program/output/TerminalText.h"
#include "text/Format.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr size_t narrowest = 24, widest = 100;  // columns of the whole card
constexpr size_t frameColumns = 4, frameRows = 3;
constexpr size_t titleLines = 3, lineLines = 3, digitActions = 9;

// How much of an alert a card holds.
struct Limits {
    size_t textLines, options, actions;
};
constexpr Limits printed{30, 10, 9}, scrolled{1000, 64, 64};

struct Row {
    std::u16string text;
    size_t item = SIZE_MAX;  // the option or, after all options, the action that it belongs to
    Style style = Style::plain;
};

class Body {
public:
    explicit Body(size_t columns) : columns_(columns) {}

    void gap() { rows_.push_back({}); }
    void text(std::u16string_view text, size_t most) {
        for (auto& part : wrapped(text, columns_, most))
            rows_.push_back({std::move(part)});
    }
    void labelled(const std::u16string& label, std::u16string_view text, size_t item, Style style) {
        std::u16string lead = label;
        for (const auto& part : wrapped(text.empty() ? u"-" : text, columns_ - label.size(), lineLines)) {
            rows_.push_back({lead + part, item, style});
            lead.assign(label.size(), u' ');
        }
    }
    std::vector<Row> take() { return std::move(rows_); }

private:
    const size_t columns_;
    std::vector<Row> rows_;
};

std::vector<Row> bodyOf(const DisplayedAlert& alert, const std::vector<bool>& ticked, size_t columns,
                        const Limits& limits) {
    Body body(columns);
    for (size_t at = 0; at < alert.texts.size(); ++at) {
        if (at > 0)
            body.gap();
        body.text(alert.texts[at], limits.textLines);
    }
    if (!alert.options.empty())
        body.gap();
    for (size_t at = 0; at < std::min(alert.options.size(), limits.options); ++at)
        body.labelled(ticked[at] ? u"(x) " : u"( ) ", alert.options[at].text, at, Style::plain);
    if (alert.options.size() > limits.options)
        body.text(u"and more", 1);
    if (!alert.actions.empty())
        body.gap();
    for (size_t at = 0; at < std::min(alert.actions.size(), limits.actions); ++at) {
        const DisplayedAlert::Action& action = alert.actions[at];
        const std::u16string label = at < digitActions ? u"[" + Ferrow::decimal(at + 1) + u"] " : u"[ ] ";
        body.labelled(label, action.text + (action.isDefault ? u" (Enter)" : u""), alert.options.size() + at,
                      action.isDefault ? Style::strong : Style::plain);
    }
    if (alert.actions.size() > limits.actions)
        body.text(u"and more", 1);
    return body.take();
}

size_t cardColumns(size_t terminalColumns) {
    return std::clamp(terminalColumns, narrowest, widest) - frameColumns;
}

std::vector<std::u16string> titleOf(const DisplayedAlert& alert, size_t columns, size_t most) {
    return wrapped(alert.title.empty() ? u"(no title)" : std::u16string_view(alert.title), columns, most);
}

std::u16string rule(std::u16string_view left, size_t columns, std::u16string_view right) {
    return std::u16string(left) + std::u16string(columns + 2, u'─') + std::u16string(right);
}

std::u16string framed(std::u16string_view text, size_t columns, char16_t lead = u' ') {
    return std::u16string(u"│") + lead + std::u16string(text) +
           std::u16string(columns - std::min(columns, columnsOf(text)), u' ') + u" │";
}

std::vector<bool> selectedOptions(const DisplayedAlert& alert) {
    std::vector<bool> ticked;
    for (const DisplayedAlert::Option& option : alert.options)
        ticked.push_back(option.selected);
    return ticked;
}

std::u16string clockText(std::chrono::seconds time) {
    const auto seconds = static_cast<uint64_t>(std::max<int64_t>(time.count(), 0));
    if (seconds < 60)
        return Ferrow::decimal(seconds) + u" s";
    if (seconds < 3600)
        return Ferrow::formatText(u"%llu:%02llu", seconds / 60, seconds % 60);
    return Ferrow::formatText(u"%llu:%02llu:%02llu", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace

std::vector<std::u16string> alertCard(const DisplayedAlert& alert, size_t terminalColumns) {
    const size_t columns = cardColumns(terminalColumns);
    std::vector<std::u16string> lines{rule(u"┌", columns, u"┐")};
    for (const std::u16string& line : titleOf(alert, columns, titleLines))
        lines.push_back(framed(line, columns));
    if (!alert.texts.empty())
        lines.push_back(framed({}, columns));
    for (const Row& row : bodyOf(alert, selectedOptions(alert), columns, printed))
        lines.push_back(framed(row.text, columns));
    lines.push_back(rule(u"└", columns, u"┘"));
    return lines;
}

AlertCard::AlertCard(const DisplayedAlert& alert) : alert_(alert), ticked_(selectedOptions(alert)) {
    const auto found = std::ranges::find(alert.actions, true, &DisplayedAlert::Action::isDefault);
    if (found != alert.actions.end())
        default_ = static_cast<size_t>(found - alert.actions.begin());
}

std::vector<StyledLine> AlertCard::draw(Platform::TerminalSize terminal, std::chrono::seconds left) {
    const size_t columns = cardColumns(terminal.columns), rows = std::max(terminal.rows, 1u);
    std::vector<std::u16string> helpLines = wrapped(help(left), std::max(terminal.columns, 2u), 3);
    std::vector<std::u16string> title = titleOf(alert_, columns, titleLines);
    if (rows < title.size() + frameRows + helpLines.size() + 4) {
        title.resize(1);
        helpLines = {shortened(helpLines.front(), std::max(terminal.columns, 2u))};
    }
    const std::vector<Row> body = bodyOf(alert_, ticked_, columns, scrolled);
    const size_t taken = title.size() + frameRows + helpLines.size();
    page_ = std::max<size_t>(rows > taken ? rows - taken : 1, 1);
    if (std::exchange(bringsMark_, false)) {
        const auto first = std::ranges::find(body, marked_, &Row::item);
        auto end = first;
        while (end != body.end() && end->item == marked_)
            ++end;
        const auto from = static_cast<size_t>(first - body.begin()),
                   to = static_cast<size_t>(end - body.begin());
        if (to > top_ + page_)
            top_ = to - page_;
        top_ = std::min(top_, from);
    }
    top_ = std::min(top_, body.size() - std::min(body.size(), page_));

    std::vector<StyledLine> lines{{rule(u"┌", columns, u"┐")}};
    for (const std::u16string& line : title)
        lines.push_back({framed(line, columns), Style::strong});
    const bool above = top_ > 0, below = top_ + page_ < body.size();
    lines.push_back({rule(u"├", columns, above ? u"▲" : u"┤")});
    for (size_t at = top_; at < std::min(body.size(), top_ + page_); ++at) {
        const bool marked = marked_ != none && body[at].item == marked_;
        lines.push_back(
            {framed(body[at].text, columns, marked ? u'›' : u' '), marked ? Style::marked : body[at].style});
    }
    lines.push_back({rule(u"└", columns, below ? u"▼" : u"┘")});
    for (std::u16string& line : helpLines)
        lines.push_back({std::move(line)});
    if (lines.size() > rows)
        lines.resize(rows);
    return lines;
}

std::u16string AlertCard::help(std::chrono::seconds left) const {
    std::u16string help = u"closes in " + clockText(left);
    if (alert_.actions.empty())
        return help + u" · Enter or Esc dismisses";
    help += u" · a digit chooses";
    const bool onAction = marked_ != none && !isOption(marked_);
    if (onAction || default_)
        help += onAction ? u" · Enter takes the marked one" : u" · Enter takes the default";
    help += u" · ↑ ↓ move";
    if (!alert_.options.empty())
        help += u" · Space ticks";
    return help + u" · Esc dismisses";
}

Showing::End AlertCard::endWith(std::optional<size_t> action) const {
    Showing::End end{Showing::Ending::dismissed, action};
    for (size_t at = 0; at < ticked_.size(); ++at) {
        if (ticked_[at])
            end.ticked.push_back(at);
    }
    return end;
}

std::optional<Showing::End> AlertCard::press(char32_t key) {
    switch (key) {
        case U'\x1B':
            return endWith(std::nullopt);
        case U'\n':
            if (marked_ != none && !isOption(marked_))
                return endWith(marked_ - ticked_.size());
            if (default_ || alert_.actions.empty())
                return endWith(default_);
            break;
        case U' ':
            tick();
            break;
        case Platform::Keys::up:
        case Platform::Keys::backTab:
            move(false);
            break;
        case Platform::Keys::down:
        case U'\t':
            move(true);
            break;
        case Platform::Keys::pageUp:
            scroll(-static_cast<long>(page_));
            break;
        case Platform::Keys::pageDown:
            scroll(static_cast<long>(page_));
            break;
        case Platform::Keys::home:
            top_ = 0;
            break;
        case Platform::Keys::end:
            top_ = none / 2;
            break;
        default:
            if (key >= U'1' && key <= U'9' && key - U'1' < alert_.actions.size())
                return endWith(key - U'1');
            break;
    }
    return std::nullopt;
}

void AlertCard::tick() {
    const size_t option = marked_ != none && isOption(marked_) ? marked_ : ticked_.size() == 1 ? 0 : none;
    if (option != none)
        ticked_[option] = !ticked_[option];
}

void AlertCard::move(bool down) {
    const size_t items = alert_.options.size() + alert_.actions.size();
    if (items == 0) {
        scroll(down ? 1 : -1);
        return;
    }
    if (marked_ == none && default_)
        marked_ = alert_.options.size() + *default_;
    if (marked_ == none)
        marked_ = down ? 0 : items - 1;
    else
        marked_ = down ? (marked_ + 1) % items : (marked_ + items - 1) % items;
    bringsMark_ = true;
}

void AlertCard::scroll(long lines) {
    top_ = lines < 0 ? top_ - std::min(top_, static_cast<size_t>(-lines)) : top_ + static_cast<size_t>(lines);
}

}  // namespace Host
