#include "TestSupport/Corpus.h"

#include <fstream>
#include <iterator>

namespace marlet {

std::vector<std::string> inputs(const std::filesystem::path& folder) {
    std::vector<std::string> result;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        std::ifstream stream(file.path(), std::ios::binary);
        result.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    return result;
}

}  // namespace marlet
