// What `marlet doctor` looks at, and what it says.
#pragma once

#include <boost/describe.hpp>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Async.h"
#include "MarletClient/CommandMessage.h"
#include "MarletClient/DataFolder.h"
#include "MarletClient/Options.h"
#include "MarletClient/Terminal.h"
#include "MarletCore/Account.h"
#include "MarletKit/MarletServices.h"
#include "MarletWorkspace/ToolSettings.h"

namespace marlet {

inline constexpr const char* doctorName = "doctor";

enum class Standing { ok, note, attention };
BOOST_DESCRIBE_ENUM(Standing, ok, note, attention)

struct Finding {
    std::string name;  // "git", "account"
    Standing standing = Standing::ok;
    std::string message = {};
    std::string advice = {};       // what to do; empty if nothing is to be done, or if the message says it
    std::string subject = {};      // which one, where there may be several
    JSONValue::Object facts = {};  // for programs
};

// These look at the computer and block. They throw nothing.

// Whose the folder and its files are, and whether there is room for more.
std::vector<Finding> examineFolder(const std::filesystem::path& folder);
// Looks through the databases of an engine that runs.
Finding examineDatabases(const DataFolder& folder);
Finding examineSecrets(const DataFolder& folder);
// The kept endpoint of a Marlet that doesn't run: whether it could.
Finding examineEndpoint(const DataFolder& folder);
// What the caller's PATH tells, where no helper tells more.
std::vector<Finding> examinePath(const DoctorOptions& options);

// What the helper found out about the tools.
std::vector<Finding> toolFindings(const DoctorOptions& options, const ToolReport& report);

// Asks the account's server whether the token is still good for something, and waits 10 seconds at most.
// Throws nothing.
Async<Finding> examineAccount(MarletServices& services, Account account);

// {"ok", "checks"}, failed when something needs attention.
CommandReply doctorReply(const std::vector<Finding>& findings);

// For those whose engine can't be started, and why.
CommandReply examineWithoutEngine(const std::filesystem::path& folder, const DoctorOptions& options,
                                  const std::string& failure);

// The reply's result for people.
std::string presentedFindings(const JSONValue& result, const Terminal& terminal);

}  // namespace marlet
