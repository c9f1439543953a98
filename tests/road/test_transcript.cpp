// One scenario whose every trace (bus, viewer, log, telemetry) is compared with transcript.txt, on each
// system: what both say the same as the file they say the same as each other.
#include <regex>

#include "platform/Files.h"
#include "platform/Process.h"
#include "road/Road.h"
#include "text/Utf.h"

namespace Road {
namespace {

// All that may differ between two runs and between the systems.
std::string normalized(std::string line) {
    static const std::pair<std::regex, const char*> differences[] = {
        {std::regex("^[0-9/]{10} [0-9:]{8} [AP]M"), "<time>"},
        {std::regex("(\"__record\\.created(\\.seconds)?\":)\"[^\"]*\""), "$1\"<time>\""},
        {std::regex("(\"__caller\\.name\":)\"[^\"]*\""), "$1\"<program>\""},
        {std::regex("(M12NPerfTimer.*?)\\|[0-9]+\\|[0-9]+\\|[0-9]+"), "$1|<from>|<to>|<duration>"},
        {std::regex("session id [0-9]+ for process [0-9]+"), "session id <id> for process <id>"},
        {std::regex("libbrevant\\.so|Brevant\\.dll"), "<module>"},
        {std::regex("\\r$"), ""},
    };
    for (const auto& [pattern, replacement] : differences)
        line = std::regex_replace(line, pattern, replacement);
    // Where the build has put program and libraries.
    const std::string program = Ferrow::toUtf8(Platform::executablePath());
    const std::string folder = program.substr(0, program.rfind('\\'));
    for (size_t at = 0; (at = line.find(folder)) != line.npos;)
        line.replace(at, folder.size(), "<folder>");
    return line;
}

std::vector<std::string> linesOf(const std::filesystem::path& file) {
    std::vector<std::string> lines;
    std::ifstream stream(file, std::ios::binary);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(normalized(line));
    return lines;
}

class Transcript : public RoadTest {
protected:
    void SetUp() override {
        if (!folder.isOwnMachine())
            GTEST_SKIP() << folder.notOwnMachine;
        folder.writeRegistry("Windows Registry Editor Version 5.00\n\n" + eventSinkKey());
        // Every level, with the names of the functions.
        std::filesystem::create_directories(logs());
        std::ofstream(logs() / "log.ini") << "[Config]\nSeverity=0\nOptions=32\n";
        RoadTest::SetUp();
        viewer->manner = Viewer::Manner::isSilent;
    }

    std::filesystem::path logs() const { return folder.data() / "Corvane" / "CVLOGS"; }

    AlertText titled(const std::u16string& id) {
        AlertText alert;
        alert.id = id;
        alert.title = u"Title of " + id;
        return alert;
    }
    // Each step waits for its last trace, so that traces of several threads come in one order.
    std::u16string showAnd(const AlertText& alert, const std::u16string& statusWord) {
        Support::BusMessage id;
        product->request(u"Brevant.Alert.GetId", u"", id);
        EXPECT_TRUE(seen(u"Brevant.Alert.GetId.Response"));
        product->publish(u"Brevant.Alert.Show." + id.payload, alert.json(id.payload));
        EXPECT_TRUE(seen(outcome(alert.id, statusWord, id.payload))) << Ferrow::toUtf8(alert.id);
        return id.payload;
    }
    // The viewer answers only once the broker has said that the alert is queued.
    std::u16string showUntilShown(const std::u16string& id) {
        const auto instance = showAnd(titled(id), u"Queued");
        EXPECT_EQ(viewer->waitForShow(), instance);
        asked.push_back(Ferrow::toUtf8(instance + u" " + viewer->payloadOf(instance)));
        viewer->answerHeld();
        EXPECT_TRUE(seen(outcome(id, u"Shown", instance)));
        EXPECT_TRUE(told(Ferrow::toUtf8(id)));
        return instance;
    }
    bool logged(const std::string& text) const { return comes(&Transcript::logLines, text + "\n"); }
    // Whether an event about that alert has been sent.
    bool told(const std::string& id) const {
        return comes(&Transcript::eventLines, "\"Hit.GUID\":\"" + id + "\"");
    }
    bool comes(std::vector<std::string> (Transcript::*lines)() const, const std::string& text) const {
        for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
             std::chrono::steady_clock::now() < end;
             std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
            const auto now = (this->*lines)();
            if (std::any_of(now.begin(), now.end(),
                            [&](const std::string& line) { return (line + "\n").find(text) != line.npos; }))
                return true;
        }
        return false;
    }
    std::vector<std::string> eventLines() const { return linesOf(folder.data() / "events.jsonl"); }
    std::vector<std::string> logLines() const {
        std::vector<std::string> all;
        for (const auto& file : std::filesystem::recursive_directory_iterator(logs())) {
            if (file.path().extension() != ".log")
                continue;
            const auto part = linesOf(file);
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    std::vector<std::string> lines() {
        std::vector<std::string> all;
        const auto section = [&all](const char* name, const std::vector<std::string>& part) {
            all.push_back(name);
            all.insert(all.end(), part.begin(), part.end());
        };
        std::vector<std::string> bus;
        for (const auto& message : log->all()) {
            if (message.sender != u"Peer")
                bus.push_back(normalized(
                    Ferrow::toUtf8(message.name + u" from " + message.sender + u" " + message.payload)));
        }
        section("== bus", bus);
        section("== viewer", asked);
        section("== log", logLines());
        section("== telemetry", eventLines());
        return all;
    }

    std::vector<std::string> asked;
};

TEST_F(Transcript, IsTheSameOnEverySystem) {
    EXPECT_TRUE(seen(u"Brevant.Viewer.v.Registered"));
    const auto first = showUntilShown(u"first");
    viewer->dismiss(first);
    EXPECT_TRUE(seen(outcome(u"first", u"Dismissed", first)));

    const auto suppressed = showAnd(titled(u"!suppress"), u"Suppressed");
    EXPECT_TRUE(logged("Alert id: !suppress, Instance: 2.") && told("!suppress"));
    AlertText alert = titled(u"for nobody");
    alert.viewer = u"nobody";
    showAnd(alert, u"Suppressed");
    EXPECT_TRUE(logged("Alert id: for nobody, Instance: 3.") && told("for nobody"));

    // These wait behind the alert on screen.
    const auto shown = showUntilShown(u"on screen");
    const auto failing = showAnd(titled(u"!no content"), u"Queued");
    deleteAlert(suppressed);
    EXPECT_TRUE(seen(u"Brevant.Alert..NotFound." + suppressed));
    // The queue is searched by alert id, with the instance id as the key.
    EXPECT_EQ(showAnd(titled(u"6"), u"Queued"), u"6");
    deleteAlert(u"6");
    EXPECT_TRUE(seen(u"Brevant.Alert..Deleted.6"));
    EXPECT_TRUE(logged("Alert instance 6 deleted."));
    viewer->dismiss(shown);
    EXPECT_TRUE(seen(outcome(u"on screen", u"Dismissed", shown)));
    EXPECT_TRUE(seen(outcome(u"!no content", u"Failed", failing)));
    EXPECT_TRUE(logged("Failed to show alert.") && told("!no content"));

    settings->remove(u"Brevant/Product/p");
    EXPECT_TRUE(logged("Changing state of plugin for p to INVALIDATED."));
    settings->remove(u"Brevant/Viewer/v");
    EXPECT_TRUE(seen(u"Brevant.Viewer.v.Unregistered"));
    EXPECT_TRUE(logged("Viewer unregistered: v"));
    module->stop();
    module->uninitialize();
    module.reset();

    const std::vector<std::string> found = lines();
    std::ofstream copy("transcript.txt", std::ios::binary);
    for (const std::string& line : found)
        copy << line << '\n';
    const std::vector<std::string> expected = linesOf(ROAD_TRANSCRIPT);
    for (size_t at = 0; at < std::max(found.size(), expected.size()); ++at) {
        ASSERT_LT(at, found.size()) << "missing: " << expected[at];
        ASSERT_LT(at, expected.size()) << "more than expected: " << found[at];
        EXPECT_EQ(found[at], expected[at]) << "line " << at + 1;
    }
}

}  // namespace
}  // namespace Road
