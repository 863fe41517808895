// Requests and replies as a peer may send them that means harm, or breaks off.
#include <gtest/gtest.h>

#include <random>

#include "FuzzEntries.h"
#include "HelperMessageShapes.h"
#include "TestSupport/Corpus.h"

namespace marlet {
namespace {

// Every field that must be there, as it stands in a line.
struct RequiredField {
    std::string line;
    std::string text;  // with one of its commas
    std::string path;
};

const std::string tools = R"({"git":"automatic","gitPath":"","claudePath":""})";
const std::string garden = R"({"host":"h","owner":"o","name":"n"})";

std::string without(const std::string& line, const std::string& text) {
    std::string result = line;
    size_t place = result.find(text);
    EXPECT_NE(place, std::string::npos) << text;
    return result.erase(place, text.size());
}

void expectMissing(const std::string& error, const std::string& path) {
    EXPECT_EQ(error, "The data can't be read: \"" + path + "\" is missing.");
}

TEST(HelperMessageInputTest, everyRequiredFieldOfARequestIsMissed) {
    const std::string locate = R"({"locateTools":{"_0":)" + tools + "}}";
    const std::string checkout =
        R"({"prepareCheckout":{"_0":{"root":"r","relativePath":[],"remote":"u","repository":)" + garden +
        R"(,"tools":)" + tools + "}}}";
    const std::string inspect =
        R"({"inspectCheckout":{"path":"p","repository":)" + garden + R"(,"tools":)" + tools + "}}";
    const std::string worktree = R"({"prepareWorktree":{"_0":{"checkout":"c","repository":)" + garden +
                                 R"(,"name":"w","tools":)" + tools + "}}}";
    const std::string remove = R"({"removeWorktree":{"path":"p","tools":)" + tools + "}}";
    const std::string mcp = R"({"registerMCP":{"_0":{"folder":"f","endpoint":"e","token":"t","tools":)" + tools + "}}}";
    const std::string copilot = R"({"registerCopilotMCP":{"endpoint":"e","token":"t"}})";
    const std::string open = R"({"openInCopilot":{"path":"p"}})";
    const std::vector<RequiredField> fields = {
        {locate, R"("_0":)" + tools, "locateTools._0"},
        {locate, R"("git":"automatic",)", "locateTools._0.git"},
        {locate, R"("gitPath":"",)", "locateTools._0.gitPath"},
        {locate, R"(,"claudePath":"")", "locateTools._0.claudePath"},
        {checkout, R"("root":"r",)", "prepareCheckout._0.root"},
        {checkout, R"("relativePath":[],)", "prepareCheckout._0.relativePath"},
        {checkout, R"("remote":"u",)", "prepareCheckout._0.remote"},
        {checkout, R"("repository":)" + garden + ",", "prepareCheckout._0.repository"},
        {checkout, R"("host":"h",)", "prepareCheckout._0.repository.host"},
        {checkout, R"("owner":"o",)", "prepareCheckout._0.repository.owner"},
        {checkout, R"(,"name":"n")", "prepareCheckout._0.repository.name"},
        {checkout, R"(,"tools":)" + tools, "prepareCheckout._0.tools"},
        {inspect, R"("path":"p",)", "inspectCheckout.path"},
        {inspect, R"("repository":)" + garden + ",", "inspectCheckout.repository"},
        {inspect, R"(,"tools":)" + tools, "inspectCheckout.tools"},
        {worktree, R"("checkout":"c",)", "prepareWorktree._0.checkout"},
        {worktree, R"("repository":)" + garden + ",", "prepareWorktree._0.repository"},
        {worktree, R"("name":"w",)", "prepareWorktree._0.name"},
        {worktree, R"(,"tools":)" + tools, "prepareWorktree._0.tools"},
        {remove, R"("path":"p",)", "removeWorktree.path"},
        {remove, R"(,"tools":)" + tools, "removeWorktree.tools"},
        {mcp, R"("folder":"f",)", "registerMCP._0.folder"},
        {mcp, R"("endpoint":"e",)", "registerMCP._0.endpoint"},
        {mcp, R"("token":"t",)", "registerMCP._0.token"},
        {mcp, R"(,"tools":)" + tools, "registerMCP._0.tools"},
        {copilot, R"("endpoint":"e",)", "registerCopilotMCP.endpoint"},
        {copilot, R"(,"token":"t")", "registerCopilotMCP.token"},
        {open, R"("path":"p")", "openInCopilot.path"},
    };
    for (const RequiredField& field : fields) {
        EXPECT_NO_THROW(HelperRequest::parse(field.line)) << field.line;
        expectMissing(refusal<HelperRequest>(without(field.line, field.text)), field.path);
    }
}

TEST(HelperMessageInputTest, everyRequiredFieldOfAReplyIsMissed) {
    const std::string checkout = R"({"checkout":{"_0":{"path":"/","cloned":true}}})";
    const std::string report = R"({"tools":{"_0":{"git":{"path":"/git","variant":"found"}}}})";
    const std::vector<RequiredField> fields = {
        {checkout, R"("path":"/",)", "checkout._0.path"},
        {checkout, R"(,"cloned":true)", "checkout._0.cloned"},
        {checkout, R"("_0":{"path":"/","cloned":true})", "checkout._0"},
        {report, R"("path":"/git",)", "tools._0.git.path"},
        {report, R"(,"variant":"found")", "tools._0.git.variant"},
        {R"({"failure":{"_0":"x"}})", R"("_0":"x")", "failure._0"},
    };
    for (const RequiredField& field : fields) {
        EXPECT_NO_THROW(HelperReply::parse(field.line)) << field.line;
        expectMissing(refusal<HelperReply>(without(field.line, field.text)), field.path);
    }
}

TEST(HelperMessageInputTest, aMessageThatIsCutOffAnywhereIsRefused) {
    for (const auto& shape : requestShapes()) {
        for (size_t length = 0; length < shape.line.size(); ++length) {
            EXPECT_THROW(HelperRequest::parse(shape.line.substr(0, length)), HelperMessageError);
        }
    }
    for (const auto& shape : replyShapes()) {
        for (size_t length = 0; length < shape.line.size(); ++length) {
            EXPECT_THROW(HelperReply::parse(shape.line.substr(0, length)), HelperMessageError);
        }
    }
}

TEST(HelperMessageInputTest, aTextOf16MiBIsReadAndWritten) {
    const std::string path((size_t{16} << 20) - 64, 'x');
    HelperRequest request{HelperRequest::OpenInCopilot{path}};
    std::string line = request.line();
    EXPECT_TRUE(HelperRequest::parse(line) == request);
    EXPECT_TRUE(refusal<HelperRequest>(line.substr(0, line.size() - 1)).starts_with("The data can't be read: "));
    EXPECT_TRUE(refusal<HelperRequest>(path).starts_with("The data can't be read: "));
}

TEST(HelperMessageInputTest, nestingWithoutEndIsRefused) {
    for (size_t depth : {size_t{1'000}, size_t{100'000}, size_t{8'000'000}}) {
        for (const char* opening : {"[", "{\"a\":", "[{\"a\":"}) {
            std::string nested;
            while (nested.size() < depth) {
                nested += opening;
            }
            EXPECT_THROW(HelperRequest::parse(nested), HelperMessageError);
            EXPECT_THROW(HelperReply::parse("{\"done\":" + nested), HelperMessageError);
        }
    }
    std::string closed = "{\"done\":{\"x\":" + std::string(100'000, '[') + std::string(100'000, ']') + "}}";
    EXPECT_THROW(HelperReply::parse(closed), HelperMessageError);
}

TEST(HelperMessageInputTest, aMillionUnknownKeysAreNoHarm) {
    std::string line = "{";
    for (int number = 0; number < 1'000'000; ++number) {
        line += "\"k" + std::to_string(number) + "\":0,";
    }
    EXPECT_EQ(HelperReply::parse(line + "\"done\":{}}"), HelperReply{HelperReply::Done{}});
}

TEST(HelperMessageInputTest, randomBytesAreRefused) {
    std::mt19937 random(1);
    for (int round = 0; round < 20'000; ++round) {
        std::string bytes(random() % 80, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        EXPECT_THROW(HelperRequest::parse(bytes), HelperMessageError);
        EXPECT_THROW(HelperReply::parse(bytes), HelperMessageError);
    }
}

// What is read of it must still be written and read as the same: the fuzz target sees to that.
TEST(HelperMessageInputTest, aMessageThatIsDamagedIsRefusedOrReadsBackTheSame) {
    std::mt19937 random(2);
    const std::vector<std::string> lines = allLines();
    const std::string pieces = R"({}[]":,\0_ne)";
    for (int round = 0; round < 20'000; ++round) {
        std::string line = lines[random() % lines.size()];
        for (unsigned left = 1 + random() % 3; left > 0; --left) {
            size_t place = random() % line.size();
            switch (random() % 3) {
                case 0:
                    line[place] = static_cast<char>(random());
                    break;
                case 1:
                    line.erase(place, random() % 8);
                    line += line.empty() ? " " : "";
                    break;
                default:
                    line.insert(place, 1, pieces[random() % pieces.size()]);
            }
        }
        fuzzHelperMessage(line);
    }
}

std::string randomText(std::mt19937& random) {
    static const std::vector<std::string> pieces = {"a",      "/",  "\"", "\\",  "\n", std::string(1, '\0'),
                                                    "\x7F",   "é",  "漢", "😀",  "~",  " ",
                                                    "\u2028", "\t", "{",  "\x1B"};
    std::string text;
    for (size_t count = random() % 12; count > 0; --count) {
        text += pieces[random() % pieces.size()];
    }
    return text;
}

TEST(HelperMessageInputTest, whateverItsTextsHoldAMessageIsTheSameBytesAgain) {
    std::mt19937 random(3);
    for (int round = 0; round < 2'000; ++round) {
        WorktreeRequest worktree{randomText(random), {}, std::nullopt, randomText(random), std::nullopt,
                                 std::nullopt,       {}};
        worktree.repository.host = randomText(random);
        worktree.repository.port = static_cast<int64_t>((uint64_t{random()} << 32) | random());
        worktree.repository.owner = randomText(random);
        worktree.tools.gitPath = randomText(random);
        if (random() % 2 == 0) {
            worktree.token = randomText(random);
        }
        HelperRequest request{HelperRequest::PrepareWorktree{worktree}};
        std::string line = request.line();
        HelperRequest again = HelperRequest::parse(line);
        EXPECT_EQ(again, request);
        EXPECT_EQ(again.line(), line);
        EXPECT_EQ(line.find('\n'), std::string::npos);
    }
}

TEST(HelperMessageInputTest, everyKeptMessageIsRefusedOrReadsBackTheSame) {
    std::vector<std::string> kept = inputs(std::string(MARLET_CORPUS) + "/HelperMessageFuzz");

    ASSERT_GE(kept.size(), allLines().size());
    for (const std::string& input : kept) {
        fuzzHelperMessage(input);
    }
}

}  // namespace
}  // namespace marlet
