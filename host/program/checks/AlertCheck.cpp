#include "host/program/checks/AlertCheck.h"

#include <algorithm>
#include <optional>
#include <rapidjson/error/en.h>
#include <set>

#include <brevant/alerts.h>

#include "host/program/checks/AlertMembers.h"
#include "host/program/product/AlertFile.h"
#include "json/JSONFormatter.h"
#include "json/JSONParse.h"
#include "text/Number.h"
#include "text/Utf.h"

namespace Host {
namespace {

using Tavix::JSONValue;

constexpr size_t mostProblems = 200, mostNotes = 50;
constexpr size_t actionsWithoutDuplicates = 5;

std::u16string_view textOf(const JSONValue& value) {
    return {value.GetString(), value.GetStringLength()};
}

std::u16string quoted(std::u16string_view text) {
    constexpr size_t longest = 60;
    const std::u16string_view cut = Ferrow::cutText(text, longest);
    return u"\"" + std::u16string(cut) + (cut.size() < text.size() ? u"\u2026\"" : u"\"");
}

std::u16string childOf(const std::u16string& pointer, std::u16string_view name) {
    std::u16string result = pointer + u'/';
    for (const char16_t unit : name) {
        if (unit == u'~')
            result += u"~0";
        else if (unit == u'/')
            result += u"~1";
        else
            result += unit;
    }
    return result;
}

struct Node {
    const JSONValue* value = nullptr;
    size_t at = 0;
    std::u16string pointer;

    explicit operator bool() const noexcept { return value != nullptr; }
};

class AlertChecker {
public:
    std::vector<Finding> check(std::string_view bytes);

private:
    struct Said {
        Finding finding;
        size_t at;
    };
    struct Object {
        struct Member {
            std::u16string_view name;
            size_t nameAt;
            Node node;
        };
        Node node;
        std::vector<Member> members;  // of several of one name the first

        Node find(std::u16string_view name) const {
            const auto found = std::ranges::find(members, name, &Member::name);
            return found == members.end() ? Node() : found->node;
        }
    };
    void say(AlertRule rule, size_t at, const std::u16string& pointer, std::u16string message,
             std::vector<std::u16string> accepted = {});
    void say(AlertRule rule, const Node& node, std::u16string message,
             std::vector<std::u16string> accepted = {}) {
        say(rule, node.at, node.pointer, std::move(message), std::move(accepted));
    }

    bool parse(std::string_view bytes);
    Object open(const Node& node);
    void checkUnknown(const Object& object, std::span<const MemberKind> known, AlertRule rule);
    Node get(const Object& object, std::u16string_view name, Kind kind, AlertRule wrongKind);
    Node require(const Object& object, std::u16string_view name, Kind kind, AlertRule missing,
                 AlertRule wrongKind);
    std::vector<Node> elements(const Node& list) const;
    std::vector<Node> objects(const Object& object, std::u16string_view name);
    void checkName(const Node& name);
    void checkValue(const Node& value, const std::vector<std::u16string>& accepted);
    void checkPriority(const Node& priority);
    void checkIdentifier(const Node& id);
    void checkDescription(const Object& alert);
    void checkContext(const Object& context);
    void checkMessage(const Node& message);
    void checkOptions(const Object& context);
    void checkActions(const Object& context);
    void checkAction(const Object& action);
    void checkDifferent(std::set<std::u16string_view>& ids, const Node& id, const char16_t* what);

    std::u16string text_;
    Tavix::JSONFormatter document_;
    std::optional<JsonPlaces> places_;
    std::vector<Said> said_;
    size_t problems_ = 0, notes_ = 0;
    std::set<std::u16string_view> options_;  // ids
    bool broken_ = false;                    // the broker has stopped reading the context
};

void AlertChecker::say(AlertRule rule, size_t at, const std::u16string& pointer, std::u16string message,
                       std::vector<std::u16string> accepted) {
    // A viewer's own members, of which there may be many, must not crowd out what is wrong.
    size_t& count = Host::textOf(rule).level == Level::note ? notes_ : problems_;
    if (++count > (&count == &notes_ ? mostNotes : mostProblems + 1))
        return;
    if (problems_ > mostProblems && &count == &problems_) {
        rule = AlertRule::moreProblems;
        message = u"there are more problems than these";
        accepted.clear();
    }
    said_.push_back({{rule, {}, pointer, std::move(message), std::move(accepted)}, at});
}

std::vector<Finding> AlertChecker::check(std::string_view bytes) {
    if (parse(bytes))
        checkDescription(open({document_.view().value(), places_->root(), {}}));
    std::ranges::stable_sort(said_, {}, &Said::at);
    std::vector<Finding> findings;
    for (Said& said : said_) {
        if (places_)
            said.finding.place = places_->placeOf(said.at);
        findings.push_back(std::move(said.finding));
    }
    return findings;
}

// The text has to pass the reader of the broker.
bool AlertChecker::parse(std::string_view bytes) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (bytes.size() > maximumAlertFile) {
        say(AlertRule::fileSize, 0, {}, u"the file has more than 4 MiB");
        return false;
    }
    if (bytes.starts_with(byteOrderMark))
        bytes.remove_prefix(byteOrderMark.size());
    text_ = Ferrow::toUtf16(bytes);
    places_.emplace(text_);
    if (!Ferrow::isUtf8(bytes)) {
        // Line by line, for the part before the first broken sequence.
        size_t begin = 0;
        while (Ferrow::isUtf8(bytes.substr(begin, bytes.find('\n', begin) - begin)))
            begin = bytes.find('\n', begin) + 1;
        const auto lengthAt = [&](size_t at) -> size_t {
            for (size_t length = 1; length <= 4; ++length) {
                if (Ferrow::isUtf8(bytes.substr(at, length)))
                    return length;
            }
            return 0;
        };
        while (const size_t length = lengthAt(begin))
            begin += length;
        say(AlertRule::encoding, Ferrow::toUtf16(bytes.substr(0, begin)).size(), {},
            u"the bytes here are no UTF-8");
        return false;
    }
    const std::u16string text = Tavix::withShortExponents(std::u16string_view(text_));
    rapidjson::BaseReaderHandler<Tavix::JSONEncoding> ignore;
    Tavix::JSONGuard guard(ignore);
    rapidjson::GenericStringStream<Tavix::JSONEncoding> stream(text.c_str());
    rapidjson::GenericReader<Tavix::JSONEncoding, Tavix::JSONEncoding, Tavix::JSONHeap> reader;
    const auto result = reader.Parse<rapidjson::kParseIterativeFlag>(stream, guard);
    if (result.IsError()) {
        if (guard.deepest() > Tavix::maximumJsonDepth)
            say(AlertRule::depth, result.Offset(), {}, u"this nests deeper than 512");
        else if (result.Code() == rapidjson::kParseErrorNumberTooBig ||
                 result.Code() == rapidjson::kParseErrorTermination)
            say(AlertRule::numberRange, result.Offset(), {}, u"the number is too large");
        else
            say(AlertRule::syntax, result.Offset(), {}, Ferrow::toUtf16(GetParseError_En(result.Code())));
        return false;
    }
    if (stream.Tell() != text.size()) {
        say(AlertRule::syntax, stream.Tell(), {}, u"a zero character stands here");
        return false;
    }
    if (!document_.parse(text_)) {
        say(AlertRule::object, places_->root(), {}, u"a description is an object");
        return false;
    }
    return true;
}

AlertChecker::Object AlertChecker::open(const Node& node) {
    Object object{node, {}};
    std::set<std::u16string_view> seen;
    const std::vector<JsonPlaces::Entry> places = places_->entries(node.at);
    size_t index = 0;
    for (const auto& member : node.value->GetObject()) {
        const JsonPlaces::Entry& place = places[index++];
        const std::u16string_view name = textOf(member.name);
        if (seen.insert(name).second)
            object.members.push_back(
                {name, place.name, {&member.value, place.value, childOf(node.pointer, name)}});
        else
            say(AlertRule::repeatedMember, place.name, childOf(node.pointer, name),
                quoted(name) + u" is there already; this one does not count");
    }
    return object;
}

void AlertChecker::checkUnknown(const Object& object, std::span<const MemberKind> known, AlertRule rule) {
    for (const auto& [name, at, member] : object.members) {
        if (std::ranges::find(known, name, &MemberKind::name) != known.end())
            continue;
        const std::u16string_view meant = nearest(name, known);
        std::u16string message = quoted(name) + (rule == AlertRule::unknownMember
                                                     ? u" is no member of a description, and is dropped"
                                                     : u" means nothing to the broker");
        if (!meant.empty())
            message += u"; is " + quoted(meant) + u" meant?";
        say(!meant.empty() && rule == AlertRule::contextMember ? AlertRule::misspelt : rule, at,
            member.pointer, std::move(message));
    }
}

Node AlertChecker::get(const Object& object, std::u16string_view name, Kind kind, AlertRule wrongKind) {
    Node member = object.find(name);
    if (!member || isOf(kind, *member.value))
        return member;
    say(wrongKind, member, quoted(name) + u" must be " + nameOf(kind) + u", not " + kindOf(*member.value));
    return {};
}

Node AlertChecker::require(const Object& object, std::u16string_view name, Kind kind, AlertRule missing,
                           AlertRule wrongKind) {
    if (!object.find(name)) {
        say(missing, object.node.at, childOf(object.node.pointer, name),
            quoted(name) + u", " + nameOf(kind) + u", is missing");
        return {};
    }
    return get(object, name, kind, wrongKind);
}

std::vector<Node> AlertChecker::elements(const Node& list) const {
    std::vector<Node> found;
    if (!list)
        return found;
    const std::vector<JsonPlaces::Entry> places = places_->entries(list.at);
    for (rapidjson::SizeType index = 0; index < list.value->Size(); ++index)
        found.push_back(
            {&(*list.value)[index], places[index].value, childOf(list.pointer, Ferrow::decimal(index))});
    return found;
}

// Of a list inside the context; those before the first other element count.
std::vector<Node> AlertChecker::objects(const Object& object, std::u16string_view name) {
    std::vector<Node> found;
    for (Node& element : elements(get(object, name, Kind::objects, AlertRule::contextList))) {
        if (element.value->IsObject())
            found.push_back(std::move(element));
        else
            say(AlertRule::contextList, element,
                u"an element of " + quoted(name) + u" must be an object, not " + kindOf(*element.value));
    }
    return found;
}

void AlertChecker::checkName(const Node& name) {
    if (!name)
        return;
    const std::u16string_view text = textOf(*name.value);
    if (text.empty())
        say(AlertRule::emptyName, name, u"the name is empty");
    if (text.find(u'\0') != text.npos)
        say(AlertRule::cutName, name, u"the name ends at the zero character in it");
}

void AlertChecker::checkValue(const Node& value, const std::vector<std::u16string>& accepted) {
    if (!value || std::ranges::find(accepted, textOf(*value.value)) != accepted.end())
        return;
    std::u16string message = u"must be ";
    for (size_t i = 0; i < accepted.size(); ++i)
        message += (i == 0 ? u"" : i + 1 < accepted.size() ? u", " : u" or ") + quoted(accepted[i]);
    say(AlertRule::memberValue, value, message + u", not " + quoted(textOf(*value.value)), accepted);
}

void AlertChecker::checkPriority(const Node& priority) {
    const std::vector<std::u16string> accepted{u"P1", u"P2", u"P3"};
    const std::u16string_view text = priority ? textOf(*priority.value) : std::u16string_view();
    const auto number = Ferrow::parseSigned32(text.substr(text.starts_with(u'P') ? 1 : text.size()));
    if (number.value < 1 || number.value > 3)
        return checkValue(priority, accepted);
    const std::u16string plain = u"P" + Ferrow::decimalSigned(number.value);
    if (text != plain)
        say(AlertRule::priorityForm, priority, quoted(text) + u" is read as " + quoted(plain), accepted);
}

void AlertChecker::checkIdentifier(const Node& id) {
    if (!id)
        return;
    const std::u16string_view text = textOf(*id.value);
    if (text.empty())
        say(AlertRule::emptyName, id, u"an empty id tells the alert from no other");
    if (text.find(u'\0') != text.npos)
        say(AlertRule::idZero, id, u"an id must not hold a zero character");
    if (const size_t at = text.find_first_of(patternUnits); at != text.npos)
        say(AlertRule::idPattern, id,
            u"an id must not hold " + quoted(text.substr(at, 1)) + u": its outcome would not be seen");
}

void AlertChecker::checkDescription(const Object& alert) {
    const auto mustBe = [&](std::u16string_view name, Kind kind) {
        return require(alert, name, kind, AlertRule::requiredMember, AlertRule::memberKind);
    };
    const auto mayBe = [&](std::u16string_view name, Kind kind) {
        return get(alert, name, kind, AlertRule::ignoredMember);
    };
    checkUnknown(alert, descriptionMembers, AlertRule::unknownMember);
    checkIdentifier(mustBe(BREVANT_DESCRIPTION_ID, Kind::text));
    if (const Node instance = get(alert, BREVANT_DESCRIPTION_INSTANCE_ID, Kind::text, AlertRule::memberKind))
        say(AlertRule::instanceId, instance, u"\"brevant show\" puts another instance id here");
    checkPriority(mustBe(BREVANT_DESCRIPTION_PRIORITY, Kind::text));
    checkName(mustBe(BREVANT_DESCRIPTION_PRODUCT, Kind::text));
    checkValue(mustBe(BREVANT_DESCRIPTION_SOURCE, Kind::text), {BREVANT_SOURCE_CLIENT, BREVANT_SOURCE_WEB});
    mustBe(BREVANT_DESCRIPTION_FORCE_PREFERRED_VIEWER, Kind::flag);
    mayBe(BREVANT_DESCRIPTION_CONTENT, Kind::text);
    mayBe(BREVANT_DESCRIPTION_TIMEOUT, Kind::number);
    mayBe(u"$schema", Kind::text);
    if (const Node session = mayBe(BREVANT_DESCRIPTION_SESSION_ID, Kind::number);
        session && session.value->GetUint() != 0)
        say(AlertRule::session, session, u"whether there is such a session is not checked");

    const Node preferred =
        get(alert, BREVANT_DESCRIPTION_PREFERRED_VIEWER, Kind::texts, AlertRule::memberKind);
    for (const Node& viewer : elements(preferred)) {
        if (viewer.value->IsString())
            checkName(viewer);
        else
            say(AlertRule::memberKind, viewer,
                std::u16string(u"a preferred viewer must be a text, not ") + kindOf(*viewer.value));
    }
    if (!alert.find(BREVANT_DESCRIPTION_PREFERRED_VIEWER) || (preferred && preferred.value->Empty()))
        say(AlertRule::noViewer, preferred ? preferred.at : alert.node.at,
            childOf(alert.node.pointer, BREVANT_DESCRIPTION_PREFERRED_VIEWER),
            u"no viewer is preferred: only a plugin that names one has the alert shown");

    if (const Node context = mustBe(BREVANT_DESCRIPTION_CONTEXT, Kind::object))
        checkContext(open(context));
}

void AlertChecker::checkContext(const Object& context) {
    checkUnknown(context, contextMembers, AlertRule::contextMember);
    broken_ = !require(context, BREVANT_CONTEXT_TITLE, Kind::text, AlertRule::title, AlertRule::title);
    for (const auto& [name, kind] : contextMembers) {
        if (name != BREVANT_CONTEXT_TITLE && kind != Kind::objects)
            get(context, name, kind, AlertRule::contextKind);
    }
    for (const std::u16string_view name :
         {BREVANT_CONTEXT_TIMEOUT_ACTIONS, BREVANT_CONTEXT_DISMISSAL_ACTIONS}) {
        for (const Node& message : objects(context, name))
            checkMessage(message);
    }
    checkOptions(context);
    checkActions(context);
}

void AlertChecker::checkMessage(const Node& node) {
    const Object message = open(node);
    checkUnknown(message, messageMembers, AlertRule::contextMember);
    if (const Node name = require(message, BREVANT_CHOICE_MESSAGE_NAME, Kind::text, AlertRule::message,
                                  AlertRule::message)) {
        if (textOf(*name.value).empty())
            say(AlertRule::message, name, u"the name is empty: no message is published");
        else
            checkName(name);
    }
    get(message, BREVANT_CHOICE_PAYLOAD, Kind::text, AlertRule::contextKind);
}

void AlertChecker::checkDifferent(std::set<std::u16string_view>& ids, const Node& id, const char16_t* what) {
    if (id && !ids.insert(textOf(*id.value)).second)
        say(AlertRule::sameIds, id,
            u"another " + std::u16string(what) + u" has the id " + quoted(textOf(*id.value)) + u" already");
}

void AlertChecker::checkOptions(const Object& context) {
    for (const Node& element : objects(context, BREVANT_CONTEXT_OPTIONS)) {
        const Object option = open(element);
        checkUnknown(option, optionMembers, AlertRule::contextMember);
        for (const auto& [name, kind] : optionMembers) {
            const Node member = require(option, name, kind, AlertRule::option, AlertRule::option);
            broken_ |= !member;
            if (name == BREVANT_OPTION_ID)
                checkDifferent(options_, member, u"option");
        }
    }
}

void AlertChecker::checkActions(const Object& context) {
    std::set<std::u16string_view> ids;
    size_t read = 0, defaults = 0;
    for (const Node& element : objects(context, BREVANT_CONTEXT_ACTIONS)) {
        const Object action = open(element);
        checkUnknown(action, actionMembers, AlertRule::contextMember);
        const Node id = require(action, BREVANT_ACTION_ID, Kind::text, AlertRule::action, AlertRule::action);
        checkDifferent(ids, id, u"action");
        const Node text =
            require(action, BREVANT_ACTION_TEXT, Kind::text, AlertRule::action, AlertRule::action);
        const Node message = require(action, BREVANT_ACTION_DEFAULT_MESSAGE, Kind::object, AlertRule::message,
                                     AlertRule::message);
        if (message)
            checkMessage(message);
        broken_ |= !id || !text || !message;
        read += !broken_;
        if (const Node isDefault = get(action, BREVANT_ACTION_DEFAULT, Kind::flag, AlertRule::contextKind);
            isDefault && isDefault.value->IsTrue() && ++defaults > 1)
            say(AlertRule::defaults, isDefault, u"another action is the default one already");
        checkAction(action);
    }
    if (const Node actions = context.find(BREVANT_CONTEXT_ACTIONS);
        actions && read >= actionsWithoutDuplicates)
        say(AlertRule::duplicatesOff, actions,
            Ferrow::decimal(read) + u" actions turn the detection of duplicates off");
}

// The messages that are tied to options.
void AlertChecker::checkAction(const Object& action) {
    for (const Node& element : objects(action, BREVANT_ACTION_OPTIONS)) {
        const Object tied = open(element);
        checkUnknown(tied, actionOptionMembers, AlertRule::contextMember);
        if (const Node message = require(tied, BREVANT_ACTION_OPTION_MESSAGE, Kind::object,
                                         AlertRule::message, AlertRule::message))
            checkMessage(message);
        for (const Node& id :
             elements(get(tied, BREVANT_ACTION_OPTION_IDS, Kind::texts, AlertRule::contextKind))) {
            if (!id.value->IsString())
                say(AlertRule::contextKind, id,
                    std::u16string(u"an option's id must be a text, not ") + kindOf(*id.value));
            else if (!options_.contains(textOf(*id.value)))
                say(AlertRule::optionIds, id,
                    u"the alert has no option with the id " + quoted(textOf(*id.value)));
        }
    }
}

}  // namespace

std::vector<Finding> checkAlert(std::string_view bytes) {
    return AlertChecker().check(bytes);
}

}  // namespace Host
