#include "GitLabBackend/GitLabRecordsInternal.h"

namespace marlet {
namespace {

struct LabelDetails {
    std::string name;
    std::optional<std::string> color;
};
BOOST_DESCRIBE_STRUCT(LabelDetails, (), (name, color))

}  // namespace

void decode(const boost::json::value& json, GitLabLabel& label, const DecodingPath& path) {
    if (json.is_string()) {
        decode(json, label.name, path);
        label.color.reset();
        return;
    }
    LabelDetails details;
    decode(json, details, path);
    label = {std::move(details.name), std::move(details.color)};
}

}  // namespace marlet

namespace marlet::gitlab {

boost::json::value encode(const EditIssue& edit, const CodingStyle&) {
    boost::json::object json{{"title", edit.title}, {"description", edit.description}, {"labels", edit.labels}};
    if (edit.stateEvent) {
        json["state_event"] = *edit.stateEvent;
    }
    if (edit.includesDueDate) {
        json["due_date"] = edit.dueDate ? boost::json::value(*edit.dueDate) : boost::json::value();
    }
    return json;
}

}  // namespace marlet::gitlab
