// What keepalived tells. The lines are those of version 2.2.7.
#include "executor/availability/keepalived_words.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

struct NoticeCase {
    const char *line;
    int index;
    Place place;
};

TEST(KeepalivedWords, placesInElections) {
    for (const NoticeCase &each : {NoticeCase{R"(GROUP "ha0" MASTER 0)", 0, Place::active},
                                   NoticeCase{R"(GROUP "ha1" BACKUP 100)", 1, Place::standby},
                                   NoticeCase{R"(GROUP "ha0" FAULT 0)", 0, Place::failed},
                                   NoticeCase{R"(GROUP "ha0" STOP 0)", 0, Place::standby}}) {
        const std::optional<Notice> notice = parseNotice(each.line);
        ASSERT_TRUE(notice) << each.line;
        EXPECT_EQ(notice->kind, NoticeKind::election);
        EXPECT_EQ(notice->index, each.index);
        EXPECT_EQ(notice->place, each.place) << each.line;
    }
}

TEST(KeepalivedWords, anInstanceTellsOfTwoAndOfNothingElse) {
    const std::optional<Notice> notice = parseNotice(R"(INSTANCE "ha1_40" MASTER_RX_LOWER_PRI 110)");
    ASSERT_TRUE(notice);
    EXPECT_EQ(notice->kind, NoticeKind::twoActive);
    EXPECT_EQ(notice->index, 1);
    for (const char *line : {R"(INSTANCE "ha0_12" MASTER 110)", R"(INSTANCE "ha0_12" FAULT 110)",
                             R"(INSTANCE "ha0_12" BACKUP_PRIORITY 60)", R"(GROUP "others" MASTER 0)",
                             R"(GROUP "ha2" MASTER 0)", R"(GROUP "ha-1" MASTER 0)", R"(GROUP "ha0x" MASTER 0)",
                             R"(GROUP "ha99999999999" MASTER 0)", "GROUP", "", "   ", R"(GROUP "ha0")"})
        EXPECT_FALSE(parseNotice(line)) << line;
}

TEST(KeepalivedWords, pathsGoUpAndDown) {
    struct Case {
        const char *line;
        int path;
        bool isUp;
    };
    for (const Case &each : {Case{"Sat Nov 21 19:59:28 2026: (path0) Entering Up state", 0, true},
                             Case{"Sat Nov 21 19:59:32 2026: (path1) Entering Down state (Local diagnostic - Control "
                                  "Detection Time Expired)",
                                  1, false},
                             Case{"(path31) Entering AdminDown state", 31, false}}) {
        const std::optional<Notice> notice = parseLogLine(each.line);
        ASSERT_TRUE(notice) << each.line;
        EXPECT_EQ(notice->kind, NoticeKind::path);
        EXPECT_EQ(notice->index, each.path);
        EXPECT_EQ(notice->isUp, each.isUp);
    }
    for (const char *line : {"Sat Nov 21 19:59:28 2026: (path0) Starting poll sequence",
                             "Sat Nov 21 19:59:28 2026: (ha0_12) Entering Up state", "(path32) Entering Up state",
                             "(path-1) Entering Up state", "(path0 Entering Up state", "", "("})
        EXPECT_FALSE(parseLogLine(line)) << line;
}

TEST(KeepalivedWords, omensTellWhyADirectorChangesItsPlace) {
    struct Case {
        const char *line;
        int election;
        Omen omen;
    };
    for (const Case &each :
         {Case{"Sat Nov 21 19:59:39 2026: (ha0_12) Receive advertisement timeout", 0, Omen::silence},
          Case{"Sat Nov 21 19:59:36 2026: (ha1_12) Backup received priority 0 advertisement", 1, Omen::gaveWay},
          Case{"(ha0_12) received lower priority (60) advert from 10.1.0.2 - discarding", 0, Omen::higher},
          Case{"(ha0_12) Master received advert from 10.1.0.1 with higher priority 160, ours 150", 0, Omen::lower},
          Case{"(ha1_12) Master received advert from 10.1.0.1 with same priority 150 but higher IP address than ours",
               1, Omen::lower}}) {
        const std::optional<Notice> notice = parseLogLine(each.line);
        ASSERT_TRUE(notice) << each.line;
        EXPECT_EQ(notice->kind, NoticeKind::omen);
        EXPECT_EQ(notice->index, each.election);
        EXPECT_EQ(notice->omen, each.omen) << each.line;
    }
    for (const char *line : {"(ha2_12) Receive advertisement timeout", "(other) Receive advertisement timeout",
                             "(ha0_12) Entering MASTER STATE"})
        EXPECT_FALSE(parseLogLine(line)) << line;
}

TEST(KeepalivedWords, aCheckIsPassedWithNothingToSayButOfSinglePaths) {
    const std::string single = "Sync group ha0 has only 1 virtual router(s) - this probably isn't what you want\n";
    for (const std::string &good : {std::string("0\n"), "a note\n0\n" + std::string(), single + "5\n"})
        EXPECT_TRUE(isAccepted(good)) << good;
    for (const std::string &bad : {single + "Unknown interface!\n5\n", std::string("5\n") + single, std::string("1\n"),
                                   single + "1\n", std::string(), single, std::string("Unknown keyword\n5\n")})
        EXPECT_FALSE(isAccepted(bad)) << bad;
}

TEST(KeepalivedWords, theFirstMistakeIsToldWithoutItsTime) {
    EXPECT_EQ(mistakeIn("Sat Nov 21 19:59:28 2026: Starting\n"
                        "Sat Nov 21 19:59:28 2026: (/run/x: Line 30) number '500' outside range\n"
                        "Sat Nov 21 19:59:28 2026: Configuration error: a\nStopped\n"),
              "(/run/x: Line 30) number '500' outside range");
    EXPECT_EQ(mistakeIn("Starting\nStopped\n"), "Stopped");
    EXPECT_EQ(mistakeIn(""), "");
}

TEST(KeepalivedWords, theMindersFirstLineIsANumber) {
    EXPECT_EQ(processIn("1234"), 1234);
    EXPECT_EQ(processIn("1234\n"), 1234);
    EXPECT_EQ(processIn("Sat Nov 21"), 0);
    EXPECT_EQ(processIn(""), 0);
}

} // namespace
} // namespace rk
