#include <gtest/gtest.h>

#include "FuzzEntries.h"
#include "TestSupport/Corpus.h"

namespace marlet {
namespace {

TEST(ServerAnswerCorpusTest, everyKeptAnswerIsReadWithoutHarmAndReadsBackTheSame) {
    std::vector<std::string> kept = inputs(MARLET_CORPUS);

    ASSERT_GE(kept.size(), 15u);
    for (const std::string& input : kept) {
        fuzzServerAnswer(input);
    }
}

}  // namespace
}  // namespace marlet
