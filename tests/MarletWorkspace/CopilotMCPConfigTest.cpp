#include "MarletWorkspace/CopilotMCPConfig.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

const std::string endpoint = "http://127.0.0.1:8421/mcp";

constexpr const char* newFile = R"({
  "mcpServers": {
    "marlet": {
      "headers": {
        "Authorization": "Bearer t0k"
      },
      "tools": [
        "*"
      ],
      "type": "http",
      "url": "http://127.0.0.1:8421/mcp"
    }
  }
}
)";

std::string updated(std::string_view data) {
    return CopilotMCPConfig::updated(data, endpoint, "t0k");
}

// The file with this in front of the servers.
std::string withMember(const std::string& lines) {
    std::string file = newFile;
    return file.insert(2, lines + ",\n");
}

std::string failure(std::string_view data) {
    try {
        return "made " + updated(data);
    } catch (const CopilotConfigError& error) {
        return error.errorDescription();
    }
}

constexpr const char* unreadable =
    "~/.copilot/mcp-config.json isn't valid JSON, so Marlet left it alone. Fix or remove it, then try again.";

TEST(CopilotMCPConfigTest, aNewFileHoldsTheOneEntry) {
    EXPECT_STREQ(CopilotMCPConfig::serverName, "marlet");
    EXPECT_EQ(updated(""), newFile);
    EXPECT_EQ(updated("{}"), newFile);
    EXPECT_EQ(updated(R"({"mcpServers":{}})"), newFile);
}

TEST(CopilotMCPConfigTest, aFileOfBlanksIsTreatedAsNew) {
    EXPECT_EQ(updated("\n"), newFile);
    EXPECT_EQ(updated(" \t\r\n "), newFile);
}

TEST(CopilotMCPConfigTest, blanksOfOtherKindsAreNoFile) {
    EXPECT_EQ(failure("\f"), unreadable);
    EXPECT_EQ(failure("\v\n"), unreadable);
    EXPECT_EQ(failure("\u00A0"), unreadable);
    EXPECT_EQ(failure(std::string_view("\0", 1)), unreadable);
}

TEST(CopilotMCPConfigTest, anotherServerAndUnknownKeysStay) {
    EXPECT_EQ(updated(R"({"theme":"dark","mcpServers":{"other":{"type":"local","args":["-y"],"env":{}}},"beta":[]})"),
              R"({
  "beta": [],
  "mcpServers": {
    "marlet": {
      "headers": {
        "Authorization": "Bearer t0k"
      },
      "tools": [
        "*"
      ],
      "type": "http",
      "url": "http://127.0.0.1:8421/mcp"
    },
    "other": {
      "args": [
        "-y"
      ],
      "env": {},
      "type": "local"
    }
  },
  "theme": "dark"
}
)");
}

TEST(CopilotMCPConfigTest, anOldEntryIsReplacedWhole) {
    EXPECT_EQ(updated(R"({"mcpServers":{"marlet":{"type":"sse","url":"http://old/","env":{"A":"b"},"timeout":5}}})"),
              newFile);
    EXPECT_EQ(updated(R"({"mcpServers":{"marlet":"off"}})"), newFile);
}

TEST(CopilotMCPConfigTest, updatingTwiceChangesNothingMore) {
    EXPECT_EQ(updated(updated(R"({"a":{"z":1,"b":[1,{"y":2,"x":3}]}})")),
              updated(R"({"a":{"b":[1,{"x":3,"y":2}],"z":1}})"));
}

TEST(CopilotMCPConfigTest, numbersKeepTheirText) {
    EXPECT_EQ(updated(R"({"a":[1.10,1E+2,-0.0,12345678901234567890123,0.1000000000000000055511151231257827,1e30]})"),
              withMember(R"(  "a": [
    1.10,
    1E+2,
    -0.0,
    12345678901234567890123,
    0.1000000000000000055511151231257827,
    1e30
  ])"));
}

TEST(CopilotMCPConfigTest, aNumberBeyondEveryDoubleKeepsItsText) {
    EXPECT_EQ(updated(R"({"a":1e400,"b":-1E+99999})"), withMember("  \"a\": 1e400,\n  \"b\": -1E+99999"));
}

TEST(CopilotMCPConfigTest, stringsKeepTheirText) {
    EXPECT_EQ(updated(R"({"a":"\u00e4\/\"}{][,:\\"})"), withMember(R"(  "a": "\u00e4\/\"}{][,:\\")"));
    EXPECT_EQ(updated("{\"a\":\"/\u00E4\U0001F331\"}"), withMember("  \"a\": \"/\u00E4\U0001F331\""));
}

TEST(CopilotMCPConfigTest, ofAKeyThatStandsTwiceTheLastCounts) {
    EXPECT_EQ(updated(R"({"mcpServers":7,"mcpServers":{"marlet":1,"marlet":2}})"), newFile);
    EXPECT_EQ(failure(R"({"mcpServers":{},"mcpServers":7})"), unreadable);
    EXPECT_EQ(updated(R"({"b":1,"a":2,"a":1})"), withMember("  \"a\": 2,\n  \"a\": 1,\n  \"b\": 1"));
}

TEST(CopilotMCPConfigTest, keysAreFoundHoweverTheyAreEscaped) {
    EXPECT_EQ(updated(R"({"mcp\u0053ervers":{"m\u0061rlet":{}}})"), newFile);
}

TEST(CopilotMCPConfigTest, aMarkOfTheEncodingIsPassedOver) {
    EXPECT_EQ(updated("\xEF\xBB\xBF{}"), newFile);
    EXPECT_EQ(failure("\xEF\xBB\xBF"), unreadable);
}

TEST(CopilotMCPConfigTest, whatIsNotAnObjectIsUnreadable) {
    for (std::string_view data : {"[]", "null", "7", "\"{}\"", "true"}) {
        EXPECT_EQ(failure(data), unreadable) << data;
    }
}

TEST(CopilotMCPConfigTest, whatIsNotJSONIsUnreadable) {
    for (std::string_view data :
         {"{", "{} {}", "{\"a\":1,}", "{a:1}", "// servers\n{}", "{\"a\":1 /* one */}", "{\"a\":'b'}", "{\"a\":01}",
          "{\"a\":NaN}", "{\"a\":\"\xFF\"}", "{\"a\":\"\n\"}", "{\"a\":\"\\x\"}", "<plist/>"}) {
        EXPECT_EQ(failure(data), unreadable) << data;
    }
}

TEST(CopilotMCPConfigTest, serversThatAreNoObjectAreUnreadable) {
    for (std::string_view data : {R"({"mcpServers":[]})", R"({"mcpServers":null})", R"({"mcpServers":"marlet"})"}) {
        EXPECT_EQ(failure(data), unreadable) << data;
    }
}

TEST(CopilotMCPConfigTest, deepNestingIsKeptAndEndlessNestingIsUnreadable) {
    std::string nested = std::string(100, '[') + std::string(100, ']');
    EXPECT_NE(updated("{\"a\":" + nested + "}").find("[]"), std::string::npos);

    std::string endless = std::string(100'000, '[') + std::string(100'000, ']');
    EXPECT_EQ(failure("{\"a\":" + endless + "}"), unreadable);
    EXPECT_EQ(failure("{\"mcpServers\":" + std::string(1'000'000, '[')), unreadable);
}

TEST(CopilotMCPConfigTest, anEndpointOrTokenCannotBreakOut) {
    std::string file = CopilotMCPConfig::updated("", "http://h/\"\\", "a\"},\n{");

    EXPECT_NE(file.find(R"("url": "http://h/\"\\")"), std::string::npos) << file;
    EXPECT_NE(file.find(R"("Authorization": "Bearer a\"},\n{")"), std::string::npos) << file;
}

}  // namespace
}  // namespace marlet
