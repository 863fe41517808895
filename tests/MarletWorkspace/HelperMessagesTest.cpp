#include "MarletWorkspace/HelperMessages.h"

#include <gtest/gtest.h>

#include <boost/container_hash/hash.hpp>
#include <set>
#include <unordered_set>

#include "HelperMessageShapes.h"

namespace marlet {
namespace {

const std::string tools = R"({"git":"automatic","gitPath":"","claudePath":""})";

std::string requestRefusal(const std::string& line) {
    return refusal<HelperRequest>(line);
}

const std::string wrongKeys = "The data can't be read: Invalid number of keys found, expected one.";

TEST(HelperMessagesTest, everyRequestIsWrittenToTheByte) {
    for (const auto& shape : requestShapes()) {
        EXPECT_EQ(shape.message.line(), shape.line);
    }
}

TEST(HelperMessagesTest, everyRequestIsRead) {
    std::set<size_t> cases;
    for (const auto& shape : requestShapes()) {
        EXPECT_EQ(HelperRequest::parse(shape.line), shape.message) << shape.line;
        cases.insert(shape.message.value.index());
    }
    EXPECT_EQ(cases.size(), std::variant_size_v<decltype(HelperRequest::value)>);
}

TEST(HelperMessagesTest, everyReplyIsWrittenToTheByte) {
    for (const auto& shape : replyShapes()) {
        EXPECT_EQ(shape.message.line(), shape.line);
    }
}

TEST(HelperMessagesTest, everyReplyIsRead) {
    std::set<size_t> cases;
    for (const auto& shape : replyShapes()) {
        EXPECT_EQ(HelperReply::parse(shape.line), shape.message) << shape.line;
        cases.insert(shape.message.value.index());
    }
    EXPECT_EQ(cases.size(), std::variant_size_v<decltype(HelperReply::value)>);
}

TEST(HelperMessagesTest, aResultWithoutABranchHasNoKeyForIt) {
    EXPECT_EQ((HelperReply{HelperReply::Checkout{{"/tmp/a", false, std::nullopt}}}.line()),
              R"({"checkout":{"_0":{"path":"/tmp/a","cloned":false}}})");
}

TEST(HelperMessagesTest, aReportOfAMachineWithoutToolsHasNothingButItsErrors) {
    ToolReport report;
    report.gitError = "No git.";
    report.claudeError = "No claude.";
    EXPECT_EQ(HelperReply{HelperReply::Tools{report}}.line(),
              R"({"tools":{"_0":{"gitError":"No git.","claudeError":"No claude."}}})");
    report.developerDirectory = "/Library/Developer";
    EXPECT_EQ(HelperReply{HelperReply::Tools{report}}.line(),
              R"({"tools":{"_0":{"gitError":"No git.","claudeError":"No claude.",)"
              R"("developerDirectory":"/Library/Developer"}}})");
}

TEST(HelperMessagesTest, aReplyIsNoRequest) {
    EXPECT_EQ(requestRefusal(R"({"done":{}})"), wrongKeys);
    EXPECT_EQ(refusal<HelperReply>(R"({"installCommandLineTools":{}})"), wrongKeys);
}

TEST(HelperMessagesTest, anObjectWithoutKeysIsNoMessage) {
    EXPECT_EQ(requestRefusal("{}"), wrongKeys);
    EXPECT_EQ(refusal<HelperReply>("{}"), wrongKeys);
}

TEST(HelperMessagesTest, twoCasesAreNoMessage) {
    EXPECT_EQ(requestRefusal(R"({"locateTools":{"_0":)" + tools + R"(},"openInCopilot":{"path":"x"}})"), wrongKeys);
    EXPECT_EQ(requestRefusal(R"({"openInCopilot":{"path":"x"},"installCommandLineTools":null})"), wrongKeys);
    EXPECT_EQ(refusal<HelperReply>(R"({"done":{},"failure":{"_0":"x"}})"), wrongKeys);
}

TEST(HelperMessagesTest, theSameCaseTwiceIsNoMessage) {
    EXPECT_EQ(requestRefusal(R"({"openInCopilot":{"path":"x"},"openInCopilot":{"path":"x"}})"), wrongKeys);
    EXPECT_EQ(requestRefusal(R"({"openInCopilot":{"path":"x"},"openInC\u006fpilot":{"path":"y"}})"), wrongKeys);
}

TEST(HelperMessagesTest, unknownKeysArePassedOverAndNotCounted) {
    HelperRequest open{HelperRequest::OpenInCopilot{"x"}};
    EXPECT_EQ(HelperRequest::parse(R"({"future":1,"openInCopilot":{"path":"x","mode":[]},"done":{}})"), open);
    EXPECT_EQ(HelperRequest::parse(R"({"installCommandLineTools":{"now":true}})"),
              HelperRequest{HelperRequest::InstallCommandLineTools{}});
    EXPECT_EQ(
        HelperRequest::parse(
            R"({"locateTools":{"_1":0,"_0":{"git":"apple","gitPath":"","claudePath":"","hgPath":"/usr/bin/hg"}}})"),
        (HelperRequest{HelperRequest::LocateTools{{GitChoice::apple, "", ""}}}));
    EXPECT_EQ(requestRefusal(R"({"future":{}})"), wrongKeys);
}

TEST(HelperMessagesTest, keysComeInAnyOrder) {
    EXPECT_EQ(HelperRequest::parse(R"( { "registerCopilotMCP" : { "token" : "t" , "endpoint" : "e" } } )"),
              (HelperRequest{HelperRequest::RegisterCopilotMCP{"e", "t"}}));
}

TEST(HelperMessagesTest, namesAreReadWithTheirCase) {
    EXPECT_EQ(requestRefusal(R"({"OpenInCopilot":{"path":"x"}})"), wrongKeys);
    EXPECT_EQ(requestRefusal(R"({"openInCopilot":{"Path":"x"}})"),
              "The data can't be read: \"openInCopilot.path\" is missing.");
}

TEST(HelperMessagesTest, nullReadsAsAbsentWhereAFieldIsOptional) {
    EXPECT_EQ(HelperReply::parse(R"({"checkout":{"_0":{"path":"/","cloned":true,"branch":null}}})"),
              (HelperReply{HelperReply::Checkout{{"/", true, std::nullopt}}}));
    EXPECT_EQ(HelperReply::parse(R"({"tools":{"_0":{"git":null,"gitError":"x"}}})").line(),
              R"({"tools":{"_0":{"gitError":"x"}}})");
    EXPECT_EQ(requestRefusal(R"({"openInCopilot":{"path":null}})"),
              "The data can't be read: \"openInCopilot.path\" isn't a text.");
}

TEST(HelperMessagesTest, aPayloadIsAlwaysAnObject) {
    for (const char* value : {"null", "true", "1", "\"x\"", "[]", "[{}]"}) {
        EXPECT_EQ(requestRefusal(std::string(R"({"installCommandLineTools":)") + value + "}"),
                  "The data can't be read: \"installCommandLineTools\" isn't an object.");
        EXPECT_EQ(refusal<HelperReply>(std::string(R"({"done":)") + value + "}"),
                  "The data can't be read: \"done\" isn't an object.");
    }
}

TEST(HelperMessagesTest, whatIsNoObjectIsNoMessage) {
    for (const char* line : {"null", "[]", "\"done\"", "7", R"([{"done":{}}])"}) {
        EXPECT_EQ(refusal<HelperReply>(line), "The data can't be read: it isn't an object.");
    }
    for (const char* line : {"", " ", "done", "{", R"({"done":{}}})", R"({"done":{}} {"done":{}})", R"({'done':{}})",
                             R"({"done":{},})", "\xEF\xBB\xBF{\"done\":{}}"}) {
        EXPECT_TRUE(refusal<HelperReply>(line).starts_with("The data can't be read: it isn't JSON (")) << line;
    }
}

TEST(HelperMessagesTest, textThatIsNotUTF8IsNoMessage) {
    EXPECT_TRUE(requestRefusal("{\"openInCopilot\":{\"path\":\"\xFF\"}}").starts_with("The data can't be read: it "));
}

TEST(HelperMessagesTest, aWrongKindIsToldWithItsPlace) {
    auto inTools = [](const std::string& text) { return requestRefusal(R"({"locateTools":{"_0":)" + text + "}}"); };
    EXPECT_EQ(inTools("\"x\""), "The data can't be read: \"locateTools._0\" isn't an object.");
    EXPECT_EQ(inTools(R"({"git":"svn","gitPath":"","claudePath":""})"),
              "The data can't be read: \"locateTools._0.git\" has the unknown value \"svn\".");
    EXPECT_EQ(inTools(R"({"git":0,"gitPath":"","claudePath":""})"),
              "The data can't be read: \"locateTools._0.git\" isn't a text.");
    auto inRepository = [](const std::string& port) {
        return requestRefusal(R"({"inspectCheckout":{"path":"","repository":{"host":"h","port":)" + port +
                              R"(,"owner":"o","name":"n"},"tools":)" + tools + "}}");
    };
    EXPECT_EQ(inRepository("22"), "(none)");
    for (const char* port : {"\"22\"", "22.5", "1e300", "18446744073709551615", "[]"}) {
        EXPECT_EQ(inRepository(port),
                  "The data can't be read: \"inspectCheckout.repository.port\" isn't a whole number.");
    }
    EXPECT_EQ(refusal<HelperReply>(R"({"checkout":{"_0":{"path":"/","cloned":1}}})"),
              "The data can't be read: \"checkout._0.cloned\" isn't true or false.");
    EXPECT_EQ(requestRefusal(R"({"prepareCheckout":{"_0":{"root":"","relativePath":["a",1]}}})"),
              "The data can't be read: \"prepareCheckout._0.relativePath.1\" isn't a text.");
    EXPECT_EQ(refusal<HelperReply>(R"({"tools":{"_0":{"git":{"path":"/git","variant":"own"}}}})"),
              "The data can't be read: \"tools._0.git.variant\" has the unknown value \"own\".");
}

TEST(HelperMessagesTest, aPathThatIsNotTextStillMakesALineThatCanBeRead) {
    HelperReply reply{HelperReply::Checkout{{"/tmp/\xFFgarten", false, std::nullopt}}};
    EXPECT_EQ(reply.line(), "{\"checkout\":{\"_0\":{\"path\":\"/tmp/\xEF\xBF\xBDgarten\",\"cloned\":false}}}");
    EXPECT_NO_THROW(HelperReply::parse(reply.line()));
}

TEST(HelperMessagesTest, messagesThatDifferHaveHashesThatDiffer) {
    std::set<size_t> hashes;
    std::unordered_set<HelperRequest> requests;
    for (const auto& shape : requestShapes()) {
        EXPECT_EQ(boost::hash<HelperRequest>()(shape.message), hash_value(HelperRequest::parse(shape.line)));
        EXPECT_TRUE(hashes.insert(hash_value(shape.message)).second);
        EXPECT_TRUE(requests.insert(shape.message).second);
        EXPECT_FALSE(requests.insert(HelperRequest::parse(shape.line)).second);
    }
    std::unordered_set<HelperReply> replies;
    for (const auto& shape : replyShapes()) {
        EXPECT_TRUE(hashes.insert(hash_value(shape.message)).second);
        EXPECT_TRUE(replies.insert(shape.message).second);
        EXPECT_FALSE(replies.insert(HelperReply::parse(shape.line)).second);
    }
}

template <class Record>
size_t hashOf(const Record& record) {
    return boost::hash<Record>()(record);
}

TEST(HelperMessagesTest, recordsAreHashedFieldByField) {
    ToolSettings settings{GitChoice::custom, "a", "b"};
    EXPECT_EQ(hashOf(settings), hashOf(ToolSettings{GitChoice::custom, "a", "b"}));
    EXPECT_NE(hashOf(settings), hashOf(ToolSettings{GitChoice::apple, "a", "b"}));
    EXPECT_NE(hashOf(settings), hashOf(ToolSettings{GitChoice::custom, "b", "a"}));
    CheckoutResult result{"/", true, std::nullopt};
    EXPECT_NE(hashOf(result), hashOf(CheckoutResult{"/", true, "main"}));
    EXPECT_NE(hashOf(result), hashOf(CheckoutResult{"/", false, std::nullopt}));
    CheckoutRequest checkout;
    CheckoutRequest otherPath;
    otherPath.relativePath = {"a"};
    EXPECT_NE(hashOf(checkout), hashOf(otherPath));
    CheckoutRequest otherPort;
    otherPort.repository.port = 2222;
    EXPECT_NE(hashOf(checkout), hashOf(otherPort));
    EXPECT_NE(hashOf(LocatedTool{"/", LocatedTool::Variant::found}),
              hashOf(LocatedTool{"/", LocatedTool::Variant::apple}));
    EXPECT_NE(hashOf(MCPRegistration{"f", "e", "t", settings}), hashOf(MCPRegistration{"f", "t", "e", settings}));
    EXPECT_EQ(hashOf(WorktreeRequest{}), hashOf(WorktreeRequest{}));
    EXPECT_EQ(hashOf(ToolReport{}), hashOf(ToolReport{}));
}

}  // namespace
}  // namespace marlet
