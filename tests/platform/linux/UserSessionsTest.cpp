#include <cstdlib>
#include <gtest/gtest.h>

#include "platform/Process.h"
#include "platform/UserSessions.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

class UserSessionFiles : public testing::Test {
protected:
    Support::PlatformFolder folder;
    std::vector<UserSession> sessions;
};

TEST_F(UserSessionFiles, ListTheSessionsInTheirOrderAndMissingMeansOneActiveOne) {
    ASSERT_TRUE(enumerateUserSessions(sessions));
    ASSERT_EQ(sessions.size(), 1u);
    EXPECT_EQ(sessions[0].id, 1u);
    EXPECT_EQ(sessions[0].state, UserSessionState::active);
    folder.writeSessions(
        "# id state\n7 disconnected\r\n\n  2\tidle # nobody\n4294967295 connected\n3 active");
    ASSERT_TRUE(enumerateUserSessions(sessions));
    ASSERT_EQ(sessions.size(), 4u);
    EXPECT_EQ(sessions[0].id, 7u);
    EXPECT_EQ(sessions[0].state, UserSessionState::disconnected);
    EXPECT_EQ(sessions[1].state, UserSessionState::idle);
    EXPECT_EQ(sessions[2].id, 4294967295u);
    EXPECT_EQ(sessions[3].state, UserSessionState::active);
    EXPECT_EQ(activeConsoleSessionId(), 3u);
    folder.writeSessions("");
    ASSERT_TRUE(enumerateUserSessions(sessions));
    EXPECT_TRUE(sessions.empty());
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
