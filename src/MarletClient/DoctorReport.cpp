#include <fmt/format.h>

#include <algorithm>

#include "MarletBase/Description.h"
#include "MarletBase/Text.h"
#include "MarletClient/Doctor.h"

namespace marlet {
namespace {

constexpr const char* gap = "  ";
constexpr size_t narrowest = 20;

JSONValue findingJSON(const Finding& finding) {
    auto orNull = [](const std::string& text) { return text.empty() ? JSONValue() : JSONValue(text); };
    JSONValue::Object object = finding.facts;
    object["name"] = finding.name;
    object["subject"] = orNull(finding.subject);
    object["status"] = std::string(code(finding.standing));
    object["message"] = finding.message;
    object["advice"] = orNull(finding.advice);
    return object;
}

std::string text(const JSONValue& object, std::string_view key) {
    const JSONValue* member = object[key];
    const std::string* found = member ? member->stringValue() : nullptr;
    return found ? withoutControlCharacters(*found) : std::string();
}

std::string padded(const std::string& text, size_t width) {
    return text + std::string(width - std::min(width, displayWidth(text)), ' ');
}

// The words in lines of at most `width` columns, all but the first behind `indent`. A longer word has a line to itself.
std::string wrapped(const std::string& words, size_t width, const std::string& indent) {
    std::string result;
    size_t used = 0;
    for (size_t start = 0; start < words.size();) {
        size_t end = std::min(words.find(' ', start), words.size());
        std::string word = words.substr(start, end - start);
        size_t length = displayWidth(word);
        if (used > 0 && width > 0 && used + 1 + length > width) {
            result += "\n" + indent;
            used = 0;
        }
        result += used > 0 ? " " : "";
        used += (used > 0 ? 1 : 0) + length;
        result += word;
        start = end + 1;
    }
    return result;
}

}  // namespace

CommandReply doctorReply(const std::vector<Finding>& findings) {
    auto urgent = std::count_if(findings.begin(), findings.end(),
                                [](const Finding& finding) { return finding.standing == Standing::attention; });
    JSONValue::Array checks;
    std::transform(findings.begin(), findings.end(), std::back_inserter(checks), findingJSON);
    CommandReply reply;
    reply.result = JSONValue::object({{"ok", urgent == 0}, {"checks", std::move(checks)}});
    if (urgent > 0) {
        reply.error =
            urgent == 1 ? std::string("One thing needs attention.") : fmt::format("{} things need attention.", urgent);
    }
    return reply;
}

CommandReply examineWithoutEngine(const std::filesystem::path& folder, const DoctorOptions& options,
                                  const std::string& failure) {
    std::vector<Finding> findings = examinePath(options);
    std::vector<Finding> ofFolder = examineFolder(folder);
    findings.insert(findings.end(), ofFolder.begin(), ofFolder.end());
    findings.push_back({"store", Standing::attention, failure});
    std::error_code error;
    if (std::filesystem::is_directory(folder, error)) {
        DataFolder opened = DataFolder::open(folder);
        findings.push_back(examineSecrets(opened));
        findings.push_back(examineEndpoint(opened));
    }
    return doctorReply(findings);
}

std::string presentedFindings(const JSONValue& result, const Terminal& terminal) {
    static const JSONValue::Array none;
    const JSONValue* member = result["checks"];
    const JSONValue::Array& checks = member && member->arrayValue() ? *member->arrayValue() : none;
    auto label = [](const JSONValue& check) {
        std::string subject = text(check, "subject");
        return subject.empty() ? text(check, "name") : text(check, "name") + " " + subject;
    };
    size_t statusWidth = 0;
    size_t labelWidth = 0;
    for (const JSONValue& check : checks) {
        statusWidth = std::max(statusWidth, displayWidth(text(check, "status")));
        labelWidth = std::max(labelWidth, displayWidth(label(check)));
    }
    const std::string indent(statusWidth + labelWidth + 2 * std::string_view(gap).size(), ' ');
    size_t width =
        terminal.width == 0 ? 0 : std::max(terminal.width - std::min(terminal.width, indent.size()), narrowest);
    std::string output;
    for (const JSONValue& check : checks) {
        output += padded(text(check, "status"), statusWidth) + gap + padded(label(check), labelWidth) + gap;
        output += wrapped(text(check, "message"), width, indent) + "\n";
        std::string advice = text(check, "advice");
        output += advice.empty() ? "" : indent + wrapped(advice, width, indent) + "\n";
    }
    const JSONValue* isWell = result["ok"];
    return output + (isWell && isWell->boolValue().value_or(false) ? "Everything is in order.\n" : "");
}

}  // namespace marlet
