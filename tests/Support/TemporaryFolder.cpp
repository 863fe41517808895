#include "TestSupport/TemporaryFolder.h"

#include <cstdlib>
#include <string>
#include <system_error>

namespace marlet {

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "marlet-test-").string() + std::string(6, 'X');
    if (!::mkdtemp(pattern.data())) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    folder = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

}  // namespace marlet
