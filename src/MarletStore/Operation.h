// How TaskStore's operations run. Internal to MarletStore.
#pragma once

#include <functional>

#include "MarletCore/QueueModelExecutor.h"

namespace marlet {

// `body` on the store's executor, in one transaction. Its context is the executor's, which outlives every operation.
template <class Result>
Async<Result> writing(QueueModelExecutor& executor, std::function<Result(ModelContext&)> body) {
    return executor.run([&context = executor.modelContext(), body = std::move(body)]() -> Result {
        return context.transaction([&] { return body(context); });
    });
}

// `body`, which only reads, on the store's executor and on one state of the database.
template <class Result>
Async<Result> reading(QueueModelExecutor& executor, std::function<Result(ModelContext&)> body) {
    return executor.run([&context = executor.modelContext(), body = std::move(body)]() -> Result {
        return context.reading([&] { return body(context); });
    });
}

}  // namespace marlet
