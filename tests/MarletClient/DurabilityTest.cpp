// The daemon is killed at random moments, again and again: nothing that it acknowledged may be lost or be there twice.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <map>
#include <random>
#include <thread>

#include "ClientScenario.h"
#include "MarletClient/CommandMessage.h"
#include "MarletIPC/LineClient.h"

namespace marlet {
namespace {

constexpr uint32_t seed = 20261121;
constexpr int kills = 6;

std::string addRequest(const std::string& title) {
    return "{\"command\":\"task add\",\"options\":{\"title\":\"" + title + "\",\"project\":\"Tasks\",\"labels\":[]}}";
}

// Adds tasks until the daemon is gone; gives the titles of those that it acknowledged.
std::vector<std::string> addUntilItDies(const std::filesystem::path& socket, int round) {
    std::vector<std::string> acknowledged;
    std::optional<LineClient> daemon = LineClient::connect(socket);
    for (int number = 0; daemon; ++number) {
        std::string title = "Task " + std::to_string(round) + "." + std::to_string(number);
        std::optional<std::string> answer = daemon->ask(addRequest(title));
        if (!answer) {
            break;
        }
        CommandReply reply = CommandReply::parse(*answer);
        EXPECT_EQ(reply.error, std::nullopt);
        acknowledged.push_back(title);
    }
    return acknowledged;
}

TEST(DurabilityTest, whatWasAcknowledgedOutlivesTheDaemonAndIsThereOnce) {
    ClientScenario client;
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> milliseconds(5, 250);
    std::vector<std::string> acknowledged;
    for (int round = 0; round < kills; ++round) {
        client.startDaemon();
        std::thread killer([&, delay = milliseconds(random)] {
            std::this_thread::sleep_for(std::chrono::milliseconds(delay));
            client.daemon().send(SIGKILL);
        });
        std::vector<std::string> titles = addUntilItDies(client.data / "control", round);
        killer.join();
        EXPECT_EQ(client.daemon().wait(), -SIGKILL);
        acknowledged.insert(acknowledged.end(), titles.begin(), titles.end());
    }
    EXPECT_GT(acknowledged.size(), static_cast<size_t>(kills)) << "the daemon died before it did anything";

    client.startDaemon();
    client.json({"sync", "--full"});
    JSONValue tasks = client.json({"task", "list", "--limit", "100000"});
    std::map<std::string, int> found;
    std::map<std::string, int> numbers;
    for (const JSONValue& task : *tasks["tasks"]->arrayValue()) {
        ++found[textOf(task, "title")];
        ++numbers[textOf(task, "number")];
        EXPECT_EQ(textOf(task, "sync_state"), "synced") << textOf(task, "title");
    }
    for (const std::string& title : acknowledged) {
        EXPECT_EQ(found[title], 1) << title;
    }
    for (const auto& [title, count] : found) {
        EXPECT_EQ(count, 1) << title << " is there twice";
    }
    for (const auto& [number, count] : numbers) {
        EXPECT_EQ(count, 1) << "number " << number;
    }
    EXPECT_EQ(client.stopDaemon(), 0);
}

}  // namespace
}  // namespace marlet
