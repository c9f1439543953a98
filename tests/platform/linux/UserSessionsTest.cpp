#include <cstdlib>
#include <gtest/gtest.h>

#include "platform/Process.h"
#include "platform/UserSessions.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

class UserSessionFiles : public testing::Test {
protected:
    using Sessions = std::vector<std::pair<uint32_t, UserSessionState>>;
    Sessions listed() {
        EXPECT_TRUE(enumerateUserSessions(sessions));
        Sessions all;
        for (const UserSession& session : sessions)
            all.emplace_back(session.id, session.state);
        return all;
    }
    Support::PlatformFolder folder;
    std::vector<UserSession> sessions;
};

TEST_F(UserSessionFiles, ListTheSessionsInTheirOrderAndMissingMeansOneActiveOne) {
    EXPECT_EQ(listed(), (Sessions{{1, UserSessionState::active}}));
    folder.writeSessions(
        "# id state\n7 disconnected\r\n\n  2\tidle # nobody\n4294967295 connected\n3 active");
    EXPECT_EQ(listed(), (Sessions{{7, UserSessionState::disconnected},
                                  {2, UserSessionState::idle},
                                  {4294967295u, UserSessionState::connected},
                                  {3, UserSessionState::active}}));
    EXPECT_EQ(activeConsoleSessionId(), 3u);
    folder.writeSessions("");
    EXPECT_EQ(listed(), Sessions{});
    EXPECT_EQ(activeConsoleSessionId(), 0xFFFFFFFFu);
}

TEST_F(UserSessionFiles, FailWholeOnALineThatDoesNotParse) {
    for (const char* wrong :
         {"1", "active 1", "-1 active", "4294967296 active", "1 Active", "1 active x", "1active"}) {
        folder.writeSessions(std::string("2 active\n") + wrong + "\n");
        EXPECT_FALSE(enumerateUserSessions(sessions)) << wrong;
        EXPECT_EQ(lastError(), 13u);
        EXPECT_TRUE(sessions.empty());
    }
}

TEST_F(UserSessionFiles, TheProcessTakesItsSessionFromTheEnvironment) {
    uint32_t session = 99;
    unsetenv("BREVANT_SESSION_ID");
    EXPECT_TRUE(processIdToSessionId(currentProcessId(), session));
    EXPECT_EQ(session, 0u);
    setenv("BREVANT_SESSION_ID", "5", 1);
    EXPECT_TRUE(processIdToSessionId(currentProcessId(), session));
    EXPECT_EQ(session, 5u);
    EXPECT_FALSE(processIdToSessionId(currentProcessId() + 1, session));
    setenv("BREVANT_SESSION_ID", "5x", 1);
    EXPECT_FALSE(processIdToSessionId(currentProcessId(), session));
    EXPECT_EQ(lastError(), 13u);
    unsetenv("BREVANT_SESSION_ID");
}

}  // namespace
