// What every backend promises, tested against any service: a service joins by a ServiceUnderTest and a ContractCase.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/value.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "MarletCore/BackendError.h"
#include "MarletCore/TaskBackend.h"
#include "TestSupport/FakeService.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

// A task as the service holds it.
struct ServerTask {
    std::string title;
    std::string notes = {};
    bool isCompleted = false;
    std::vector<std::string> labels = {};  // in the order of their names
    std::optional<Date> dueDate = {};
    std::optional<std::string> parentID = {};  // a task of the same project
    std::vector<std::string> assignees = {};   // logins
    std::string rest = {};                     // everything else that a client might spoil, in any form

    bool operator==(const ServerTask&) const = default;
    friend void PrintTo(const ServerTask& task, std::ostream* stream);
};

// One service, with one project, and the way to its own side: what is done here is done by another user.
class ServiceUnderTest {
public:
    virtual ~ServiceUnderTest() = default;

    // For the log, failures, limits and violations.
    virtual FakeService& service() = 0;
    // Each with an empty cache.
    virtual std::shared_ptr<TaskBackend> makeBackend(int64_t itemLimit) = 0;
    virtual std::string projectID() const = 0;
    // More tasks than this need more than one page.
    virtual size_t pageSize() const = 0;

    // Labels that a task names are made when they are new. Gives the task's id.
    virtual std::string add(const ServerTask& task) = 0;
    virtual void edit(const std::string& taskID, const std::function<void(ServerTask& task)>& change) = 0;
    virtual void remove(const std::string& taskID) = 0;
    virtual ServerTask read(const std::string& taskID) = 0;
    virtual size_t taskCount() = 0;
    virtual void addLabel(const std::string& name, const std::string& color) = 0;
    virtual void addComment(const std::string& taskID, const std::string& body) = 0;
    virtual std::vector<std::string> comments(const std::string& taskID) = 0;
    virtual void revokeToken() = 0;
    // Turns it into what may have a parent, where not every task may.
    virtual void letHaveParent(const std::string& taskID) { static_cast<void>(taskID); }
    // Likewise what may be a parent.
    virtual void letHaveChildren(const std::string& taskID) { static_cast<void>(taskID); }
    // How many requests a fetch begins with where nothing is cached: the first page of every list that is read side by
    // side, and before them what the backend has to know.
    virtual size_t firstRequests() const { return 1; }
    // How many seconds behind a date changes are given as well.
    virtual double margin() const { return 0; }
    // What remains of markup on its way through the service's own, and a label as strange as can be.
    virtual std::string kept(const std::string& markup) const { return markup; }
    virtual std::string strangeLabel() const { return "größe: 大"; }
    // The title in the service's own answer for a task.
    virtual std::string titleIn(const boost::json::value& raw) const { return raw.at("title").as_string().c_str(); }

    // What the service makes of a due date that is sent with a new task or with an edit.
    virtual Date keptOnCreation(Date dueDate) const { return dueDate; }
    virtual Date keptOnEdit(Date dueDate) const { return dueDate; }
};

struct ContractCase {
    struct Abilities {
        bool dueDates = false;
        bool parents = false;
        bool knownLabelsOnly = false;  // a label that isn't there is refused
        bool counts = false;
        bool hints = false;
        bool probes = false;
        bool milestones = false;
        bool labelsOnCreation = false;  // otherwise a new task gets them with its first edit
        bool coloredAnswers = true;     // the answer to a write tells the colors of labels
        bool refusesInWords = true;     // a refusal says why
        bool labelColors = true;
        bool entityTags = true;      // what didn't change needn't be sent again
        bool hintsOwnEdits = false;  // what the user did looks like what others did
    };

    std::string name;
    Abilities abilities;
    std::function<std::unique_ptr<ServiceUnderTest>(std::shared_ptr<VirtualClock> clock)> make;

    friend void PrintTo(const ContractCase& tested, std::ostream* stream) { *stream << tested.name; }
    static std::string nameOf(const testing::TestParamInfo<ContractCase>& tested) { return tested.param.name; }
};

// The services that the tests run over, and those of them with one ability.
std::vector<ContractCase> contractServices();
std::vector<ContractCase> contractServicesWith(bool ContractCase::Abilities::*ability);

// The stage of one test. That the client did nothing wrong is part of every test.
class BackendContract : public testing::TestWithParam<ContractCase> {
protected:
    static constexpr int64_t itemLimit = 1000;

    BackendContract();
    void TearDown() override;

    template <class T>
    T run(Async<T> operation) {
        return loop.runToEnd(std::move(operation));
    }

    std::vector<TaskItem> fetch(std::optional<Date> since = std::nullopt);
    TaskItem fetchOne(const std::string& taskID);
    // Edits the task as the user does, from a fresh copy, and gives the answer.
    TaskItem update(const std::string& taskID, const std::function<void(TaskItem& item)>& change);
    // The answer to a write, with what the service doesn't tell there taken from a fetch.
    static TaskItem completed(TaskItem answer, const TaskItem& fetched);
    // What the operation throws; null for success.
    template <class T>
    std::exception_ptr errorOf(Async<T> operation) {
        try {
            run(std::move(operation));
        } catch (...) {
            return std::current_exception();
        }
        return nullptr;
    }
    // What the operation throws, where it is a BackendError of this case.
    template <class Case, class T>
    std::optional<Case> failure(Async<T> operation) {
        try {
            run(std::move(operation));
        } catch (const BackendError& error) {
            const Case* found = error.as<Case>();
            return found ? std::optional<Case>(*found) : std::nullopt;
        }
        return std::nullopt;
    }

    TestLoop loop;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    std::unique_ptr<ServiceUnderTest> service;
    std::shared_ptr<TaskBackend> backend;
};

std::vector<std::string> labelNames(const TaskItem& item);
std::vector<std::string> taskIDs(const std::vector<TaskItem>& items);  // in the order of their text

}  // namespace marlet
