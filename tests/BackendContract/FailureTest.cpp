// Whatever goes wrong at the service ends in an error: never in an empty list, and never in half of an answer.
#include "TestSupport/BackendContract.h"

namespace marlet {
namespace {

using testing::IsEmpty;

class BackendFailures : public BackendContract {
protected:
    BackendFailures() : id(service->add({.title = "Sow"})), item(fetchOne(id)) {}

    // Every operation, each against a service that is made to fail before it, with a backend that has nothing cached
    // and with one that has.
    void checkErrors(const std::function<void()>& prepare, const std::function<void(std::exception_ptr error)>& check) {
        const std::string project = service->projectID();
        for (bool isCached : {false, true}) {
            backend = service->makeBackend(itemLimit);
            if (isCached) {
                readEverything();
            }
            auto expectError = [&](const std::string& name, auto operation) {
                SCOPED_TRACE(name + (isCached ? ", cached" : ""));
                prepare();
                std::exception_ptr error = errorOf(operation());
                service->service().recover();
                ASSERT_TRUE(error) << "no error";
                check(error);
            };
            expectError("fetchProjects", [&] { return backend->fetchProjects(); });
            expectError("fetchTasks", [&] { return backend->fetchTasks(project, std::nullopt); });
            expectError("fetchTasks since", [&] { return backend->fetchTasks(project, clock->now()); });
            expectError("createTask", [&] { return backend->createTask({.title = "Reap"}, project); });
            expectError("updateTask", [&] { return backend->updateTask(item); });
            expectError("fetchComments", [&] { return backend->fetchComments(item); });
            expectError("addComment", [&] { return backend->addComment("Where?", item); });
        }
    }
    template <class Case>
    void expectErrors(const std::function<void()>& prepare, const Case& expected) {
        checkErrors(prepare, [&](std::exception_ptr thrown) {
            try {
                std::rethrow_exception(thrown);
            } catch (const BackendError& error) {
                ASSERT_TRUE(error.as<Case>()) << error.what();
                EXPECT_EQ(*error.as<Case>(), expected);
            } catch (const std::exception& error) {
                FAIL() << error.what();
            }
        });
    }
    void expectSomeError(const std::function<void()>& prepare) {
        checkErrors(prepare, [](std::exception_ptr thrown) {
            try {
                std::rethrow_exception(thrown);
            } catch (const LocalizedError& error) {
                EXPECT_THAT(error.errorDescription(), testing::Not(IsEmpty()));
            }
        });
    }
    void readEverything() {
        run(backend->fetchProjects());
        fetch();
        fetch(clock->now());
        run(backend->fetchComments(item));
    }
    void failAlways(const FakeFailure& failure) { service->service().fail("", failure, -1); }

    std::string id;
    TaskItem item;
};

INSTANTIATE_TEST_SUITE_P(Services, BackendFailures, testing::ValuesIn(contractServices()), ContractCase::nameOf);

TEST_P(BackendFailures, aStatusHasItsError) {
    expectErrors([&] { failAlways(FakeFailure::status(401)); }, BackendError::Unauthorized{});
    expectErrors([&] { failAlways(FakeFailure::status(404)); }, BackendError::NotFound{});
    expectErrors([&] { failAlways(FakeFailure::status(429)); }, BackendError::RateLimited{});
    expectErrors([&] { failAlways(FakeFailure::status(500, "<html></html>")); }, BackendError::HTTP{500});
    expectErrors([&] { failAlways(FakeFailure::status(503)); }, BackendError::HTTP{503});
}

TEST_P(BackendFailures, aForbiddenRequestHasItsError) {
    auto forbid = [&] { service->service().fail("", FakeFailure::status(403, "{\"message\": \"No\"}"), 1); };
    expectErrors(forbid, BackendError::HTTP{403});
}

TEST_P(BackendFailures, aTokenThatIsRevokedIsUnauthorized) {
    service->revokeToken();

    EXPECT_TRUE(failure<BackendError::Unauthorized>(backend->fetchTasks(service->projectID(), std::nullopt)));
    EXPECT_TRUE(failure<BackendError::Unauthorized>(backend->fetchProjects()));
    EXPECT_TRUE(failure<BackendError::Unauthorized>(backend->updateTask(item)));
}

TEST_P(BackendFailures, aRateLimitSaysUntilWhen) {
    Date reset = clock->now() + 300;
    expectErrors([&] { service->service().limit({.count = 9, .resetsAfter = 300}); }, BackendError::RateLimited{reset});
    expectErrors([&] { service->service().limit({.count = 9, .retryAfter = 300}); }, BackendError::RateLimited{reset});
    expectErrors([&] { service->service().limit({.count = 9, .status = 429, .retryAfter = 300}); },
                 BackendError::RateLimited{reset});
}

TEST_P(BackendFailures, aPageOfAProxyIsNoAnswer) {
    expectSomeError([&] { failAlways(FakeFailure::html()); });
}

TEST_P(BackendFailures, anEmptyBodyIsNoAnswer) {
    expectSomeError([&] { failAlways(FakeFailure::empty()); });
}

TEST_P(BackendFailures, aConnectionThatIsCutIsNoAnswer) {
    expectSomeError([&] { failAlways(FakeFailure::cut()); });
    expectSomeError([&] { failAlways(FakeFailure::truncated()); });
}

TEST_P(BackendFailures, whatIsRefusedChangesNothing) {
    ServerTask before = service->read(id);
    item.title = "Reap";
    for (const FakeFailure& failure : {FakeFailure::status(401), FakeFailure::status(500), FakeFailure::html(),
                                       FakeFailure::empty(), FakeFailure::cut()}) {
        failAlways(failure);
        EXPECT_TRUE(errorOf(backend->updateTask(item)));
        EXPECT_TRUE(errorOf(backend->createTask({.title = "Eat"}, service->projectID())));
        EXPECT_TRUE(errorOf(backend->addComment("Where?", item)));
        service->service().recover();
    }

    EXPECT_EQ(service->read(id), before);
    EXPECT_EQ(service->taskCount(), 1u);
}

TEST_P(BackendFailures, aFetchWhoseSecondPageFailsGivesNothing) {
    for (size_t count = 0; count < service->pageSize(); ++count) {
        service->add({.title = "Task"});
    }
    for (const FakeFailure& failure : {FakeFailure::status(500), FakeFailure::html(), FakeFailure::empty(),
                                       FakeFailure::truncated(), FakeFailure::status(404)}) {
        backend = service->makeBackend(itemLimit);
        service->service().fail("", FakeFailure::none(), static_cast<int>(service->firstRequests()));
        service->service().fail("", failure);
        EXPECT_TRUE(errorOf(backend->fetchTasks(service->projectID(), std::nullopt)));
    }

    EXPECT_EQ(fetch().size(), service->pageSize() + 1);
}

TEST_P(BackendFailures, aFetchBehindAFailureIsWholeAgain) {
    fetch();
    failAlways(FakeFailure::html());
    EXPECT_TRUE(errorOf(backend->fetchTasks(service->projectID(), std::nullopt)));
    service->service().recover();
    clock->advance(60);
    service->edit(id, [](ServerTask& task) { task.title = "Sow again"; });

    EXPECT_EQ(fetchOne(id).title, "Sow again");
}

}  // namespace
}  // namespace marlet
