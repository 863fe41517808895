#pragma once

#include "MarletBase/LocalizedError.h"

namespace marlet {

// What a store operation was asked for that isn't there or can't be done.
class StoreError final : public LocalizedError {
public:
    enum class Kind { taskTypesUnsupported, accountNotFound, projectNotFound, taskNotFound };

    static StoreError taskTypesUnsupported() {
        return {Kind::taskTypesUnsupported, "Tasks of this service have no type to choose."};
    }
    static StoreError accountNotFound() { return {Kind::accountNotFound, "The account no longer exists."}; }
    static StoreError projectNotFound() { return {Kind::projectNotFound, "The project no longer exists."}; }
    static StoreError taskNotFound() { return {Kind::taskNotFound, "The task no longer exists."}; }

    Kind kind() const { return which; }

private:
    StoreError(Kind error, const char* text) : LocalizedError(text), which(error) {}

    Kind which;
};

}  // namespace marlet
