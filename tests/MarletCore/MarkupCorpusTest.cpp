// What is kept of fuzzing the conversions, in the ordinary build.
#include <gtest/gtest.h>

#include "FuzzEntries.h"
#include "TestSupport/Corpus.h"

namespace marlet {
namespace {

void runAll(const std::string& target, void (*entry)(std::string_view)) {
    std::vector<std::string> kept = inputs(std::filesystem::path(MARLET_CORPUS) / target);

    ASSERT_GE(kept.size(), 10u);
    for (const std::string& input : kept) {
        entry(input);
    }
}

TEST(MarkupCorpusTest, everyKeptWikiTextKeepsItsLetters) {
    runAll("JiraMarkupFromWikiFuzz", fuzzWikiToMarkdown);
}

TEST(MarkupCorpusTest, everyKeptMarkdownTextKeepsItsLetters) {
    runAll("JiraMarkupToWikiFuzz", fuzzMarkdownToWiki);
}

TEST(MarkupCorpusTest, everyKeptTextOfBlocksKeepsItsLetters) {
    runAll("MarkdownBlockFuzz", fuzzMarkdownBlock);
}

}  // namespace
}  // namespace marlet
