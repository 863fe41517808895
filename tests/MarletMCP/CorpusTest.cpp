// The inputs that the fuzz targets start from, and those that once broke something, in the ordinary build.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "FuzzEntries.h"

namespace marlet {
namespace {

std::vector<std::string> corpus(const std::string& target) {
    std::vector<std::string> inputs;
    for (const auto& file : std::filesystem::directory_iterator(std::filesystem::path(MARLET_CORPUS) / target)) {
        std::ifstream stream(file.path(), std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    return inputs;
}

TEST(CorpusTest, everyKeptRequestComesOutTheSameHoweverItIsCut) {
    std::vector<std::string> inputs = corpus("HTTPRequestParserFuzz");

    ASSERT_GE(inputs.size(), 13u);
    for (const std::string& input : inputs) {
        fuzzHTTPRequestParser(input);
    }
}

TEST(CorpusTest, everyKeptJSONTextIsRefusedOrReadsBackTheSame) {
    std::vector<std::string> inputs = corpus("JSONValueFuzz");

    ASSERT_GE(inputs.size(), 15u);
    for (const std::string& input : inputs) {
        fuzzJSONValue(input);
    }
}

}  // namespace
}  // namespace marlet
