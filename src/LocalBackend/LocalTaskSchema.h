#pragma once

#include <filesystem>
#include <string>

#include "MarletBase/Database.h"

namespace marlet {

// The local task database's file: named "LocalTasks", with LocalProjectRecord, LocalTaskRecord and LocalCommentRecord.
struct LocalTaskSchema {
    // Throws DatabaseError; the file is left as it is then.
    static ModelContainer makeContainer(const std::filesystem::path& folder, const std::string& vfs = {});
    static ModelContainer makeInMemoryContainer();
};

}  // namespace marlet
