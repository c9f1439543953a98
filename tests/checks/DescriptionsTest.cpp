#include <fstream>
#include <sstream>

#include "alerts/description/AlertContext.h"
#include "host/program/checks/AlertCheck.h"
#include "json/JSONFormatter.h"
#include "module/BrevantFixture.h"

namespace Support {
namespace {

// descriptions.txt says what it holds.
struct Row {
    std::string what, broker, findings, text;
};

std::vector<Row> readTable() {
    std::ifstream file(CHECKS_TABLE, std::ios::binary);
    std::vector<Row> rows;
    const auto after = [](const std::string& line, size_t length) { return line.substr(length); };
    bool inText = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("== ")) {
            rows.push_back({after(line, 3), {}, {}, {}});
            inText = false;
        } else if (inText) {
            rows.back().text += (rows.back().text.empty() ? "" : "\n") + line;
        } else if (line.starts_with("broker ")) {
            rows.back().broker = after(line, 7);
        } else if (line.starts_with("checker")) {
            rows.back().findings = after(line, 7);
            inText = true;
        }
    }
    return rows;
}

class DescriptionsTest : public BrevantFixture {
protected:
    // What the module takes it answers with Suppressed, and shows nothing.
    DescriptionsTest() { plugins->suppress = 1; }

    // What the broker makes of it, under the instance id that "brevant show" puts in.
    std::string verdictOf(const std::string& text) {
        std::u16string payload = Ferrow::toUtf16(text);
        Tavix::JSONFormatter document;
        if (std::u16string instance;
            document.parse(payload) &&
            (!document.view().find(u"instanceId") || document.getString(u"instanceId", instance))) {
            document.setString(u"instanceId", u"1");
            payload = document.toString();
        }
        if (request(u"Show.1", payload) != MODULE_STATUS_SUCCESS)
            return "refused";
        Vok::AlertInfo info;
        Vok::AlertContext context;
        EXPECT_TRUE(info.fromJson(payload));
        const bool whole = context.fromJson(info.context);
        const std::u16string outcome = Brevant::alertMessage(info.id, BREVANT_ALERT_DISMISSED, u"1");
        Vok::Alert alert(std::move(info), bus.makeClient());
        canBeDuplicate = alert.isDuplicateOf(alert);
        alert.setViewer(viewer);
        EXPECT_TRUE(alert.show());
        bus.deliver(outcome, u"");
        return !alert.waitForOutcome(0) ? "unseen" : whole ? "taken" : "part";
    }

    bool canBeDuplicate = true;  // the last one that was taken
};

TEST_F(DescriptionsTest, CheckerAndBrokerSayOfEachWhatTheTableSays) {
    const std::vector<Row> rows = readTable();
    EXPECT_GE(rows.size(), 60u);
    std::set<Host::AlertRule> broken;
    for (const Row& row : rows) {
        std::ostringstream said;
        bool error = false, duplicatesOff = false;
        for (const Host::Finding& finding : Host::checkAlert(row.text)) {
            said << (said.tellp() == 0 ? " " : ", ") << finding.place.line << ':' << finding.place.column
                 << ' ' << Ferrow::toUtf8(finding.text().number) << ' ' << Ferrow::toUtf8(finding.pointer);
            error |= finding.text().level == Host::Level::error;
            duplicatesOff |= finding.rule == Host::AlertRule::duplicatesOff;
            broken.insert(finding.rule);
        }
        const std::string verdict = verdictOf(row.text);
        EXPECT_EQ(said.str(), row.findings) << row.what;
        EXPECT_TRUE(verdict == "refused" || duplicatesOff != canBeDuplicate) << row.what;
        EXPECT_EQ(verdict, row.broker.substr(0, row.broker.find(':'))) << row.what;
        const bool fails = verdict == "refused" || verdict == "unseen";
        EXPECT_EQ(error == fails, row.broker.find(':') == std::string::npos) << row.what;
    }
    // What is below is of bytes, not of texts.
    using Rule = Host::AlertRule;
    broken.insert({Rule::fileSize, Rule::encoding, Rule::moreProblems});
    EXPECT_EQ(broken.size(), Host::alertRules().size());
}

TEST_F(DescriptionsTest, FilesThatAreNoTextAreToldByTheirFirstFault) {
    using Rule = Host::AlertRule;
    struct {
        std::string bytes;
        Rule rule;
        size_t line, column;
    } const cases[] = {
        {std::string((4 << 20) + 1, ' '), Rule::fileSize, 1, 1},
        {"\xEF\xBB\xBF{\n \"\xC3\xA4\xF0\x9F\x98\x80\xC3\":1}", Rule::encoding, 2, 6},
        {"{\"a\":\xC3\n}", Rule::encoding, 1, 6},
        {std::string("{}\0", 3), Rule::syntax, 1, 3},
    };
    for (const auto& [bytes, rule, line, column] : cases) {
        const std::vector<Host::Finding> findings = Host::checkAlert(bytes);
        ASSERT_EQ(findings.size(), 1u);
        EXPECT_EQ(findings[0].rule, rule);
        EXPECT_EQ(findings[0].place.line, line);
        EXPECT_EQ(findings[0].place.column, column);
    }

    // Many faults make no long list, and many members of a viewer's own hide none.
    std::string actions = "{}", own;
    for (size_t i = 0; i < 100000; ++i) {
        actions += ",{}";
        own += "\"own" + std::to_string(i % 1000) + "\":1,";
    }
    const std::string head = R"({"id":"a","context":{"title":"t",)";
    const auto count = [](const std::vector<Host::Finding>& findings, Rule rule) {
        return std::ranges::count(findings, rule, &Host::Finding::rule);
    };
    const std::vector<Host::Finding> faulty = Host::checkAlert(head + "\"actions\":[" + actions + "]}}");
    EXPECT_EQ(faulty.size(), 202u);
    EXPECT_EQ(count(faulty, Rule::moreProblems), 1);
    const std::vector<Host::Finding> crowded =
        Host::checkAlert(head + own.substr(0, own.find("own999")) + "\":1,\"width\":-1}}");
    EXPECT_EQ(count(crowded, Rule::contextKind), 1);
    EXPECT_EQ(count(crowded, Rule::moreProblems), 0);
}

}  // namespace
}  // namespace Support
