#include "MarletWorkspace/ResolvedPath.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "MarletWorkspace/FolderScheme.h"
#include "TestSupport/OrdinaryUser.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

namespace fs = std::filesystem;

// A folder whose path holds no symbolic link, with what a test puts into it.
class Place {
public:
    Place() : root(fs::canonical(folder.path()).string()) {}

    std::string path(const std::string& relative) const { return root + "/" + relative; }
    std::string folderAt(const std::string& relative) const {
        fs::create_directories(path(relative));
        return path(relative);
    }
    void fileAt(const std::string& relative) const { std::ofstream(path(relative)) << "x"; }
    void linkAt(const std::string& relative, const std::string& target) const {
        fs::create_symlink(target, path(relative));
    }

private:
    TemporaryFolder folder;

public:
    const std::string root;
};

class CurrentFolder {
public:
    explicit CurrentFolder(const std::string& path) : before(fs::current_path()) { fs::current_path(path); }
    CurrentFolder(const CurrentFolder&) = delete;
    CurrentFolder& operator=(const CurrentFolder&) = delete;
    ~CurrentFolder() { fs::current_path(before); }

private:
    fs::path before;
};

FolderSchemeError failure(const std::string& root, const std::vector<std::string>& segments) {
    try {
        appendingCheckedSegments(root, segments);
    } catch (const FolderSchemeError& error) {
        return error;
    }
    throw std::logic_error("nothing is wrong with the segments");
}

void expectOutside(const std::string& root, const std::vector<std::string>& segments, const std::string& path) {
    FolderSchemeError error = failure(root, segments);
    EXPECT_EQ(error.kind(), FolderSchemeError::Case::outsideRoot);
    EXPECT_EQ(error.errorDescription(), path + " is outside the root folder.");
}

TEST(ResolvedPathTest, aPathThatExistsHasItsLinksResolved) {
    Place place;
    place.folderAt("real/deep");
    place.linkAt("link", "real");
    EXPECT_EQ(resolvedPath(place.path("link/deep")), place.path("real/deep"));
    EXPECT_EQ(resolvedPath(place.path("real")), place.path("real"));
}

TEST(ResolvedPathTest, namesThatDoNotExistYetFollowTheResolvedPart) {
    Place place;
    place.folderAt("real");
    place.linkAt("link", "real");
    EXPECT_EQ(resolvedPath(place.path("link/a/b/c")), place.path("real/a/b/c"));
    EXPECT_EQ(resolvedPath("/no-such-folder/a/b"), "/no-such-folder/a/b");
}

TEST(ResolvedPathTest, dotsAndNeedlessSlashesGoByTheTextAlone) {
    Place place;
    place.folderAt("real/deep");
    place.linkAt("link", "real/deep");
    EXPECT_EQ(resolvedPath(place.root + "//real/./deep///"), place.path("real/deep"));
    EXPECT_EQ(resolvedPath(place.path("none/../real/deep/..")), place.path("real"));
    // Not the folder above the link's target.
    EXPECT_EQ(resolvedPath(place.path("link/../x")), place.path("x"));
}

TEST(ResolvedPathTest, theRootStaysAndHasNothingAboveIt) {
    EXPECT_EQ(resolvedPath("/"), "/");
    EXPECT_EQ(resolvedPath("//"), "/");
    EXPECT_EQ(resolvedPath("/../.."), "/");
    EXPECT_EQ(resolvedPath("/../no-such-file"), "/no-such-file");
}

TEST(ResolvedPathTest, aLinkToTheRootIsTheRoot) {
    Place place;
    place.linkAt("top", "/");
    EXPECT_EQ(resolvedPath(place.path("top")), "/");
    EXPECT_EQ(resolvedPath(place.path("top/no-such-file")), "/no-such-file");
}

TEST(ResolvedPathTest, aRelativePathIsThatOfTheCurrentFolder) {
    Place place;
    place.folderAt("here");
    CurrentFolder current(place.path("here"));
    EXPECT_EQ(resolvedPath("a/../b"), place.path("here/b"));
    EXPECT_EQ(resolvedPath("../x"), place.path("x"));
    EXPECT_EQ(resolvedPath("."), place.path("here"));
    EXPECT_EQ(resolvedPath(""), place.path("here"));
    EXPECT_EQ(resolvedPath("~/x"), place.path("here/~/x"));
}

TEST(ResolvedPathTest, aDanglingLinkIsANameLikeAnyOther) {
    Place place;
    place.linkAt("dangling", "nowhere");
    EXPECT_EQ(resolvedPath(place.path("dangling")), place.path("dangling"));
    EXPECT_EQ(resolvedPath(place.path("dangling/x")), place.path("dangling/x"));
}

TEST(ResolvedPathTest, linksInACircleAreNamesLikeAnyOther) {
    Place place;
    place.linkAt("one", "two");
    place.linkAt("two", "one");
    EXPECT_EQ(resolvedPath(place.path("one/x")), place.path("one/x"));
}

TEST(ResolvedPathTest, namesBelowAFileFollowIt) {
    Place place;
    place.folderAt("real");
    place.fileAt("real/file");
    place.linkAt("link", "real/file");
    EXPECT_EQ(resolvedPath(place.path("link/x/y")), place.path("real/file/x/y"));
}

TEST(ResolvedPathTest, namesInAFolderThatMayNotBeSeenFollowIt) {
    Place place;
    place.folderAt("closed/inner");
    place.linkAt("link", "closed");
    place.linkAt("closed/hidden", "/");
    fs::permissions(place.root, fs::perms(0711));
    fs::permissions(place.path("closed"), fs::perms::none);
    {
        OrdinaryUser user;
        EXPECT_EQ(resolvedPath(place.path("link/hidden/x")), place.path("closed/hidden/x"));
    }
    fs::permissions(place.path("closed"), fs::perms::owner_all);
}

TEST(ResolvedPathTest, namesThatAreTooLongFollowTheResolvedPart) {
    Place place;
    place.folderAt("real");
    place.linkAt("link", "real");
    std::string longName(300, 'n');
    EXPECT_EQ(resolvedPath(place.path("link/" + longName)), place.path("real/" + longName));
    std::string longPath;
    for (int level = 0; level < 3000; ++level) {
        longPath += "/abc";
    }
    EXPECT_EQ(resolvedPath(place.path("link") + longPath), place.path("real") + longPath);
}

TEST(ResolvedPathTest, namesKeepTheirBytes) {
    Place place;
    place.folderAt(
        "gr\xC3\xB6\xC3\x9F"
        "e");
    place.folderAt(
        "gro\xCC\x88\xC3\x9F"
        "e");
    place.linkAt("line\nend",
                 "gro\xCC\x88\xC3\x9F"
                 "e");
    EXPECT_EQ(resolvedPath(place.path("gr\xC3\xB6\xC3\x9F"
                                      "e/%20\xFF")),
              place.path("gr\xC3\xB6\xC3\x9F"
                         "e/%20\xFF"));
    EXPECT_EQ(resolvedPath(place.path("line\nend/a\nb")), place.path("gro\xCC\x88\xC3\x9F"
                                                                     "e/a\nb"));
}

TEST(ResolvedPathTest, aNULIsRefusedRatherThanTakenForTheEnd) {
    try {
        resolvedPath(std::string("/tmp/a\0b/c", 10));
        FAIL() << "a path was cut";
    } catch (const FolderSchemeError& error) {
        EXPECT_EQ(error.kind(), FolderSchemeError::Case::invalidSegment);
        EXPECT_STREQ(error.what(), "“a\uFFFDb” can't be used as a folder name.");
    }
}

TEST(CheckedSegmentsTest, segmentsGoBelowTheResolvedRoot) {
    Place place;
    place.folderAt("real");
    place.linkAt("link", "real");
    EXPECT_EQ(appendingCheckedSegments(place.path("link"), {"a", "b c"}), place.path("real/a/b c"));
    EXPECT_EQ(appendingCheckedSegments(place.path("link/"), {"a/b", ".", "c/../d"}), place.path("real/a/b/d"));
    EXPECT_EQ(appendingCheckedSegments("/", {"no-such-folder"}), "/no-such-folder");
}

TEST(CheckedSegmentsTest, anAbsoluteSegmentStaysBelowTheRoot) {
    Place place;
    EXPECT_EQ(appendingCheckedSegments(place.root, {"/etc"}), place.path("etc"));
}

TEST(CheckedSegmentsTest, segmentsThatLeadUpAreRefused) {
    Place place;
    place.folderAt("root");
    place.folderAt("rooted");
    expectOutside(place.path("root"), {".."}, place.root);
    expectOutside(place.path("root"), {"a", "../.."}, place.root);
    expectOutside(place.path("root"), {"../rooted"}, place.path("rooted"));
}

TEST(CheckedSegmentsTest, segmentsThatLeadBackToTheRootAreRefused) {
    Place place;
    place.linkAt("back", ".");
    expectOutside(place.root, {}, place.root);
    expectOutside(place.root, {""}, place.root);
    expectOutside(place.root, {"a", ".."}, place.root);
    expectOutside(place.root, {"back"}, place.root);
    expectOutside("/", {".."}, "/");
}

TEST(CheckedSegmentsTest, aLinkThatLeadsOutIsRefused) {
    Place place;
    place.folderAt("root");
    place.folderAt("elsewhere");
    place.linkAt("root/out", place.path("elsewhere"));
    expectOutside(place.path("root"), {"out", "x"}, place.path("elsewhere/x"));
}

TEST(CheckedSegmentsTest, aLinkThatStaysBelowTheRootIsFollowed) {
    Place place;
    place.folderAt("root/inner");
    place.linkAt("root/in", "inner");
    EXPECT_EQ(appendingCheckedSegments(place.path("root"), {"in", "x"}), place.path("root/inner/x"));
}

TEST(CheckedSegmentsTest, aSegmentWithANULIsRefused) {
    EXPECT_EQ(failure("/tmp", {std::string("a\0b", 3)}).kind(), FolderSchemeError::Case::invalidSegment);
}

TEST(ExpandingTildeTest, onlyATildeAloneOrBeforeASlashIsTheHomeFolder) {
    EXPECT_EQ(expandingTilde("~", "/home/me"), "/home/me");
    EXPECT_EQ(expandingTilde("~/x", "/home/me"), "/home/me/x");
    EXPECT_EQ(expandingTilde("~/", "/home/me"), "/home/me/");
    for (const char* path : {"~you/x", "/a/~", "x~", "", "./~/x"}) {
        EXPECT_EQ(expandingTilde(path, "/home/me"), path);
    }
}

}  // namespace
}  // namespace marlet
