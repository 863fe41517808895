// The inputs that the fuzz targets start from, and those that once broke something, in the ordinary build.
#include <gtest/gtest.h>

#include "FuzzEntries.h"
#include "TestSupport/Corpus.h"

namespace marlet {
namespace {

TEST(CorpusTest, everyKeptRequestComesOutTheSameHoweverItIsCut) {
    std::vector<std::string> kept = inputs(std::string(MARLET_CORPUS) + "/HTTPRequestParserFuzz");

    ASSERT_GE(kept.size(), 13u);
    for (const std::string& input : kept) {
        fuzzHTTPRequestParser(input);
    }
}

TEST(CorpusTest, everyKeptJSONTextIsRefusedOrReadsBackTheSame) {
    std::vector<std::string> kept = inputs(std::string(MARLET_CORPUS) + "/JSONValueFuzz");

    ASSERT_GE(kept.size(), 15u);
    for (const std::string& input : kept) {
        fuzzJSONValue(input);
    }
}

}  // namespace
}  // namespace marlet
