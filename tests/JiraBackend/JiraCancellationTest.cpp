// A caller who gives up, at every point where that matters.
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "JiraScenario.h"

namespace marlet {
namespace {

enum class Moment { asked, answered };

// Passes requests on, and gives up the operation when the first is asked, or answered, that its log line begins with.
class CancellingTransport final : public HTTPTransport {
public:
    CancellingTransport(std::shared_ptr<ScriptedTransport> server, std::string line, Moment moment)
        : server(std::move(server)), line(std::move(line)), moment(moment) {}

    Async<TransportAnswer> send(URLRequest request) override {
        std::string asked = std::string(requestName(request.method)) + " " + request.url.text();
        bool isMeant = asked.starts_with(line);
        // An operation that never waited can't be given up.
        co_await boost::asio::post(boost::asio::use_awaitable);
        wasGivenUp = wasGivenUp || isMeant;
        if (isMeant && moment == Moment::asked) {
            giveUp.emit(boost::asio::cancellation_type::terminal);
        }
        TransportAnswer answer = co_await server->send(std::move(request));
        if (isMeant && moment == Moment::answered) {
            giveUp.emit(boost::asio::cancellation_type::terminal);
        }
        co_return answer;
    }

    boost::asio::cancellation_signal giveUp;
    bool wasGivenUp = false;

private:
    std::shared_ptr<ScriptedTransport> server;
    std::string line;
    Moment moment;
};

struct Outcome {
    bool isFinished = false;
    std::exception_ptr error;
};

// The operation of a backend whose caller gives up at this request.
template <class Operation>
auto givenUp(JiraScenario& jira, const std::string& route, Moment moment, Operation operation) {
    auto transport = std::make_shared<CancellingTransport>(jira.server, jira.route(route), moment);
    JiraTaskBackend backend(jira.account, "s3cret", transport, 1000, jira.clock);
    TestLoop loop;
    using Value = typename decltype(operation(backend))::value_type;
    Outcome outcome;
    Value result;
    boost::asio::co_spawn(loop.executor(), operation(backend),
                          boost::asio::bind_cancellation_slot(transport->giveUp.slot(),
                                                              [&](const std::exception_ptr& error, Value value) {
                                                                  outcome = {true, error};
                                                                  result = std::move(value);
                                                              }));
    loop.runUntil([&] { return outcome.isFinished; });
    EXPECT_TRUE(transport->wasGivenUp);
    if (outcome.error) {
        std::rethrow_exception(outcome.error);
    }
    return result;
}

TaskItem created(JiraScenario& jira, const std::string& route, Moment moment) {
    return givenUp(jira, route, moment, [&](JiraTaskBackend& backend) {
        return backend.createTask({.title = "Sow", .labels = {"spring"}}, "10301");
    });
}

template <class Scenario>
struct Creating : Scenario {
    Creating() {
        this->answer("GET /project/10301", R"({"issueTypes":[{"id":"4","name":"Task"}]})");
        this->answer("POST /issue", R"({"id":"1","key":"ORCH-42"})", 201);
        this->answer("GET /issue/ORCH-42", issueJSON("ORCH-42", R"("summary":"Read","customfield_10301":"DAM-9")"));
        this->answer("GET /search", R"({"issues":[]})");
    }
};

TEST(JiraCancellationTest, anIssueThatWasMadeIsWhatTheDraftSaid) {
    for (Moment moment : {Moment::asked, Moment::answered}) {
        Creating<Cloud> cloud;
        TaskItem expected = task("ORCH-42", "Sow");
        expected.labels = {{"spring", std::nullopt}};
        expected.typeName = "Task";
        expected.webURL = URL::parse(cloud.webRoot + "/browse/ORCH-42");
        EXPECT_EQ(created(cloud, "GET /issue/ORCH-42", moment), expected);
    }
    Creating<Cloud> cloud;
    EXPECT_EQ(created(cloud, "POST /issue", Moment::answered).title, "Sow");
}

TEST(JiraCancellationTest, anIssueThatWasMadeIsTheDraftWhenItsParentIsNotRead) {
    Creating<Server> server;
    EXPECT_EQ(created(server, "GET /search", Moment::asked).title, "Sow");
}

TEST(JiraCancellationTest, anIssueThatIsNotYetMadeIsCancelled) {
    Creating<Cloud> cloud;
    EXPECT_THROW(created(cloud, "GET /project/10301", Moment::asked), boost::system::system_error);
    EXPECT_THAT(cloud.bodies(), testing::IsEmpty());
}

TEST(JiraCancellationTest, aFetchIsCancelledAmidTheTitlesOfParents) {
    Server jira;
    jira.answer("GET /search", R"({"issues":[)" + issueJSON("WHEEL-1", R"("customfield_10301":"DAM-9")") + "]}");

    auto fetch = [](JiraTaskBackend& backend) { return backend.fetchTasks("10301", std::nullopt); };
    EXPECT_THROW(givenUp(jira, "GET /search?jql=key", Moment::asked, fetch), boost::system::system_error);
}

TEST(JiraCancellationTest, noFieldsAreKnownWhereTheListOfThemIsCancelled) {
    Cloud jira;
    auto fetch = [](JiraTaskBackend& backend) { return backend.fetchTasks("10301", std::nullopt); };
    EXPECT_THROW(givenUp(jira, "GET /field", Moment::asked, fetch), boost::system::system_error);
    EXPECT_EQ(jira.requests().size(), 1U) << "nothing but the deployment";
}

}  // namespace
}  // namespace marlet
