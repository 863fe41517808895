#include "ClientScenario.h"

#include <csignal>

namespace marlet {

std::string textOf(const JSONValue& object, std::string_view key) {
    const JSONValue* member = object[key];
    const std::string* text = member ? member->stringValue() : nullptr;
    return text ? *text : std::string();
}

JSONValue memberOf(const JSONValue& object, std::string_view key) {
    const JSONValue* member = object[key];
    return member ? *member : JSONValue();
}

std::vector<std::string> textsOf(const JSONValue& object, std::string_view listKey, std::string_view key) {
    std::vector<std::string> texts;
    const JSONValue* list = object[listKey];
    if (list && list->arrayValue()) {
        for (const JSONValue& element : *list->arrayValue()) {
            texts.push_back(textOf(element, key));
        }
    }
    return texts;
}

ClientScenario::Arguments ClientScenario::commandLine(const Arguments& arguments) const {
    Arguments line{MARLET_PROGRAM, "--data", data.string()};
    line.insert(line.end(), arguments.begin(), arguments.end());
    return line;
}

ChildOutcome ClientScenario::run(const Arguments& arguments, const std::string& input) {
    return runChild(commandLine(arguments), input, environment);
}

JSONValue ClientScenario::json(const Arguments& arguments, int status, const std::string& input) {
    Arguments line{"--json"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    ChildOutcome outcome = run(line, input);
    EXPECT_EQ(outcome.status, status) << outcome.errors;
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
    return JSONValue::decode(outcome.output);
}

std::string ClientScenario::error(const Arguments& arguments, int status) {
    ChildOutcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, status) << outcome.output;
    EXPECT_EQ(outcome.output, "");
    EXPECT_TRUE(outcome.errors.starts_with("marlet: ")) << outcome.errors;
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    std::string message = outcome.errors.substr(8, outcome.errors.size() - 9);
    JSONValue told = json(arguments, status);
    EXPECT_EQ(textOf(memberOf(told, "error"), "message"), message);
    return message;
}

JSONValue ClientScenario::startDaemon(const Arguments& options) {
    Arguments line{"--json", "serve"};
    line.insert(line.end(), options.begin(), options.end());
    running = start(line);
    std::optional<std::string> ready = running->readLine();
    if (!ready) {
        int status = running->wait();
        ADD_FAILURE() << "The daemon ended with " << status << ": " << running->errors;
        return {};
    }
    return JSONValue::decode(*ready);
}

int ClientScenario::stopDaemon() {
    running->send(SIGTERM);
    int status = running->wait();
    EXPECT_EQ(running->errors, "");
    running.reset();
    return status;
}

std::unique_ptr<ChildProcess> ClientScenario::start(const Arguments& arguments) const {
    return std::make_unique<ChildProcess>(commandLine(arguments), "", environment);
}

void ClientScenario::addAccount() {
    json({"account", "add", "local", "--name", "On This Mac"});
}

JSONValue ClientScenario::addTask(const std::string& title, const Arguments& options) {
    Arguments line{"task", "add", title, "--project", "Tasks"};
    line.insert(line.end(), options.begin(), options.end());
    return json(line);
}

}  // namespace marlet
