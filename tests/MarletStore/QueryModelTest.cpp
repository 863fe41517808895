// Random queries over random tasks, held against the plain algorithm: filter everything, sort it, take the first.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "MarletBase/Coding.h"
#include "MarletBase/Text.h"
#include "StoreFixture.h"

namespace marlet {
namespace {

class Chance {
public:
    explicit Chance(uint64_t seed) : generator(seed) {}
    bool once(uint64_t in) { return generator() % in == 0; }
    size_t below(size_t limit) { return generator() % limit; }
    template <class T>
    T one(const std::vector<T>& of) {
        return of.at(below(of.size()));
    }

private:
    std::mt19937_64 generator;
};

const std::vector<std::string> projects{"p1", "p2"};
const std::vector<std::string> parents{"1", "2", "p1#1", "p2#1"};
const std::vector<std::string> texts{"bean", "ROSÉ", " 7 ", "oak", "zzz", " "};
const std::vector<std::string> titles{"Water the beans", "Prune the rosés", "Fell the oak", "Dig"};

std::optional<Date> someDate(Chance& chance) {
    return chance.once(4) ? std::nullopt : std::optional(noon + static_cast<double>(chance.below(6)));
}

TaskItem someItem(Chance& chance, int number) {
    TaskItem item = StoreFixture::item(std::to_string(number), someDate(chance), chance.one(titles));
    item.createdAt = someDate(chance);
    item.isCompleted = chance.once(3);
    item.canHaveChildren = chance.once(3);
    item.notes = chance.once(4) ? "Beans" : "";
    if (chance.once(2)) {
        item.parent = TaskParent{chance.one(parents), ""};
    }
    if (chance.once(4)) {
        item.labels = {{"Oaks", std::nullopt}};
    }
    return item;
}

TaskQuery someQuery(Chance& chance, const UUID& account) {
    TaskQuery query;
    query.includeCompleted = chance.once(2);
    query.limit = chance.once(2) ? static_cast<int64_t>(chance.below(8)) : 1000;
    if (chance.once(2)) {
        query.accountID = account;
    }
    if (chance.once(2)) {
        query.projectID = chance.one(projects);
    }
    if (chance.once(2)) {
        query.list = chance.one(std::vector{TaskList::next, TaskList::starred, TaskList::updated, TaskList::timing});
    }
    if (chance.once(4)) {
        query.parentID = chance.one(std::vector<std::string>{"1", "2"});
    }
    if (chance.once(4)) {
        query.canHaveChildren = chance.once(2);
    }
    if (chance.once(3)) {
        query.text = chance.one(texts);
    }
    return query;
}

bool holdsText(const TaskItem& item, const std::string& text) {
    auto isNamed = [&](const TaskLabel& label) { return localizedStandardContains(label.name, text); };
    return localizedStandardContains(item.title, text) || localizedStandardContains(item.notes, text) ||
           item.id == text || std::any_of(item.labels.begin(), item.labels.end(), isNamed);
}

bool isOnList(const TaskSnapshot& task, TaskList list) {
    switch (list) {
        case TaskList::next:
            return task.isNext;
        case TaskList::starred:
            return task.isStarred;
        case TaskList::updated:
            return task.isUnread;
        case TaskList::timing:
            return task.lastStartedAt.has_value();
    }
    return false;
}

// All tasks are of one account of this kind.
bool isWanted(const TaskSnapshot& task, const TaskQuery& query, BackendKind kind) {
    bool spansProjects = query.parentID && (kind == BackendKind::github || kind == BackendKind::vikunja);
    if (query.accountID && query.projectID && !spansProjects && task.item.projectID != *query.projectID) {
        return false;
    }
    if (task.item.isCompleted && !query.includeCompleted) {
        return false;
    }
    const std::string& own = task.item.projectID;
    if (query.parentID &&
        !(task.item.parent && task.item.parent->refers(*query.parentID, query.projectID.value_or(own), own, kind))) {
        return false;
    }
    if (query.canHaveChildren && task.item.canHaveChildren != *query.canHaveChildren) {
        return false;
    }
    std::string text = trimmed(query.text.value_or(""));
    return (!query.list || isOnList(task, *query.list)) && (text.empty() || holdsText(task.item, text));
}

std::vector<std::string> expected(std::vector<TaskSnapshot> tasks, const TaskQuery& query, BackendKind kind) {
    std::erase_if(tasks, [&](const TaskSnapshot& task) { return !isWanted(task, query, kind); });
    auto date = [&](const TaskSnapshot& task) {
        std::optional<Date> listed = task.item.updatedAt ? task.item.updatedAt : task.item.createdAt;
        return (query.list == TaskList::timing ? task.lastStartedAt : listed).value_or(distantPast);
    };
    std::stable_sort(tasks.begin(), tasks.end(),
                     [&](const TaskSnapshot& left, const TaskSnapshot& right) { return date(left) > date(right); });
    std::vector<std::string> keys;
    for (const TaskSnapshot& task : tasks) {
        if (static_cast<int64_t>(keys.size()) < query.limit) {
            keys.push_back(task.key);
        }
    }
    return keys;
}

class QueryModelTest : public testing::TestWithParam<BackendKind> {};

TEST_P(QueryModelTest, everyQueryFindsWhatThePlainAlgorithmFinds) {
    constexpr int tasksPerProject = 60;
    Chance chance(20);
    StoreFixture fixture(GetParam());
    fixture.addProject("p2", "Shed");
    std::vector<std::string> keysInRowOrder;
    for (const std::string& project : projects) {
        std::vector<TaskItem> items;
        for (int number = 1; number <= tasksPerProject; ++number) {
            items.push_back(someItem(chance, number));
            keysInRowOrder.push_back(taskKey(fixture.account.id, project, items.back().id));
        }
        fixture.applyFull(items, project);
    }
    for (const std::string& key : keysInRowOrder) {
        runToEnd(fixture.store.setNext(chance.once(3), key));
        runToEnd(fixture.store.setStarred(chance.once(3), key));
        if (chance.once(2)) {
            runToEnd(fixture.store.markViewed(key, noon + static_cast<double>(chance.below(6))));
        }
        if (chance.once(4)) {
            runToEnd(fixture.store.startTimer(key, noon + static_cast<double>(chance.below(6))));
        }
    }
    std::vector<TaskSnapshot> all;
    for (const std::string& key : keysInRowOrder) {
        all.push_back(runToEnd(fixture.store.taskSnapshot(key)).value());
    }
    size_t found = 0;
    for (int round = 0; round < 1000; ++round) {
        TaskQuery query = someQuery(chance, fixture.account.id);
        std::vector<std::string> keys;
        for (const TaskSnapshot& task : fixture.snapshots(query)) {
            keys.push_back(task.key);
        }
        ASSERT_EQ(keys, expected(all, query, GetParam())) << "query " << round;
        found += keys.size();
    }
    EXPECT_GT(found, 2000U);  // the queries aren't all empty
}

INSTANTIATE_TEST_SUITE_P(Services, QueryModelTest,
                         testing::Values(BackendKind::github, BackendKind::gitlab, BackendKind::vikunja,
                                         BackendKind::jira),
                         [](const auto& info) { return std::string(code(info.param)); });

}  // namespace
}  // namespace marlet
