#pragma once

#include <filesystem>
#include <string>

#include "MarletBase/Database.h"

namespace marlet {

// The task store's database: named "Marlet", with StoredAccount, StoredProject, StoredTask and StoredTimeLog.
struct MarletSchema {
    // Throws DatabaseError; the file is left as it is then.
    static ModelContainer makeContainer(const std::filesystem::path& folder, const std::string& vfs = {});
    static ModelContainer makeInMemoryContainer();
};

}  // namespace marlet
