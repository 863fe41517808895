// Comments and raw task data: the calls that go straight to a server.
#include "TestSupport/ServicesHarness.h"

namespace marlet {
namespace {

// An account with one task, "Water the beans", which the server knows as 7.
struct OneRemoteTask : ServicesHarness {
    explicit OneRemoteTask(bool canBeReadRaw = true) {
        makeBackend = [canBeReadRaw](const Account& given, const std::string&) {
            std::shared_ptr<ScriptedBackend> backend;
            if (canBeReadRaw) {
                auto reading = std::make_shared<ScriptedBackendWith<ScriptedRawReading>>(given);
                reading->onRawTask = [](const TaskItem& item) { return "{\"raw\":\"" + item.id + "\"}"; };
                backend = reading;
            } else {
                backend = std::make_shared<ScriptedBackend>(given);
            }
            backend->onFetchTasks = [](const std::string& projectID, std::optional<Date>) {
                TaskItem item;
                item.id = "7";
                item.projectID = projectID;
                item.title = "Water the beans";
                return std::vector<TaskItem>{item};
            };
            return backend;
        };
        account = addRemoteAccount();
        key = taskKey(account.id, "o/r", "7");
        remote(account).takeCalls();
    }

    Account account;
    std::string key;
};

std::string rejection(ServicesHarness& harness, const std::string& key) {
    try {
        harness.run(harness.services().rawTask(key));
    } catch (const BackendError& error) {
        return error.as<BackendError::Rejected>() ? error.errorDescription() : "another error";
    }
    return "no error";
}

TEST(ServerCallsTest, commentsComeFromTheServer) {
    OneRemoteTask harness;
    TaskComment comment{"c1", User{"1", "ann", std::nullopt, std::nullopt}, "Twice a day", std::nullopt, std::nullopt};
    harness.remote(harness.account).onFetchComments = [&](const TaskItem& item) {
        EXPECT_EQ(item.title, "Water the beans");
        return std::vector<TaskComment>{comment};
    };

    EXPECT_EQ(harness.run(harness.services().comments(harness.key)), std::vector<TaskComment>{comment});
    EXPECT_EQ(harness.remote(harness.account).takeCalls(), std::vector<std::string>{"fetchComments 7"});
}

TEST(ServerCallsTest, aCommentIsPostedAtOnceAndNothingIsQueued) {
    OneRemoteTask harness;
    harness.remote(harness.account).onAddComment = [](const std::string& body, const TaskItem& item) {
        return TaskComment{"c2", std::nullopt, body + " on " + item.id, std::nullopt, std::nullopt};
    };

    TaskComment comment = harness.run(harness.services().addComment("Done", harness.key));

    EXPECT_EQ(comment.body, "Done on 7");
    EXPECT_TRUE(harness.run(harness.store().pendingSnapshots(std::nullopt)).empty());
}

TEST(ServerCallsTest, rawTaskDataIsHandedOnUntouched) {
    OneRemoteTask harness;
    EXPECT_EQ(harness.run(harness.services().rawTask(harness.key)), "{\"raw\":\"7\"}");
}

TEST(ServerCallsTest, aServiceWithoutRawReadingSaysSo) {
    OneRemoteTask harness(false);
    EXPECT_EQ(rejection(harness, harness.key), "This service can't hand out its raw task data.");
}

TEST(ServerCallsTest, aTaskThatItsServerHasNotSeenHasNoCommentsAndTakesNone) {
    OneRemoteTask harness;
    std::string key =
        harness.run(harness.store().createTask({.title = "New"}, harness.account.id, "o/r", harness.clock->now()));

    EXPECT_TRUE(harness.run(harness.services().comments(key)).empty());
    EXPECT_THROW(harness.run(harness.services().addComment("x", key)), StoreError);
    EXPECT_EQ(rejection(harness, key), "The task hasn't been created on the server yet.");
    EXPECT_TRUE(harness.remote(harness.account).takeCalls().empty());
}

TEST(ServerCallsTest, aTaskThatHasGoneHasNoCommentsAndTakesNone) {
    OneRemoteTask harness;
    for (const std::string& key : {taskKey(harness.account.id, "o/r", "8"), std::string("no key"), std::string()}) {
        EXPECT_TRUE(harness.run(harness.services().comments(key)).empty());
        EXPECT_EQ(rejection(harness, key), "The task hasn't been created on the server yet.");
        try {
            harness.run(harness.services().addComment("x", key));
            ADD_FAILURE() << "took a comment for " << key;
        } catch (const StoreError& error) {
            EXPECT_EQ(error.kind(), StoreError::Kind::taskNotFound);
        }
    }
}

TEST(ServerCallsTest, anErrorOfTheBackendLookupIsNotTakenForAMissingTask) {
    OneRemoteTask harness;
    harness.credentials->setToken(std::nullopt, harness.account.id);

    EXPECT_THROW(harness.run(harness.services().comments(harness.key)), BackendError);
    EXPECT_EQ(rejection(harness, harness.key), "another error");
}

TEST(ServerCallsTest, aRefusalOfTheServerReachesTheCaller) {
    OneRemoteTask harness;
    harness.remote(harness.account).onAddComment = [](const std::string&, const TaskItem&) -> TaskComment {
        throw BackendError::http(403);
    };

    try {
        harness.run(harness.services().addComment("x", harness.key));
        ADD_FAILURE() << "took the comment";
    } catch (const BackendError& error) {
        EXPECT_EQ(error, BackendError::http(403));
    }
}

}  // namespace
}  // namespace marlet
