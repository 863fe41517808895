#pragma once

#include "MarletBase/LocalizedError.h"

namespace marlet {

class ServicesError final : public LocalizedError {
public:
    static ServicesError notLocal() { return ServicesError("Only tasks kept on this Mac can be deleted."); }

private:
    using LocalizedError::LocalizedError;
};

}  // namespace marlet
