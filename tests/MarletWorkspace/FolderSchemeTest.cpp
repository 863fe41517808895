#include "MarletWorkspace/FolderScheme.h"

#include <gtest/gtest.h>

#include <boost/describe/enumerators.hpp>
#include <boost/mp11/algorithm.hpp>

namespace marlet {
namespace {

using Names = std::vector<std::string>;
using Values = std::map<std::string, std::string>;

const RepositoryCoordinates nested("forge.example", 2222, "team/sub", "app");

Names rendered(const std::string& pattern, const Values& values = {}) {
    return PathTemplate{pattern}.render(values);
}

// The error that rendering ends in.
FolderSchemeError failure(const std::string& pattern, const Values& values = {}) {
    try {
        rendered(pattern, values);
    } catch (const FolderSchemeError& error) {
        return error;
    }
    throw std::logic_error(pattern + " can be rendered");
}

void expectFailure(const FolderSchemeError& error, FolderSchemeError::Case kind, const std::string& subject,
                   const std::string& message) {
    EXPECT_EQ(error.kind(), kind);
    EXPECT_EQ(error.subject(), subject);
    EXPECT_EQ(error.errorDescription(), message);
}

TEST(PathTemplateTest, placeholdersStandForTheirValuesAndSlashesSeparateFolders) {
    EXPECT_EQ(rendered("{a}/x-{b}/{a}{b}", {{"a", "1"}, {"b", "2"}}), (Names{"1", "x-2", "12"}));
    EXPECT_EQ(rendered("plain"), Names{"plain"});
}

TEST(PathTemplateTest, anUnknownPlaceholderFailsWithItsName) {
    expectFailure(failure("{a}/{b}/{c}", {{"a", "1"}}), FolderSchemeError::Case::unknownToken, "b",
                  "The folder template contains an unknown placeholder, {b}.");
}

TEST(PathTemplateTest, anUnknownPlaceholderFailsBeforeAnythingElseDoes) {
    EXPECT_EQ(failure("../{nope}").kind(), FolderSchemeError::Case::unknownToken);
}

TEST(PathTemplateTest, anEmptyPlaceholderFailsWithTheEmptyName) {
    expectFailure(failure("{}", {{"a", "1"}}), FolderSchemeError::Case::unknownToken, "",
                  "The folder template contains an unknown placeholder, {}.");
}

TEST(PathTemplateTest, anEmptyPlaceholderThatIsKnownStaysAsItIs) {
    EXPECT_EQ(rendered("x{}{a}", {{"", "never"}, {"a", "1"}}), Names{"x{}1"});
}

TEST(PathTemplateTest, placeholdersMayBeWordsOfAnyScript) {
    EXPECT_EQ(rendered("{größe}_{мера}", {{"größe", "1"}, {"мера", "2"}}), Names{"1_2"});
    for (const char* word : {"e\u0301", "a_1", "a\u203Fb", "\u0661", "\u24B6", "a\u200Cb", "a\u200Db"}) {
        EXPECT_EQ(failure("{" + std::string(word) + "}").subject(), word);
    }
}

TEST(PathTemplateTest, bracesAroundNoWordAreText) {
    EXPECT_EQ(rendered("{a b}{-}{a", {{"a", "1"}}), Names{"{a b}{-}{a"});
    EXPECT_EQ(rendered("{{a}}", {{"a", "1"}}), Names{"{1}"});
    EXPECT_EQ(rendered("{²}"), Names{"{²}"});
}

TEST(PathTemplateTest, aPlaceholderInsideAValueStays) {
    EXPECT_EQ(rendered("{a}", {{"a", "{b}{a}"}, {"b", "2"}}), Names{"{b}{a}"});
}

TEST(PathTemplateTest, aSlashInsideAValueMakesALevel) {
    EXPECT_EQ(rendered("{a}-x", {{"a", "/one//two/"}}), (Names{"one", "two", "-x"}));
}

TEST(PathTemplateTest, controlCharactersGo) {
    EXPECT_EQ(rendered(std::string("a\0b\n\x1F\x7F\xC2\x85/c\t", 11)), (Names{"ab", "c"}));
}

TEST(PathTemplateTest, joinersOfWordsAndEmojiStay) {
    EXPECT_EQ(rendered("نمی\u200Cدانم/👩\u200D💻"), (Names{"نمی\u200Cدانم", "👩\u200D💻"}));
}

TEST(PathTemplateTest, aColonBecomesAnUnderscore) {
    EXPECT_EQ(rendered("a:b::c/:"), (Names{"a_b__c", "_"}));
}

TEST(PathTemplateTest, blanksAtBothEndsGo) {
    EXPECT_EQ(rendered(" \t a b \t/\u00A0c\u00A0"), (Names{"a b", "\u00A0c\u00A0"}));
}

TEST(PathTemplateTest, emptyPiecesAreDropped) {
    EXPECT_EQ(rendered("/a// /\x01/\t/b/"), (Names{"a", "b"}));
}

TEST(PathTemplateTest, aPieceThatBeginsWithADotFails) {
    for (std::string piece : {".", "..", "...", ".git", ".\u0301x"}) {
        expectFailure(failure("a/" + piece + "/b"), FolderSchemeError::Case::invalidSegment, piece,
                      "“" + piece + "” can't be used as a folder name.");
    }
    EXPECT_EQ(rendered("a."), Names{"a."});
}

TEST(PathTemplateTest, aDotThatCleaningBringsToTheStartFails) {
    EXPECT_EQ(failure(" \x01 .. ").subject(), "..");
    EXPECT_EQ(failure(".\x7F.").subject(), "..");
}

TEST(PathTemplateTest, anEmptyPathFails) {
    for (const char* pattern : {"", "/", " / \x01", "{a}"}) {
        expectFailure(failure(pattern, {{"a", ""}}), FolderSchemeError::Case::empty, "",
                      "The folder template produces an empty path.");
    }
}

TEST(PathTemplateTest, bytesThatAreNotUTF8AreReplaced) {
    EXPECT_EQ(rendered("a\xFF/{b}", {{"b", "\xC3"}}), (Names{"a\uFFFD", "\uFFFD"}));
}

TEST(PathTemplateTest, aSegmentHoldsNoSlash) {
    EXPECT_EQ(PathTemplate::segment("a/b//c:\n "), "a-b--c:\n ");
    EXPECT_EQ(PathTemplate::segment(""), "");
}

TEST(PathTemplateTest, aSlugIsOfLettersDigitsAndSingleDashes) {
    EXPECT_EQ(PathTemplate::slug("Fix login", 40), "fix-login");
    EXPECT_EQ(PathTemplate::slug("  --A_b/C.. 12!?", 40), "a-b-c-12");
    EXPECT_EQ(PathTemplate::slug("", 40), "");
    EXPECT_EQ(PathTemplate::slug("日本語 — …", 40), "");
}

TEST(PathTemplateTest, aSlugFoldsCaseAndDiacriticsAway) {
    EXPECT_EQ(PathTemplate::slug("Écrire À NOËL", 40), "ecrire-a-noel");
    EXPECT_EQ(PathTemplate::slug("Fix: Crème brûlée!", 40), "fix-creme-brulee");
    EXPECT_EQ(PathTemplate::slug("E\u0301crire n\u0303", 40), "ecrire-n");
    EXPECT_EQ(PathTemplate::slug("Straße GROẞ", 40), "strasse-gross");
    EXPECT_EQ(PathTemplate::slug("ﬁne \u212Aelvin \u212Bngström İstanbul", 40), "fine-kelvin-angstrom-istanbul");
}

TEST(PathTemplateTest, aSlugFoldsNoLettersThatAreLettersOfTheirOwn) {
    EXPECT_EQ(PathTemplate::slug("Smørrebrød Œuvre ｆｕｌｌ ²x ıb", 40), "sm-rrebr-d-uvre-x-b");
}

TEST(PathTemplateTest, aSlugIsCutAndEndsInNoDash) {
    EXPECT_EQ(PathTemplate::slug("abc def", 7), "abc-def");
    EXPECT_EQ(PathTemplate::slug("abc def", 6), "abc-de");
    EXPECT_EQ(PathTemplate::slug("abc def", 4), "abc");
    EXPECT_EQ(PathTemplate::slug("abc def", 3), "abc");
    EXPECT_EQ(PathTemplate::slug("abc  ", 3), "abc");
    EXPECT_EQ(PathTemplate::slug("abc", 0), "");
}

TEST(PathTemplateTest, aHugeTitleIsSluggedInLinearTime) {
    std::string dashes(500'000, '-');
    EXPECT_EQ(PathTemplate::slug(dashes + "x" + dashes + "é" + dashes, 40), "x-e");
    EXPECT_EQ(PathTemplate::slug(std::string(500'000, 'x'), 40), std::string(40, 'x'));
}

TEST(CheckoutLayoutTest, allCasesAreKnownByCodeTitleAndTemplateInOrder) {
    std::vector<std::vector<std::string>> seen;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<CheckoutLayout>>([&](auto each) {
        std::optional<PathTemplate> known = templateOf(each.value);
        seen.push_back({each.name, title(each.value), known ? known->pattern : "none"});
    });
    std::vector<std::vector<std::string>> expected = {
        {"hostOwnerRepo", "Host / Owner / Repository", "{host}/{owner}/{repo}"},
        {"ownerRepo", "Owner / Repository", "{owner}/{repo}"},
        {"repo", "Repository", "{repo}"},
        {"custom", "Custom", "none"},
    };
    EXPECT_EQ(seen, expected);
}

FolderSchemeError failureOf(const CheckoutScheme& scheme, const RepositoryCoordinates& coordinates) {
    try {
        scheme.relativePath(coordinates, "me");
    } catch (const FolderSchemeError& error) {
        return error;
    }
    throw std::logic_error(scheme.pathTemplate().pattern + " can be rendered");
}

TEST(CheckoutSchemeTest, itsTokensAreNamedInOrder) {
    EXPECT_EQ(CheckoutScheme::tokens, (Names{"host", "owner", "repo", "account"}));
}

TEST(CheckoutSchemeTest, itsTemplateIsThatOfTheLayoutOrItsOwn) {
    EXPECT_EQ((CheckoutScheme{CheckoutLayout::ownerRepo, "ignored"}).pathTemplate().pattern, "{owner}/{repo}");
    EXPECT_EQ((CheckoutScheme{CheckoutLayout::custom, "x/{repo}"}).pathTemplate().pattern, "x/{repo}");
}

TEST(CheckoutSchemeTest, nestedGroupsStayNestedFolders) {
    EXPECT_EQ((CheckoutScheme{CheckoutLayout::hostOwnerRepo, {}}).relativePath(nested, "me"),
              (Names{"forge.example_2222", "team", "sub", "app"}));
    EXPECT_EQ((CheckoutScheme{CheckoutLayout::ownerRepo, {}}).relativePath(nested, "me"),
              (Names{"team", "sub", "app"}));
    EXPECT_EQ((CheckoutScheme{CheckoutLayout::repo, {}}).relativePath(nested, "me"), Names{"app"});
}

TEST(CheckoutSchemeTest, everythingButTheOwnerIsOneFolder) {
    RepositoryCoordinates odd("h/x", std::nullopt, "a/b", "c/d");
    CheckoutScheme scheme{CheckoutLayout::custom, "{host}/{owner}/{repo}/{account}"};
    EXPECT_EQ(scheme.relativePath(odd, "e/f"), (Names{"h-x", "a", "b", "c-d", "e-f"}));
}

TEST(CheckoutSchemeTest, anOwnerCannotLeaveTheRoot) {
    RepositoryCoordinates hostile("h", std::nullopt, "a/..", "b");
    EXPECT_THROW(CheckoutScheme().relativePath(hostile, "me"), FolderSchemeError);
}

TEST(CheckoutSchemeTest, aPlaceholderThatIsNotItsOwnIsUnknownToIt) {
    expectFailure(failureOf({CheckoutLayout::custom, "{repo}/{branch}"}, nested), FolderSchemeError::Case::unknownToken,
                  "branch", "The folder template contains an unknown placeholder, {branch}.");
    EXPECT_EQ(failureOf({CheckoutLayout::custom, "{task}"}, nested).subject(), "task");
}

TEST(CheckoutSchemeTest, aNameThatBeginsWithADotFailsUnderEveryLayout) {
    RepositoryCoordinates hidden("h", std::nullopt, "team", ".github");
    for (CheckoutLayout layout :
         {CheckoutLayout::hostOwnerRepo, CheckoutLayout::ownerRepo, CheckoutLayout::repo, CheckoutLayout::custom}) {
        expectFailure(failureOf({layout, "work/{repo}"}, hidden), FolderSchemeError::Case::invalidSegment, ".github",
                      "“.github” can't be used as a folder name.");
    }
}

TEST(CheckoutSchemeTest, aTemplateOfTheUsersMayHaveFoldersOfItsOwn) {
    CheckoutScheme scheme{CheckoutLayout::custom, "work/{owner}/{repo}"};
    EXPECT_EQ(scheme.relativePath(nested, "me"), (Names{"work", "team", "sub", "app"}));
}

TEST(CheckoutSchemeTest, anAccountNameOfSpacesIsDropped) {
    CheckoutScheme scheme{CheckoutLayout::custom, "{account}/{repo}"};
    EXPECT_EQ(scheme.relativePath(nested, "   "), Names{"app"});
}

TEST(WorkspaceSchemeTest, itsTokensAreNamedInOrder) {
    EXPECT_EQ(WorkspaceScheme::tokens, (Names{"account", "project", "task", "title"}));
}

TEST(WorkspaceSchemeTest, theDefaultTemplateNamesAccountProjectTaskAndTitle) {
    EXPECT_EQ(WorkspaceScheme().pathTemplate.pattern, "{account}/{project}/{task}-{title}");
    EXPECT_EQ(WorkspaceScheme().relativePath("Work", "team/app", "a/42", "Fix: the login!"),
              (Names{"Work", "team-app", "a-42-fix-the-login"}));
}

TEST(WorkspaceSchemeTest, aTitleIsCutAtFortyCharacters) {
    WorkspaceScheme scheme{{"{title}"}};
    EXPECT_EQ(scheme.relativePath("a", "p", "1", std::string(60, 'x')), Names{std::string(40, 'x')});
    EXPECT_EQ(scheme.relativePath("a", "p", "1", std::string(39, 'x') + " word"), Names{std::string(39, 'x')});
}

TEST(WorkspaceSchemeTest, aTitleOfSymbolsLeavesTheDashBehindTheTask) {
    EXPECT_EQ(WorkspaceScheme().relativePath("Work", "app", "12", "→ …!"), (Names{"Work", "app", "12-"}));
}

TEST(WorkspaceSchemeTest, slashesInNamesMakeNoLevels) {
    WorkspaceScheme scheme{{"{account}/{project}/{task}"}};
    EXPECT_EQ(scheme.relativePath("a/b", "c/../d", "e/f", ""), (Names{"a-b", "c-..-d", "e-f"}));
}

}  // namespace
}  // namespace marlet
