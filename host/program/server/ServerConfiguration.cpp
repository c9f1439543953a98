#include "host/program/server/ServerConfiguration.h"

#include <vector>

#include <brevant/alerts.h>
#include <brevant/settings.h>

#include "host/bus/nats/Subject.h"
#include "host/program/connection/HostMessages.h"

namespace Host {
namespace {

using Subjects = std::vector<std::string>;

// An id has as many words as it likes, and the server's patterns have no place for any number of them.
constexpr int mostWordsOfId = 8;

struct Rights {
    Subjects publish;
    Subjects neverPublish;
    Subjects subscribe;
    Subjects neverSubscribe{};
};

std::string message(std::u16string_view name) {
    return "mb." + MessageBus::subjectOf(name);
}

std::string request(std::u16string_view name) {
    return "mq." + MessageBus::subjectOf(name);
}

// Without the empty word behind the dot that such a name ends with.
std::string head(std::string subject) {
    constexpr std::string_view emptyWord = "%E";
    subject.resize(subject.size() - emptyWord.size());
    return subject;
}

// All names that begin so.
std::string below(const std::string& subject) {
    return head(subject) + ">";
}

// Names with an id of any words in the middle.
Subjects withId(const std::string& before, const Subjects& after) {
    Subjects subjects;
    std::string id = head(before);
    for (int words = 1; words <= mostWordsOfId; ++words) {
        id += "*.";
        for (const std::string& each : after)
            subjects.push_back(id + each);
    }
    return subjects;
}

void add(Subjects& to, const Subjects& more) {
    to.insert(to.end(), more.begin(), more.end());
}

// Who announces a pattern is addressed by its process.
void addRequests(Rights& to, const Subjects& requests) {
    for (const std::string& subject : requests) {
        to.publish.push_back(subject);
        to.publish.push_back("mp.*." + subject.substr(subject.find('.') + 1));
    }
}

// What every process of the bus tells the others.
Rights rightsOfAll(const std::string& role) {
    Rights rights{
        {"mc.join", "mc.leave", "mc.list", "mc.census", "mo.>"}, {}, {"_INBOX_" + role + ".>", "mc.>"}};
    addRequests(rights, {request(BREVANT_HOST_STATUS)});
    return rights;
}

// Publishes outcomes, and whatever message stands beside an action.
Rights viewer() {
    Rights rights = rightsOfAll("viewer");
    add(rights.publish, {"mb.>"});
    addRequests(rights, {request(BREVANT_SETTINGS_GET), request(BREVANT_SETTINGS_SET),
                         request(BREVANT_SETTINGS_REMOVE)});
    addRequests(rights, withId(request(BREVANT_VIEWER_PREFIX), {"Alive"}));
    add(rights.neverPublish,
        {below(message(u"SettingsManager.")), message(BREVANT_SETTINGS_GET), message(BREVANT_SETTINGS_SET),
         message(BREVANT_SETTINGS_REMOVE), message(BREVANT_SETTINGS_WAS_SET),
         message(BREVANT_SETTINGS_WAS_REMOVED), below(message(u"SystemMonitor.")),
         below(message(u"Brevant.Host.")), below(message(BREVANT_VIEWER_PREFIX)),
         message(BREVANT_ALERT_GET_ID), below(message(BREVANT_ALERT_GET_ID u".")),
         below(message(BREVANT_ALERT_SHOW)), below(message(BREVANT_ALERT_DELETE))});
    add(rights.neverPublish,
        withId(message(BREVANT_ALERT_PREFIX), {"Queued.*", "Suppressed.*", "Deleted.*", "NotFound.*"}));
    add(rights.subscribe, {below(message(BREVANT_VIEWER_PREFIX)), below(request(BREVANT_VIEWER_PREFIX))});
    return rights;
}

// Asks for alerts and hears what becomes of them. A choice's message has any name; who subscribes to one is
// asked as well as told.
Rights product() {
    Rights rights = rightsOfAll("product");
    add(rights.publish, {message(BREVANT_ALERT_GET_ID), below(message(BREVANT_ALERT_SHOW)),
                         below(message(BREVANT_ALERT_DELETE)), message(BREVANT_SESSION_LOGOFF)});
    addRequests(rights, {request(BREVANT_ALERT_GET_ID), below(request(BREVANT_ALERT_SHOW)),
                         below(request(BREVANT_ALERT_DELETE)), request(BREVANT_HOST_STAND_IN),
                         request(BREVANT_SETTINGS_GET), request(BREVANT_SETTINGS_GET_BATCH)});
    add(rights.subscribe, {"mb.>", "mq.>"});
    add(rights.neverSubscribe,
        {request(BREVANT_SETTINGS_GET), request(BREVANT_SETTINGS_SET), request(BREVANT_SETTINGS_REMOVE),
         below(request(u"SettingsManager.")), below(request(u"Brevant.Host.")),
         below(request(BREVANT_VIEWER_PREFIX)), request(BREVANT_ALERT_GET_ID),
         below(request(BREVANT_ALERT_SHOW)), below(request(BREVANT_ALERT_DELETE))});
    return rights;
}

// Sees what passes; changes nothing.
Rights watcher() {
    Rights rights = rightsOfAll("watcher");
    add(rights.publish, {"mc.observer"});
    add(rights.subscribe, {"mb.>", "mo.>"});
    return rights;
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char unit : text) {
        if (unit == '"' || unit == '\\')
            result += '\\';
        result += unit;
    }
    return result + '"';
}

std::string list(const Subjects& subjects) {
    std::string text = "[";
    for (const std::string& subject : subjects)
        text += (text.size() == 1 ? "" : ", ") + quoted(subject);
    return text + "]";
}

std::string permissions(const Rights& rights) {
    // A process answers a request once, but may have much to tell who asks what it has announced.
    return "{publish: {allow: " + list(rights.publish) + ", deny: " + list(rights.neverPublish) +
           "}, subscribe: {allow: " + list(rights.subscribe) + ", deny: " + list(rights.neverSubscribe) +
           "}, allow_responses: {max: 1000, expires: \"2m\"}}";
}

}  // namespace

std::string ServerConfiguration::text() const {
    const std::map<std::string, Rights> limited = {
        {"product", product()}, {"viewer", viewer()}, {"watcher", watcher()}};
    std::string users;
    for (const auto& [role, password] : passwords) {
        users += "      {user: " + quoted(role) + ", password: " + quoted(password);
        if (const auto rights = limited.find(role); rights != limited.end())
            users += ", permissions: " + permissions(rights->second);
        users += "}\n";
    }
    return "# Written by the host whenever it starts the server: changes get lost.\n"
           "listen: \"127.0.0.1:" +
           (port == 0 ? std::string("-1") : std::to_string(port)) +
           "\"\n"
           "ports_file_dir: " +
           quoted(folder) +
           "\n"
           "log_file: " +
           quoted(folder + "/log") +
           "\n"
           "logfile_size_limit: 1MB\n"
           "max_control_line: 16KB\n"
           "max_payload: 8MB\n"
           "ping_interval: \"2s\"\n"
           "ping_max: 2\n"
           "accounts {\n"
           "  BUS: {users: [\n" +
           users +
           "  ]}\n"
           "}\n";
}

}  // namespace Host
