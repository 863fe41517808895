// The records of a fake forge as its JSON, with the fields that the real services send.
#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <optional>
#include <string>

#include "TestSupport/FakeForgeState.h"

namespace marlet {

// Where the addresses inside the answers begin.
struct FakeForgeShapes {
    FakeForgeState& state;
    std::string web;
    std::string api;

    boost::json::object user(const std::string& login) const;
    boost::json::object organization(const std::string& login) const;
    boost::json::object repository(const FakeRepository& repository) const;
    boost::json::object label(const FakeRepository& repository, const FakeLabel& label) const;
    boost::json::object milestone(const FakeMilestone& milestone) const;
    boost::json::object issue(const FakeRepository& repository, const FakeIssue& issue) const;
    boost::json::object comment(const FakeRepository& repository, const FakeIssue& issue,
                                const FakeComment& comment) const;
    boost::json::object notification(const FakeNotification& notification) const;
    boost::json::object board(const FakeBoard& board) const;
    boost::json::array boardFields(const FakeBoard& board) const;
    // `fieldID` of the one field whose value comes along, 0 for none.
    boost::json::object boardItem(const FakeBoard& board, const FakeBoardItem& item, int64_t fieldID) const;

    // In the form of the service: GitHub's in UTC, Forgejo's in the zone of its server, an hour ahead.
    std::string date(Date date) const;

private:
    boost::json::value date(const std::optional<Date>& date) const;
    boost::json::object gitHubIssue(const FakeRepository& repository, const FakeIssue& issue) const;
    boost::json::object forgejoIssue(const FakeRepository& repository, const FakeIssue& issue) const;
    boost::json::array labels(const FakeRepository& repository, const FakeIssue& issue) const;
    boost::json::array assignees(const FakeIssue& issue) const;
};

}  // namespace marlet
