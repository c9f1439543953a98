#include "host/program/viewer/AlertCard.h"

#include <algorithm>

#include "host/program/output/TerminalText.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr size_t narrowest = 24, widest = 100;  // columns of the whole card
constexpr size_t titleLines = 3, textLines = 30, lineLines = 3, mostOptions = 10;

class Card {
public:
    explicit Card(size_t columns) : inside_(columns - 4) { rule(u'┌', u'┐'); }

    size_t inside() const { return inside_; }
    void line(const std::u16string& text) {
        lines_.push_back(u"│ " + text + std::u16string(inside_ - std::min(inside_, columnsOf(text)), u' ') +
                         u" │");
    }
    void text(std::u16string_view text, size_t most) {
        for (const auto& part : wrapped(text, inside_, most))
            line(part);
    }
    void labelled(const std::u16string& label, std::u16string_view text) {
        std::u16string lead = label;
        for (const auto& part : wrapped(text.empty() ? u"-" : text, inside_ - label.size(), lineLines)) {
            line(lead + part);
            lead.assign(label.size(), u' ');
        }
    }
    std::vector<std::u16string> close() {
        rule(u'└', u'┘');
        return std::move(lines_);
    }

private:
    void rule(char16_t left, char16_t right) {
        lines_.push_back(left + std::u16string(inside_ + 2, u'─') + right);
    }

    const size_t inside_;
    std::vector<std::u16string> lines_;
};

}  // namespace

std::vector<std::u16string> alertCard(const DisplayedAlert& alert, size_t terminalColumns) {
    Card card(std::clamp(terminalColumns, narrowest, widest));
    card.text(alert.title.empty() ? u"(no title)" : alert.title, titleLines);
    for (const auto& text : alert.texts) {
        card.line({});
        card.text(text, textLines);
    }
    if (!alert.options.empty())
        card.line({});
    for (size_t at = 0; at < std::min(alert.options.size(), mostOptions); ++at)
        card.labelled(alert.options[at].selected ? u"(x) " : u"( ) ", alert.options[at].text);
    if (alert.options.size() > mostOptions)
        card.line(u"and more");
    if (!alert.actions.empty())
        card.line({});
    for (size_t at = 0; at < std::min(alert.actions.size(), cardActions); ++at)
        card.labelled(u"[" + Ferrow::decimal(at + 1) + u"] ", alert.actions[at].text);
    if (alert.actions.size() > cardActions)
        card.line(u"and more");
    return card.close();
}

}  // namespace Host
