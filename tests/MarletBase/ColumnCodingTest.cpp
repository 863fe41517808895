#include "MarletBase/ColumnCoding.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <random>

namespace marlet {
namespace {

enum class Colour { red, green };
BOOST_DESCRIBE_ENUM(Colour, red, green)

struct Leaf {
    std::string name;
    std::optional<Date> fallenAt;
    bool isGreen = false;
    bool operator==(const Leaf&) const = default;
};
BOOST_DESCRIBE_STRUCT(Leaf, (), (name, fallenAt, isGreen))

struct Tree {
    std::string name;
    UUID id;
    Colour colour = Colour::green;
    std::optional<int64_t> age;
    std::optional<double> height;
    bool isOld = false;
    std::optional<Date> plantedAt;
    std::optional<URL> page;
    std::optional<Leaf> first;
    std::vector<Leaf> leaves;
    bool operator==(const Tree&) const = default;
};
BOOST_DESCRIBE_STRUCT(Tree, (), (name, id, colour, age, height, isOld, plantedAt, page, first, leaves))

Tree fullTree() {
    Tree tree;
    tree.name = "Oak \"1\" \n\\ \xF0\x9F\x8C\xB3 \x01";
    tree.id = UUID::random();
    tree.colour = Colour::red;
    tree.age = -7;
    tree.height = 0.1;
    tree.isOld = true;
    tree.plantedAt = dateFromSeconds(1769850300.123456);
    tree.page = URL::parse("https://example.org/?q=%20a");
    tree.first = Leaf{"first", dateFromSeconds(1769850300), true};
    tree.leaves = {{tree.name, std::nullopt, false}, {"", dateFromSeconds(-1), true}};
    return tree;
}

class TreeTable {
public:
    TreeTable() : database(":memory:", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE) {
        database.exec(
            "CREATE TABLE Tree (name TEXT, id TEXT, colour TEXT, age INTEGER, height REAL, isOld INTEGER, "
            "plantedAt REAL, page TEXT, first TEXT, leaves TEXT) STRICT");
    }
    void insert(const Tree& tree) {
        SQLite::Statement statement(database, insertStatement<Tree>("Tree"));
        bindRecord(statement, tree);
        statement.exec();
    }
    Tree read() {
        SQLite::Statement statement(database, "SELECT " + columnList<Tree>() + " FROM Tree");
        statement.executeStep();
        return readRecord<Tree>(statement);
    }
    bool holds(const Tree& tree) {
        SQLite::Statement statement(database, "SELECT " + columnList<Tree>() + " FROM Tree");
        statement.executeStep();
        bool all = true;
        int index = 0;
        boost::mp11::mp_for_each<MembersOf<Tree>>(
            [&](auto member) { all = columnHolds(statement.getColumn(index++), tree.*member.pointer) && all; });
        return all;
    }

    SQLite::Database database;
};

TEST(ColumnCodingTest, aRecordReadsBack) {
    for (const Tree& tree : {Tree(), fullTree()}) {
        TreeTable table;
        table.insert(tree);
        EXPECT_EQ(table.read(), tree);
        EXPECT_TRUE(table.holds(tree));
    }
}

TEST(ColumnCodingTest, everyDifferenceIsSeenWithoutReading) {
    TreeTable table;
    table.insert(fullTree());
    const Tree stored = table.read();
    std::vector<std::function<void(Tree&)>> changes{
        [](Tree& tree) { tree.name += " "; },
        [](Tree& tree) { tree.id = UUID::random(); },
        [](Tree& tree) { tree.colour = Colour::green; },
        [](Tree& tree) { tree.age.reset(); },
        [](Tree& tree) { tree.height = 0.2; },
        [](Tree& tree) { tree.isOld = false; },
        [](Tree& tree) { tree.plantedAt = *tree.plantedAt + 0.001; },
        [](Tree& tree) { tree.page.reset(); },
        [](Tree& tree) { tree.first->isGreen = false; },
        [](Tree& tree) { tree.leaves.pop_back(); },
    };
    for (size_t index = 0; index < changes.size(); ++index) {
        Tree changed = stored;
        changes[index](changed);
        EXPECT_FALSE(table.holds(changed)) << index;
    }
}

TEST(ColumnCodingTest, anUnknownCodeLeavesWhatTheRecordStartsWith) {
    TreeTable table;
    table.insert(fullTree());
    table.database.exec("UPDATE Tree SET colour = 'blue'");
    EXPECT_EQ(table.read().colour, Colour::green);
}

TEST(JSONTextTest, aRecordReadsBack) {
    Tree tree = fullTree();
    std::string text;
    appendJSON(text, tree);
    EXPECT_EQ(decoded<Tree>(parseJSON(text)), tree);
}

struct Fruit {
    std::string colour;
    std::optional<std::string> taste;
    bool operator==(const Fruit&) const = default;
};
BOOST_DESCRIBE_STRUCT(Fruit, (), (colour, taste))
constexpr std::array<KeyName, 1> keyNames(const Fruit*) {
    return {{{"taste", "_taste"}}};
}

TEST(JSONTextTest, aMemberWithAKeyOfItsOwnHasIt) {
    std::string text;
    appendJSON(text, Fruit{"red", "sour"});
    EXPECT_EQ(text, R"({"colour":"red","_taste":"sour"})");
    EXPECT_EQ(decoded<Fruit>(parseJSON(text)), (Fruit{"red", "sour"}));
}

TEST(JSONTextTest, datesReadBackExactly) {
    std::mt19937_64 generator(7);
    std::uniform_real_distribution<double> seconds(-62135769600.0, 64092211200.0);
    for (int round = 0; round < 10'000; ++round) {
        Date date = dateFromSeconds(round % 2 == 0 ? seconds(generator) : std::floor(seconds(generator)));
        std::string text;
        appendJSON(text, date);
        ASSERT_EQ(secondsSince1970(decoded<Date>(parseJSON(text))), secondsSince1970(date)) << text;
    }
}

TEST(JSONTextTest, whatIsNoNumberReadsAsAbsent) {
    std::string text;
    appendJSON(text, Leaf{"a", dateFromSeconds(std::numeric_limits<double>::infinity()), false});
    EXPECT_EQ(decoded<Leaf>(parseJSON(text)).fallenAt, std::nullopt);
}

}  // namespace
}  // namespace marlet
