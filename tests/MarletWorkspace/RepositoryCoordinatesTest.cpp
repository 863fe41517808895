#include "MarletWorkspace/RepositoryCoordinates.h"

#include <gtest/gtest.h>

#include <boost/describe/enumerators.hpp>
#include <boost/mp11/algorithm.hpp>

namespace marlet {
namespace {

using Coordinates = RepositoryCoordinates;

struct Reading {
    const char* remote;
    Coordinates coordinates;
};

void expectReadings(std::initializer_list<Reading> readings) {
    for (const Reading& reading : readings) {
        std::optional<Coordinates> read = Coordinates::parse(reading.remote);
        ASSERT_TRUE(read) << reading.remote;
        EXPECT_EQ(read->host, reading.coordinates.host) << reading.remote;
        EXPECT_EQ(read->port, reading.coordinates.port) << reading.remote;
        EXPECT_EQ(read->owner, reading.coordinates.owner) << reading.remote;
        EXPECT_EQ(read->name, reading.coordinates.name) << reading.remote;
    }
}

void expectNone(std::initializer_list<std::string_view> remotes) {
    for (std::string_view remote : remotes) {
        EXPECT_FALSE(Coordinates::parse(remote)) << remote;
    }
}

URL url(const char* text) {
    return URL::parse(text).value();
}

Project projectWith(std::optional<URL> web, std::optional<URL> clone, std::optional<std::string> ssh) {
    Project project;
    project.webURL = std::move(web);
    project.cloneURL = std::move(clone);
    project.sshCloneURL = std::move(ssh);
    return project;
}

TEST(RepositoryCoordinatesTest, theShortFormOfSSHKeepsNestedGroupsAsTheOwner) {
    expectReadings({{"git@forge.example:team/sub/app.git", {"forge.example", std::nullopt, "team/sub", "app"}}});
}

TEST(RepositoryCoordinatesTest, anSSHURLGivesItsPortAndALowerCaseHost) {
    expectReadings({{"ssh://git@Forge.Example:2222/team/app", {"forge.example", 2222, "team", "app"}}});
}

TEST(RepositoryCoordinatesTest, aDefaultPortAndATrailingSlashDoNoHarm) {
    expectReadings({
        {"https://forge.example:443/team/app/", {"forge.example", std::nullopt, "team", "app"}},
        {"http://forge.example:80/team/app", {"forge.example", std::nullopt, "team", "app"}},
        {"ssh://forge.example:22/team/app", {"forge.example", std::nullopt, "team", "app"}},
        {"https://forge.example:022/team/app", {"forge.example", std::nullopt, "team", "app"}},
        {"https://forge.example:/team/app", {"forge.example", std::nullopt, "team", "app"}},
        {"https://forge.example//team///app//", {"forge.example", std::nullopt, "team", "app"}},
    });
}

TEST(RepositoryCoordinatesTest, everyOtherPortStays) {
    expectReadings({
        {"https://forge.example:8443/team/app", {"forge.example", 8443, "team", "app"}},
        {"https://forge.example:0/team/app", {"forge.example", 0, "team", "app"}},
        {"https://forge.example:70000/team/app", {"forge.example", 70000, "team", "app"}},
    });
}

TEST(RepositoryCoordinatesTest, aPortBeyondAllNumbersIsNoAddress) {
    expectNone({"https://forge.example:9223372036854775808/team/app"});
}

TEST(RepositoryCoordinatesTest, aURLWithoutAnOwnerGivesNone) {
    expectNone(
        {"https://forge.example/app", "https://forge.example/", "https://forge.example", "git@forge.example:app"});
}

TEST(RepositoryCoordinatesTest, aNameThatIsOnlyTheSuffixGivesNone) {
    expectNone({"https://forge.example/team/.git", "git@forge.example:team/.git"});
}

TEST(RepositoryCoordinatesTest, aNameAloneOrAPathGivesNone) {
    expectNone({"app.git", "/tmp/repo", "", " \n", "team/app", "./a:b/c", "~/x/y", R"(C:\x)", ":team/app", "h:"});
}

TEST(RepositoryCoordinatesTest, aURLWithoutAHostGivesNone) {
    expectNone({"file:///x/y/z", "https:///team/app", "://forge.example/team/app", "1x://forge.example/team/app",
                "a/b://forge.example/c/d", "https://[::1/team/app", "https://forge.example:port/team/app",
                "git@forge.example:team://app/x"});
}

TEST(RepositoryCoordinatesTest, userQueryAndFragmentOfAURLDoNotCount) {
    expectReadings({
        {"https://user:pw@host:8443/a/b.git?x/y#z", {"host", 8443, "a", "b"}},
        {"https://host/a/b?c=/d.git", {"host", std::nullopt, "a", "b"}},
        {"git+ssh://git@host/a/b#x", {"host", std::nullopt, "a", "b"}},
    });
}

TEST(RepositoryCoordinatesTest, anIPv6HostKeepsItsBrackets) {
    expectReadings({{"ssh://git@[FE80::1]:2222/a/b.git", {"[fe80::1]", 2222, "a", "b"}}});
}

TEST(RepositoryCoordinatesTest, escapesInAURLStandForTheirCharacters) {
    expectReadings({
        {"https://h/a%20b/c", {"h", std::nullopt, "a b", "c"}},
        {"https://h/a%2Fb/c%2Egit", {"h", std::nullopt, "a/b", "c"}},
        {"https://b%C3%9Ccher.example/a/b", {"bücher.example", std::nullopt, "a", "b"}},
        {"https://h/größe/ü b", {"h", std::nullopt, "größe", "ü b"}},
    });
}

TEST(RepositoryCoordinatesTest, escapesInTheShortFormStay) {
    expectReadings({{"h:a%20b/c", {"h", std::nullopt, "a%20b", "c"}}});
}

TEST(RepositoryCoordinatesTest, theFolderOfAUserIsAnOwnerLikeAnyOther) {
    expectReadings({{"ssh://git@h/~user/app.git", {"h", std::nullopt, "~user", "app"}},
                    {"h:~user/app", {"h", std::nullopt, "~user", "app"}}});
}

TEST(RepositoryCoordinatesTest, theShortFormTakesEverythingUpToTheFirstColonAsItsHost) {
    expectReadings({
        {"forge.example:team/app", {"forge.example", std::nullopt, "team", "app"}},
        {"Forge.Example:/team/app.git/", {"forge.example", std::nullopt, "team", "app"}},
        {"user:pw@h:a/b", {"h", std::nullopt, "a", "b"}},
        {"a@b@h:o/n", {"b@h", std::nullopt, "o", "n"}},
        {"localhost:3000/a/b", {"localhost", std::nullopt, "3000/a", "b"}},
        {"C:/x/y", {"c", std::nullopt, "x", "y"}},
        {"h:a/b:c", {"h", std::nullopt, "a", "b:c"}},
        {"git@h:a//b", {"h", std::nullopt, "a", "b"}},
    });
}

TEST(RepositoryCoordinatesTest, whiteSpaceAroundAnAddressDoesNoHarmAndALineEndInsideDoes) {
    expectReadings({{" \t\nhttps://h/a/b\r\n", {"h", std::nullopt, "a", "b"}},
                    {"\u00A0git@h:a/b\u2028", {"h", std::nullopt, "a", "b"}}});
    expectNone({"git@h:a/b\nc/d", "git@h:a/b\rc/d", "git@h:a/b\u2028c/d", "git@h:a/b\u0085c/d"});
}

TEST(RepositoryCoordinatesTest, onlyOneSuffixGoesAndOnlyInLowerCase) {
    expectReadings({
        {"https://h/a/b.git.git", {"h", std::nullopt, "a", "b.git"}},
        {"https://h/a/b.GIT", {"h", std::nullopt, "a", "b.GIT"}},
        {"https://h/a.git/b", {"h", std::nullopt, "a.git", "b"}},
        {"https://h/Team/App", {"h", std::nullopt, "Team", "App"}},
    });
}

TEST(RepositoryCoordinatesTest, whatIsNotUTF8GivesNone) {
    expectNone({"git@h:a\xFF/b", "git@h:a\x80/b", "https://h/a\xFF/b", "https://h/a%FF/b", "https://h%FF/a/b"});
}

TEST(RepositoryCoordinatesTest, aLongAddressIsReadInLinearTime) {
    std::string letters(1'000'000, 'a');
    EXPECT_FALSE(Coordinates::parse(letters));
    EXPECT_FALSE(Coordinates::parse(letters + "@" + letters));
    EXPECT_EQ(Coordinates::parse("git@h:" + letters + "/b")->owner, letters);
}

TEST(RepositoryCoordinatesTest, thePlainInitialiserBringsHostAndPortIntoTheirForm) {
    EXPECT_EQ(Coordinates("Forge.Example", 443, "Team", "App.git").host, "forge.example");
    EXPECT_EQ(Coordinates("h", 443, "a", "b").port, std::nullopt);
    EXPECT_EQ(Coordinates("h", 80, "a", "b").port, std::nullopt);
    EXPECT_EQ(Coordinates("h", 22, "a", "b").port, std::nullopt);
    EXPECT_EQ(Coordinates("h", 2222, "a", "b").port, 2222);
    EXPECT_EQ(Coordinates("h", std::nullopt, "Team", "App.git").owner, "Team");
    EXPECT_EQ(Coordinates("h", std::nullopt, "Team", "App.git").name, "App.git");
}

TEST(RepositoryCoordinatesTest, anotherPortIsTheSameRepository) {
    Coordinates plain("h", std::nullopt, "a", "b");
    Coordinates withPort("h", 8443, "a", "b");
    EXPECT_TRUE(plain.isSameRepository(withPort));
    EXPECT_NE(plain, withPort);
}

TEST(RepositoryCoordinatesTest, theCaseOfOwnerAndNameMakesNoOtherRepository) {
    Coordinates lower("h", std::nullopt, "équipe/sub", "app");
    Coordinates upper("h", std::nullopt, "ÉQUIPE/Sub", "App");
    EXPECT_TRUE(lower.isSameRepository(upper));
    EXPECT_NE(lower, upper);
}

TEST(RepositoryCoordinatesTest, anotherHostOwnerOrNameIsAnotherRepository) {
    Coordinates one("h", std::nullopt, "a", "b");
    EXPECT_FALSE(one.isSameRepository({"i", std::nullopt, "a", "b"}));
    EXPECT_FALSE(one.isSameRepository({"h", std::nullopt, "c", "b"}));
    EXPECT_FALSE(one.isSameRepository({"h", std::nullopt, "a", "c"}));
    Coordinates decodedAsItStood = one;
    decodedAsItStood.host = "H";
    EXPECT_FALSE(one.isSameRepository(decodedAsItStood));
}

TEST(RepositoryCoordinatesTest, theHostsFolderIsNamedWithItsPort) {
    EXPECT_EQ(Coordinates("forge.example", std::nullopt, "a", "b").hostFolderName(), "forge.example");
    EXPECT_EQ(Coordinates("forge.example", 2222, "a", "b").hostFolderName(), "forge.example_2222");
}

TEST(CloneProtocolTest, allCasesAreKnownByCodeAndTitleInOrder) {
    std::vector<std::pair<std::string, std::string>> seen;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<CloneProtocol>>(
        [&](auto each) { seen.emplace_back(each.name, title(each.value)); });
    std::vector<std::pair<std::string, std::string>> expected = {{"ssh", "SSH"}, {"https", "HTTPS"}};
    EXPECT_EQ(seen, expected);
}

TEST(ProjectRepositoryTest, aProjectWithACloneAddressIsARepository) {
    EXPECT_FALSE(isRepository(projectWith(url("https://h/a/b"), std::nullopt, std::nullopt)));
    EXPECT_TRUE(isRepository(projectWith(std::nullopt, url("https://h/a/b"), std::nullopt)));
    EXPECT_TRUE(isRepository(projectWith(std::nullopt, std::nullopt, "git@h:a/b")));
}

TEST(ProjectRepositoryTest, aProjectWithoutACloneAddressHasNoCoordinates) {
    EXPECT_EQ(repositoryCoordinates(projectWith(url("https://h/a/b"), std::nullopt, std::nullopt)), std::nullopt);
}

TEST(ProjectRepositoryTest, theFirstAddressThatIsOneGivesTheCoordinates) {
    Coordinates web("web", std::nullopt, "a", "b");
    Coordinates clone("clone", std::nullopt, "a", "b");
    Coordinates ssh("ssh", std::nullopt, "a", "b");
    URL cloneURL = url("https://clone/a/b.git");
    EXPECT_EQ(repositoryCoordinates(projectWith(url("https://web/a/b"), cloneURL, "git@ssh:a/b.git")), web);
    EXPECT_EQ(repositoryCoordinates(projectWith(url("https://web/b"), cloneURL, "git@ssh:a/b.git")), clone);
    EXPECT_EQ(repositoryCoordinates(projectWith(std::nullopt, cloneURL, "git@ssh:a/b.git")), clone);
    EXPECT_EQ(repositoryCoordinates(projectWith(url("https://web/b"), url("file:///a/b"), "git@ssh:a/b.git")), ssh);
    EXPECT_EQ(repositoryCoordinates(projectWith(std::nullopt, std::nullopt, "git@ssh:a/b.git")), ssh);
    EXPECT_EQ(repositoryCoordinates(projectWith(std::nullopt, url("file:///a/b"), "/a/b")), std::nullopt);
}

TEST(ProjectRepositoryTest, theCloneAddressIsThatOfTheProtocolOrElseTheOther) {
    Project both = projectWith(std::nullopt, url("https://h/a/b.git"), "git@h:a/b.git");
    EXPECT_EQ(cloneAddress(both, CloneProtocol::https), "https://h/a/b.git");
    EXPECT_EQ(cloneAddress(both, CloneProtocol::ssh), "git@h:a/b.git");

    Project https = projectWith(std::nullopt, url("https://h/a/b.git"), std::nullopt);
    EXPECT_EQ(cloneAddress(https, CloneProtocol::https), "https://h/a/b.git");
    EXPECT_EQ(cloneAddress(https, CloneProtocol::ssh), "https://h/a/b.git");

    Project ssh = projectWith(std::nullopt, std::nullopt, "git@h:a/b.git");
    EXPECT_EQ(cloneAddress(ssh, CloneProtocol::https), "git@h:a/b.git");
    EXPECT_EQ(cloneAddress(ssh, CloneProtocol::ssh), "git@h:a/b.git");

    Project neither = projectWith(url("https://h/a/b"), std::nullopt, std::nullopt);
    EXPECT_EQ(cloneAddress(neither, CloneProtocol::https), std::nullopt);
    EXPECT_EQ(cloneAddress(neither, CloneProtocol::ssh), std::nullopt);
}

}  // namespace
}  // namespace marlet
