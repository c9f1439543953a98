// One scenario whose every trace (bus, viewer, log, telemetry) is compared with transcript.txt, on each
// system: what both say the same as the file they say the same as each other.
#include <regex>

#include <brevant/event_sink.h>

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
    std::string folder = Ferrow::toUtf8(beside(u""));
    folder.pop_back();
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
        folder.registerComponent(BREVANT_EVENT_SINK_CLASS_ID_TEXT, beside(ROAD_EVENT_SINK_FILE));
        // Every level, with the names of the functions.
        std::filesystem::create_directories(logs());
        std::ofstream(logs() / "log.ini") << "[Config]\nSeverity=0\nOptions=32\n";
        RoadTest::SetUp();
        viewer->manner = Viewer::Manner::isSilent;
    }

    std::filesystem::path logs() const { return folder.data() / "Corvane" / "CVLOGS"; }

    // Each step waits for its last trace, so that traces of several threads come in one order.
    // The viewer answers only once the broker has said that the alert is queued.
    std::u16string showUntilShown(const std::u16string& id) {
        const auto instance = showAndExpect(titled(id), u"Queued");
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
    bool comes(std::vector<std::string> (Transcript::*read)() const, const std::string& text) const {
        return Support::eventually([&] {
            return std::ranges::any_of((this->*read)(), [&](const std::string& line) {
                return (line + "\n").find(text) != line.npos;
            });
        });
    }
    std::vector<std::string> eventLines() const { return linesOf(folder.data() / "events.jsonl"); }
    std::vector<std::string> logLines() const {
        std::vector<std::string> all;
        for (const auto& file : std::filesystem::recursive_directory_iterator(logs())) {
            if (file.path().extension() == ".log")
                std::ranges::move(linesOf(file), std::back_inserter(all));
        }
        return all;
    }

    std::vector<std::string> transcript() {
        std::vector<std::string> all{"== bus"};
        for (const auto& message : log->all()) {
            if (message.sender != u"Peer")
                all.push_back(normalized(
                    Ferrow::toUtf8(message.name + u" from " + message.sender + u" " + message.payload)));
        }
        for (const auto& [name, part] :
             std::initializer_list<std::pair<const char*, std::vector<std::string>>>{
                 {"== viewer", asked}, {"== log", logLines()}, {"== telemetry", eventLines()}}) {
            all.push_back(name);
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    std::vector<std::string> asked;
};

TEST_F(Transcript, IsTheSameOnEverySystem) {
    EXPECT_TRUE(seen(u"Brevant.Viewer.v.Registered"));
    const auto first = showUntilShown(u"first");
    viewer->dismiss(first);
    EXPECT_TRUE(seen(outcome(u"first", u"Dismissed", first)));

    const auto suppressed = showAndExpect(titled(u"!suppress"), u"Suppressed");
    EXPECT_TRUE(logged("Alert id: !suppress, Instance: 2."));
    EXPECT_TRUE(told("!suppress"));
    AlertText alert = titled(u"for nobody");
    alert.viewer = u"nobody";
    showAndExpect(alert, u"Suppressed");
    EXPECT_TRUE(logged("Alert id: for nobody, Instance: 3."));
    EXPECT_TRUE(told("for nobody"));

    // These wait behind the alert on screen.
    const auto shown = showUntilShown(u"on screen");
    const auto failing = showAndExpect(titled(u"!no content"), u"Queued");
    deleteAlert(suppressed);
    EXPECT_TRUE(seen(u"Brevant.Alert..NotFound." + suppressed));
    // The queue is searched by alert id, with the instance id as the key.
    EXPECT_EQ(showAndExpect(titled(u"6"), u"Queued"), u"6");
    deleteAlert(u"6");
    EXPECT_TRUE(seen(u"Brevant.Alert..Deleted.6"));
    EXPECT_TRUE(logged("Alert instance 6 deleted."));
    viewer->dismiss(shown);
    EXPECT_TRUE(seen(outcome(u"on screen", u"Dismissed", shown)));
    EXPECT_TRUE(seen(outcome(u"!no content", u"Failed", failing)));
    EXPECT_TRUE(logged("Failed to show alert."));
    EXPECT_TRUE(told("!no content"));

    settings->remove(u"Brevant/Product/p");
    EXPECT_TRUE(logged("Changing state of plugin for p to INVALIDATED."));
    settings->remove(u"Brevant/Viewer/v");
    EXPECT_TRUE(seen(u"Brevant.Viewer.v.Unregistered"));
    EXPECT_TRUE(logged("Viewer unregistered: v"));
    module->stop();
    module.reset();

    const std::vector<std::string> found = transcript();
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
