#pragma once

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

#include "MarletBase/Database.h"

namespace marlet {

// The task store's database: named "Marlet", in its first version.
struct MarletSchema {
    MarletSchema() = delete;

    // The entities, each a table of this name.
    static constexpr std::array<std::string_view, 4> models{"StoredAccount", "StoredProject", "StoredTask",
                                                            "StoredTimeLog"};

    // Throws DatabaseError; the file is left as it is then.
    static ModelContainer makeContainer(const std::filesystem::path& folder, const std::string& vfs = {});
    static ModelContainer makeInMemoryContainer();
};

}  // namespace marlet
