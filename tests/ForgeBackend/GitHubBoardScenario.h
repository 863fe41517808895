#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ForgeScenario.h"

namespace marlet {

inline const std::string acmeBoard = "projects/orgs/acme/12";
inline const std::string monasBoard = "projects/users/mona/3";

// A GitHub account and what its server answers about boards.
struct GitHubBoardScenario : GitHub {
    explicit GitHubBoardScenario(int64_t itemLimit = 1000) : GitHub("secret", itemLimit) {}

    // The fields and the items of `acmeBoard`.
    void answerFields(const std::string& json);
    void answerItems(const std::string& json);
    // One item of it, in turn.
    void answerItem(int64_t id, const std::string& json);
    // An account without repositories, in these organizations.
    void answerAccount(const Lines& organizations);
    // A list of which the first page tells where the second one is. `path` is that of the API.
    void answerPages(const std::string& path, const std::string& firstPage, const std::string& secondPage);

    // The tasks of `acmeBoard`.
    std::vector<TaskItem> tasks(std::optional<Date> updatedSince = std::nullopt);
    TaskItem create(const TaskDraft& draft, const std::string& projectID = acmeBoard);
    TaskItem update(const TaskItem& task);
    // The same account behind another road, or on a server of the user's own.
    ForgeTaskBackend backendBehind(std::shared_ptr<HTTPTransport> transport) const;
    ForgeTaskBackend backendAt(const std::string& baseURL) const;

    // The requests since the last time as "GET /path?query", without scheme and host.
    Lines takeLog();
    // The body of the request behind `index` others.
    std::string body(size_t index) const;
};

// A list of fields with one status field of this id; the id of each option is "o-" and its name.
std::string statusFields(const Lines& options, int64_t id = 40);
// A draft as the server tells it. `members` are further ones, such as R"("archived_at": null)".
std::string draftItem(int64_t id, const std::string& title, const std::string& notes, const std::string& members = "");
// The member "fields" of an item with this status.
std::string statusMember(const std::string& option, int64_t fieldID = 40);
std::string jsonList(const Lines& elements);

ScriptedTransport::Answer failing(int status, std::string body = "");
Date date(const char* text);

}  // namespace marlet
