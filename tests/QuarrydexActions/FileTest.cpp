#include "QuarrydexActions/File.h"

#include "QuarrydexCore/text/Lang.h"

#include "tests/fakes/FakeProtectedPaths.h"
#include "tests/fakes/FakeRename.h"
#include "tests/fakes/FakeTrash.h"
#include "tests/support/TempTree.h"
#include "tests/support/TreeDump.h"

#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using File::Failure;
using Case = File::Failure::Case;

/// What the call throws; absent when it throws nothing.
std::optional<Failure> failureOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Failure& failure) {
        return failure;
    }
    return std::nullopt;
}

std::string descriptionOf(const std::function<void()>& call) {
    const auto failure = failureOf(call);
    return failure ? failure->errorDescription() : "(nothing was thrown)";
}

/// The real rename behind a fake one, which lets a test act between the check and the call.
struct FileTest : testing::Test {
    TempTree tree;
    FakeTrash trash;
    FakeRename rename;
    FakeProtectedPaths paths;
    ActionsPlatform platform{trash, rename, paths};
    const Rename& real = systemActionsPlatform().rename;

    FileTest() {
        Lang::shared().setChoice("en");
        beforeRename([] {});
    }

    void beforeRename(std::function<void()> act) {
        rename.answer = [this, act](const Item& item, const std::string& name,
                                    const RenameOptions& options) {
            act();
            return real.perform(item, name, options);
        };
    }

    std::string changeName(const std::string& rel, const std::string& name) {
        return File::changeName(tree.path(rel), name, platform);
    }
};

TEST_F(FileTest, FailuresNameTheObjectWhateverItIsCalled) {
    const std::string protected_ = " is a protected folder (drive, user, application or system "
                                   "folder) and is never changed by Quarrydex.";
    EXPECT_EQ(Failure::protected_("/home/ann").errorDescription(), "“ann”" + protected_);
    EXPECT_EQ(Failure::protected_("/").errorDescription(), "“/”" + protected_);
    EXPECT_STREQ(Failure::exists("x{name}").what(),
                 "There is already something named “x{name}” here.");
    EXPECT_EQ(Failure::noTrash("/m/d/").errorDescription(),
              "There is no Trash for “d” (e.g. a network or read-only drive).");
}

TEST_F(FileTest, RenamesWithinTheFolder) {
    const std::string longest = std::string(252, 'x') + "é" + "y"; // 255 bytes
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"a.txt", "  \tb.txt \t", "b.txt"},
        {"a.txt", " b.txt　", "b.txt"}, // spaces of other scripts
        {"a.txt", "b \n", "b \n"},      // line breaks are no spaces
        {"a.txt", longest, longest},
        {longest, "short", "short"},
        {"a.txt", "\xA0x\xE9 ", "\xA0x\xE9"}, // Latin-1 bytes, not a no-break space
        {"caf\xE9", "café", "café"},
        {"a.txt", "...", "..."},
        {"Song.mp3", "song.mp3", "song.mp3"},
    };
    for (const auto& [from, to, name] : cases) {
        tree.file("folder/" + from, "content");
        EXPECT_EQ(changeName("folder/" + from, to), tree.path("folder/" + name));
        const TreeDump after = dumpTree(tree.path("folder"));
        EXPECT_EQ(after.size(), 2U) << to;
        EXPECT_TRUE(after.contains(tree.path("folder/" + name))) << to;
        tree.remove("folder");
    }
}

TEST_F(FileTest, TheSameNameTouchesNothing) {
    tree.file("a.txt");
    EXPECT_EQ(changeName("a.txt", " a.txt "), tree.path("a.txt"));
    EXPECT_EQ(File::changeName(tree.path("/.//a.txt/"), "a.txt", platform), tree.path("a.txt"));
    EXPECT_TRUE(rename.asked.empty());
}

TEST_F(FileTest, BadNamesAreRefusedBeforeAnythingIsChanged) {
    tree.file("a.txt", "content");
    tree.file("b.txt", "other");
    tree.folder("folder");
    tree.link("dangling", "nowhere");
    const std::string separators = "The name cannot contain “/” and cannot be “.” or “..”.";
    const std::string tooLong = "The name is too long (255 bytes at most).";
    const auto taken = [](const std::string& name) {
        return "There is already something named “" + name + "” here.";
    };
    const std::pair<std::string, std::string> cases[] = {
        {"", "The name cannot be empty."},
        {" \t ", "The name cannot be empty."},
        {".", separators},
        {" .. ", separators},
        {"a/b", separators},
        {"/", separators},
        {std::string("b\0c", 3), separators},
        {std::string(256, 'x'), tooLong},
        {std::string(254, 'x') + "é", tooLong},
        {"b.txt", taken("b.txt")},
        {"folder", taken("folder")},
        {"dangling", taken("dangling")},
    };
    const TreeDump before = dumpTree(tree.path());
    for (const auto& [name, text] : cases)
        EXPECT_EQ(descriptionOf([&, &to = name] { changeName("a.txt", to); }), text);
    EXPECT_EQ(descriptionOf([&] { changeName("folder", "a.txt"); }), taken("a.txt"));
    EXPECT_EQ(descriptionOf([&] { changeName("gone", "x"); }), "“gone” no longer exists.");
    EXPECT_EQ(descriptionOf([&] { changeName("a.txt/below", "x"); }), "“below” no longer exists.");
    EXPECT_EQ(dumpTree(tree.path()), before);
}

TEST_F(FileTest, TheSystemsReasonIsPassedOn) {
    tree.file("a.txt");
    rename.answer = [](const auto&...) { return EACCES; };
    EXPECT_EQ(descriptionOf([&] { changeName("a.txt", "b"); }), "Cannot rename: Permission denied");
    rename.answer = [](const auto&...) { return ESTALE; };
    EXPECT_EQ(descriptionOf([&] { changeName("a.txt", "b"); }), "“a.txt” no longer exists.");
}

TEST_F(FileTest, OnlyAChangeOfCaseIsOneMoreSpelling) {
    tree.file("Straße.MP3");
    RenameOptions given;
    rename.answer = [&](const Item&, const std::string&, const RenameOptions& options) {
        given = options;
        return 0;
    };
    changeName("Straße.MP3", "straße.mp3");
    ASSERT_TRUE(given.isSpelling);
    EXPECT_TRUE(given.isSpelling("STRAßE.mp3"));
    EXPECT_FALSE(given.isSpelling("strasse.mp3"));
    changeName("Straße.MP3", "Strasse.MP3");
    EXPECT_FALSE(given.isSpelling);
}

TEST_F(FileTest, ProtectedAndMissingThingsNeverReachTheSystem) {
    tree.folder("drive/folder");
    tree.link("link", tree.path("drive"));
    paths.mountPoints = {tree.path("drive")};
    paths.homeFolders = {{tree.path("people/ann"), {tree.path("drive/folder")}}};
    const TreeDump before = dumpTree(tree.path());
    const std::pair<std::string, Case> cases[] = {
        {"/", Case::protected_},
        {"", Case::protected_},
        {"/usr/bin/env", Case::protected_},
        {"/System/Volumes/Data/Users/ann", Case::protected_},
        {tree.path("drive"), Case::protected_},
        {tree.path("drive/"), Case::protected_},
        {tree.path("people"), Case::protected_}, // holds a home
        {tree.path("drive/folder"), Case::protected_},
        {tree.path(".//drive/./folder/"), Case::protected_},
        {tree.path("drive/folder/.."), Case::protected_},
        {"relative/path/to", Case::protected_},
        {tree.path("drive") + std::string("\0/x/y", 5), Case::protected_},
        {tree.path("gone"), Case::missing},
        {tree.path("link/gone"), Case::missing},
        {"/System/Volumes/Data" + tree.path("gone"), Case::missing},
    };
    for (const auto& [path, kind] : cases) {
        EXPECT_EQ(File::isProtected(path, platform), kind == Case::protected_) << path;
        const std::function<void()> calls[] = {
            [&, &p = path] { (void)File::check(p, platform); },
            [&, &p = path] { File::moveToTrash(p, platform); },
            [&, &p = path] { File::changeName(p, "new", platform); },
        };
        for (const auto& call : calls) {
            const auto failure = failureOf(call);
            ASSERT_TRUE(failure) << path;
            EXPECT_EQ(failure->kind(), kind) << path;
        }
    }
    EXPECT_TRUE(trash.taken.empty());
    EXPECT_TRUE(rename.asked.empty());
    EXPECT_EQ(dumpTree(tree.path()), before);
}

TEST_F(FileTest, CheckReturnsTheOneFormOfAPath) {
    tree.file("folder/a");
    tree.link("folder/dangling", "nowhere");
    for (const char* rel : {"folder/a", "folder//a", "./folder/a/", "folder/./a"})
        EXPECT_EQ(File::check(tree.path(rel), platform), tree.path("folder/a"));
    EXPECT_EQ(File::check("/System/Volumes/Data" + tree.path("folder/a"), platform),
              tree.path("folder/a"));
    EXPECT_EQ(File::check(tree.path("folder/dangling/"), platform), tree.path("folder/dangling"));

    EXPECT_EQ(File::realPath("/System/Volumes/Data/Users/ann"), "/Users/ann");
    EXPECT_EQ(File::realPath("/System/Volumes/Data"), "/System/Volumes/Data");
    EXPECT_EQ(File::realPath("/System/Volumes/Database/x"), "/System/Volumes/Database/x");
}

TEST_F(FileTest, AnswersOfTheTrashBecomeFailures) {
    tree.file("folder/a");
    using Kind = TrashResult::Kind;
    const std::pair<TrashResult, std::string> failures[] = {
        {{Kind::gone, ""}, "“a” no longer exists."},
        {{Kind::unsupported, "x"},
         "There is no Trash for “a” (e.g. a network or read-only drive)."},
        {{Kind::failed, "it {broke}"}, "Cannot move to the Trash: it {broke}"},
    };
    const auto move = [&] { return File::moveToTrash(tree.path("folder/a/"), platform); };
    for (const auto& [result, text] : failures) {
        trash.answer = [&answer = result](const Item&) { return answer; };
        EXPECT_EQ(descriptionOf(move), text);
    }
    trash.answer = [](const Item&) { return TrashResult{Kind::moved, "/t/a"}; };
    EXPECT_EQ(move(), "/t/a");
    trash.answer = [](const Item&) { return TrashResult{Kind::moved, ""}; };
    EXPECT_EQ(move(), std::nullopt);
    EXPECT_EQ(trash.taken, std::vector<std::string>(5, tree.path("folder/a")));
}

TEST_F(FileTest, ATargetThatAppearsAfterTheCheckIsNeverReplaced) {
    const std::pair<const char*, std::function<void()>> appearances[] = {
        {"a file", [&] { tree.file("new", "precious"); }},
        {"a folder", [&] { tree.folder("new"); }},
        {"a dangling link", [&] { tree.link("new", "nowhere"); }},
    };
    for (const char* from : {"file", "dir"})
        for (const auto& [what, appear] : appearances) {
            tree.file("file", "content");
            tree.file("dir/inside", "content");
            TreeDump before;
            beforeRename([&, act = appear] {
                act();
                before = dumpTree(tree.path());
            });
            EXPECT_EQ(descriptionOf([&] { changeName(from, "new"); }),
                      "There is already something named “new” here.")
                << what;
            EXPECT_EQ(dumpTree(tree.path()), before) << from << " to " << what;
            tree.remove("new");
        }
}

TEST_F(FileTest, WhatTookThePlaceOfTheCheckedObjectIsNotRenamed) {
    const std::pair<const char*, std::function<void()>> swaps[] = {
        {"another folder", [&] { tree.folder("place/item"); }},
        {"a link to the object", [&] { tree.link("place/item", tree.path("away")); }},
        {"a link to another folder", [&] { tree.link("place/item", tree.path("other")); }},
        {"a file", [&] { tree.file("place/item"); }},
        {"nothing", [] {}},
        {"another parent folder",
         [&] {
             tree.rename("place", "moved");
             tree.file("place/item", "another");
         }},
        {"a link as parent folder",
         [&] {
             tree.rename("place", "moved");
             tree.link("place", tree.path("other"));
         }},
    };
    for (const auto& [what, swap] : swaps) {
        tree.file("place/item/inside", "content");
        tree.file("other/item", "another");
        TreeDump before;
        beforeRename([&, act = swap] {
            tree.rename("place/item", "away");
            act();
            before = dumpTree(tree.path());
        });
        EXPECT_EQ(descriptionOf([&] { changeName("place/item", "new"); }),
                  "“item” no longer exists.")
            << what;
        EXPECT_EQ(dumpTree(tree.path()), before) << what;
        for (const char* used : {"place", "moved", "other", "away"})
            tree.remove(used);
    }
}

} // namespace
} // namespace quarrydex
