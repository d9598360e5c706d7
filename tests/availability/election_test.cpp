// What a director makes of the elections. The clock is the test's own.
#include "executor/availability/election.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

constexpr Moment kAdvert = 1000;

Partnership partnership(int paths, bool isManual = false, int priority = 110, int elections = 1) {
    Partnership made;
    made.isPaired = true;
    made.isManual = isManual;
    made.advertMilliseconds = kAdvert;
    made.paths.resize(static_cast<std::size_t>(paths));
    made.elections.resize(static_cast<std::size_t>(elections));
    for (int election = 0; election < elections; ++election)
        made.elections[static_cast<std::size_t>(election)].priority = election == 0 ? priority : 210 - priority;
    return made;
}

// A director at its clock.
struct Director {
    Elections elections;
    Moment now = 100'000;
    std::string words; // since they were last looked at

    explicit Director(const Partnership &made) {
        describeElections(elections, made);
        if (!made.paths.empty())
            beginElections(elections, now);
    }
    void hears(Place place, int election = 0) {
        hearNotice(elections, {NoticeKind::election, election, place, false, Omen::none}, now, words);
    }
    void hearsPath(int path, bool isUp) {
        hearNotice(elections, {NoticeKind::path, path, Place::none, isUp, Omen::none}, now, words);
    }
    void hearsOmen(Omen omen) {
        hearNotice(elections, {NoticeKind::omen, 0, Place::none, false, omen}, now, words);
    }
    void hearsTwoActive() {
        hearNotice(elections, {NoticeKind::twoActive, 0, Place::active, false, Omen::none}, now, words);
    }
    void waits(Moment milliseconds) {
        now += milliseconds;
        passTime(elections, now, words);
    }
    int boost(std::size_t election = 0) const {
        return boostOf(elections, election, now);
    }
    AddressRule rule(std::size_t election = 0) const {
        return ruleFor(elections, election);
    }
    std::string takeWords() {
        return std::exchange(words, "");
    }
    // When it announces within the next seconds, counted from now.
    std::vector<Moment> announcements() {
        std::vector<Moment> times;
        for (Moment after = 0; after <= 6000; after += 100) {
            if (takeAnnouncements(elections, now + after))
                times.push_back(after);
        }
        return times;
    }
};

using Moments = std::vector<Moment>;

TEST(Election, addressesFollowThePlace) {
    Director director(partnership(1));
    EXPECT_EQ(director.rule(), AddressRule::leave) << "nothing has been told yet";
    director.hears(Place::standby);
    EXPECT_EQ(director.rule(), AddressRule::down);
    director.hears(Place::active);
    EXPECT_EQ(director.rule(), AddressRule::up);
    director.hears(Place::failed);
    EXPECT_EQ(director.rule(), AddressRule::down);
    director.hears(Place::active);
    director.hears(Place::standby);
    EXPECT_EQ(director.rule(), AddressRule::down);
}

TEST(Election, neighboursAreToldAtOnceAndAgain) {
    Director director(partnership(1));
    director.hears(Place::standby);
    EXPECT_EQ(director.announcements(), Moments{});
    director.hears(Place::active);
    EXPECT_EQ(director.announcements(), (Moments{0, 200, 1000, 5000}));
    director.hears(Place::standby);
    director.hears(Place::active);
    director.hears(Place::standby);
    EXPECT_EQ(director.announcements(), Moments{}) << "a standby must not announce";
}

// Two were active: the neighbours have the address of the one that gives way.
TEST(Election, afterTwoWereActiveTheOneThatStaysAnnouncesAgain) {
    Director director(partnership(2));
    director.hears(Place::active);
    director.announcements();
    director.waits(60'000);
    director.hearsTwoActive();
    EXPECT_EQ(director.announcements(), (Moments{0, 500, 1000, 2000, 5000}));
    EXPECT_NE(director.elections.elections[0].twoActiveSince, 0);
    director.waits(3 * kAdvert);
    director.hearsTwoActive(); // still
    director.waits(12'000);
    EXPECT_EQ(director.elections.elections[0].twoActiveSince, 0) << "it is over when it is told no more";
    EXPECT_NE(director.takeWords().find("two directors are active"), std::string::npos);
}

// The partner gave way before anything of it was heard: its neighbours would send to it still.
TEST(Election, whoeverIsActiveAnnouncesAgainWhenTheSilenceEnds) {
    Director director(partnership(2));
    director.hears(Place::active);
    director.announcements();
    director.hearsPath(0, true);
    director.hearsPath(1, true);
    director.hearsPath(0, false);
    director.hearsPath(0, true);
    EXPECT_EQ(director.announcements(), Moments{}) << "it was heard on the other path, and before that never";
    director.hearsPath(0, false);
    director.hearsPath(1, false);
    EXPECT_EQ(director.announcements(), Moments{});
    director.waits(500);
    director.hearsPath(1, true);
    EXPECT_EQ(director.announcements(), (Moments{0, 500, 1000, 2000, 5000}));
    director.hearsPath(0, true);
    EXPECT_EQ(director.announcements(), Moments{});

    Director standby(partnership(1));
    standby.hears(Place::standby);
    standby.hearsPath(0, true);
    standby.hearsPath(0, false);
    standby.hearsPath(0, true);
    EXPECT_EQ(standby.announcements(), Moments{});
}

// The partner's last advert comes when it has heard who is active now.
TEST(Election, whoeverTakesOverIsNotOneOfTwo) {
    Director director(partnership(1));
    director.hears(Place::standby);
    director.hearsPath(0, true);
    orderTakeOver(director.elections, director.now, director.words);
    director.hearsOmen(Omen::higher);
    director.hearsOmen(Omen::silence);
    director.hears(Place::active);
    director.announcements();
    director.takeWords();
    director.waits(100);
    director.hearsTwoActive();
    EXPECT_EQ(director.elections.elections[0].twoActiveSince, 0);
    EXPECT_EQ(director.takeWords(), "");
    EXPECT_EQ(director.announcements(), (Moments{0, 500, 1000, 2000, 5000})) << "it costs nothing";
    director.waits(4 * kAdvert + 900);
    director.hearsTwoActive(); // it does not give way
    EXPECT_NE(director.elections.elections[0].twoActiveSince, 0);

    Director unheard(partnership(1));
    unheard.hearsPath(0, true); // which is known to be silent only after the election
    unheard.hearsOmen(Omen::silence);
    unheard.hears(Place::active);
    unheard.hearsTwoActive();
    EXPECT_NE(unheard.elections.elections[0].twoActiveSince, 0) << "nothing is taken over from who is not heard";
}

TEST(Election, aStandbyIsNotOneOfTwo) {
    Director director(partnership(1));
    director.hears(Place::standby);
    director.hearsTwoActive();
    EXPECT_EQ(director.elections.elections[0].twoActiveSince, 0);
    EXPECT_EQ(director.announcements(), Moments{});
}

// Who comes back knows no connections: those that there are have to be copied to it first.
TEST(Election, whoeverComesBackStaysBehindUntilCopiesHaveArrived) {
    for (const bool isManual : {false, true}) {
        Director director(partnership(1, isManual));
        EXPECT_LT(110 + director.boost(), 100) << "from the start, before keepalived reads it";
        director.hears(Place::standby);
        director.waits(13'000);
        EXPECT_LT(110 + director.boost(), 100);
        director.waits(1'000);
        EXPECT_EQ(director.boost(), 0);
    }
    Director alone(partnership(1));
    alone.hears(Place::standby);
    alone.hears(Place::active);
    EXPECT_EQ(alone.boost(), 0) << "there is nobody to wait for";
}

TEST(Election, aStrategyOfHandsKeepsWhoeverIsActive) {
    Director director(partnership(1, true, 100));
    director.waits(20'000);
    director.hears(Place::active);
    EXPECT_GT(100 + director.boost(), 110);
    director.hears(Place::standby);
    EXPECT_EQ(director.boost(), 0);
    Director automatic(partnership(1, false, 100));
    automatic.hears(Place::active);
    EXPECT_LT(100 + automatic.boost(), 110);
}

TEST(Election, aTakeOverWinsAgainstWhoeverIsActiveByOrderOrByHand) {
    for (const bool isManual : {false, true}) {
        Director backup(partnership(1, isManual, 100));
        Director primary(partnership(1, isManual, 110));
        primary.hears(Place::active);
        backup.hears(Place::standby);
        std::string words;
        ASSERT_TRUE(orderTakeOver(backup.elections, backup.now, words)); // also while it settles
        EXPECT_GT(100 + backup.boost(), 110 + primary.boost());
        EXPECT_EQ(backup.rule(), AddressRule::down) << "not before it is elected";
        backup.hears(Place::active);
        primary.hears(Place::standby);
        EXPECT_GT(100 + backup.boost(), 110 + primary.boost()) << "while the partner has yet to hear of it";
        backup.waits(10'000);
        primary.waits(10'000);
        EXPECT_GT(100 + backup.boost(), 110 + primary.boost()) << "it stays";
        ASSERT_TRUE(orderTakeOver(primary.elections, primary.now, words));
        EXPECT_GT(110 + primary.boost(), 100 + backup.boost()) << "and can be taken back";
        ASSERT_TRUE(orderTakeOver(primary.elections, primary.now, words));
    }
}

TEST(Election, aTakeOverThatDoesNotComeAboutIsGivenUpAndTold) {
    Director director(partnership(1, false, 100));
    director.waits(20'000);
    director.hears(Place::standby);
    ASSERT_TRUE(orderTakeOver(director.elections, director.now, director.words));
    director.takeWords();
    director.waits(10'000);
    EXPECT_EQ(director.boost(), 0);
    EXPECT_EQ(director.takeWords(), "not taken over: the partner has the higher priority, or is not heard");
}

TEST(Election, aDirectorThatHasFailedTakesNothingOver) {
    Director director(partnership(1));
    director.hears(Place::failed);
    EXPECT_FALSE(orderTakeOver(director.elections, director.now, director.words));
    EXPECT_NE(director.words.find("no link"), std::string::npos);
}

TEST(Election, eachReachTargetThatIsLostWeighsMoreThanTheRoles) {
    Director director(partnership(1));
    director.hears(Place::active);
    director.elections.unreachable = 1;
    EXPECT_LT(110 + director.boost(), 100);
    Director other(partnership(1, false, 100));
    other.waits(20'000);
    other.hears(Place::standby);
    other.elections.unreachable = 1;
    EXPECT_GT(110 + director.boost(), 100 + other.boost()) << "lost by both, it decides nothing";
    director.elections.unreachable = 2;
    EXPECT_LT(110 + director.boost(), 100 + other.boost());
}

TEST(Election, withoutKeepalivedNobodyDecidesAndNothingIsKept) {
    Director director(partnership(2));
    director.hears(Place::active);
    director.hearsPath(0, true);
    loseElections(director.elections, director.words);
    EXPECT_EQ(director.rule(), AddressRule::down);
    EXPECT_EQ(pathsUp(director.elections), 0);
    EXPECT_EQ(director.announcements(), Moments{});
}

// A path more is a new beginning for keepalived, which tells that it is a standby until it is elected again.
TEST(Election, aNewConfigurationDoesNotCostThePlace) {
    Director director(partnership(1));
    director.hears(Place::active);
    director.waits(60'000);
    director.announcements();
    holdElections(director.elections, director.now);
    EXPECT_GE(director.boost(), 100) << "so that the partner's patience ends later";
    director.hears(Place::standby);
    director.waits(3 * kAdvert + 800);
    EXPECT_EQ(director.rule(), AddressRule::up);
    director.hears(Place::active);
    EXPECT_EQ(director.boost(), 0);
    director.waits(10'000);
    EXPECT_EQ(director.rule(), AddressRule::up);

    holdElections(director.elections, director.now);
    director.hears(Place::standby);
    director.waits(4 * kAdvert + 1000);
    EXPECT_EQ(director.rule(), AddressRule::down) << "the partner was elected meanwhile";
}

TEST(Election, whatHasNoLinkIsGivenUpAtOnceAlsoWhileKeepalivedBeginsAnew) {
    Director director(partnership(1));
    director.hears(Place::active);
    holdElections(director.elections, director.now);
    director.hears(Place::failed);
    EXPECT_EQ(director.rule(), AddressRule::down);
}

// Before there is a path, a director has what it has by its role, and nobody touches its addresses.
TEST(Election, withoutAPathTheRoleAloneDecidesAndAddressesStay) {
    Director primary(partnership(0, false, 110));
    Director backup(partnership(0, false, 100));
    EXPECT_EQ(primary.elections.elections[0].place, Place::active);
    EXPECT_EQ(backup.elections.elections[0].place, Place::standby);
    EXPECT_EQ(primary.rule(), AddressRule::leave);
    EXPECT_EQ(backup.rule(), AddressRule::leave);
    ASSERT_TRUE(orderTakeOver(backup.elections, backup.now, backup.words));
    EXPECT_EQ(backup.elections.elections[0].place, Place::active);
    EXPECT_EQ(backup.rule(), AddressRule::up);
}

TEST(Election, whoeverGetsAPartnerKeepsItsAddressesUntilSomebodyIsHeard) {
    for (const bool isPathFirst : {false, true}) {
        Director director(partnership(0));
        describeElections(director.elections, partnership(1));
        beginElections(director.elections, director.now);
        if (!isPathFirst) {
            director.hears(Place::standby);
            EXPECT_EQ(director.rule(), AddressRule::leave);
        }
        director.hearsPath(0, true);
        if (isPathFirst)
            director.hears(Place::standby);
        EXPECT_EQ(director.rule(), AddressRule::down) << isPathFirst;
    }
    Director alone(partnership(0));
    describeElections(alone.elections, partnership(1));
    beginElections(alone.elections, alone.now);
    alone.hears(Place::standby);
    alone.waits(3600);
    alone.hears(Place::active);
    EXPECT_EQ(alone.rule(), AddressRule::up);
    EXPECT_EQ(alone.announcements(), (Moments{0, 200, 1000, 5000}));
}

TEST(Election, aSecondPathDoesNotMakeANewcomerAnElectedOne) {
    Director director(partnership(0));
    describeElections(director.elections, partnership(1));
    beginElections(director.elections, director.now);
    describeElections(director.elections, partnership(2));
    holdElections(director.elections, director.now);
    EXPECT_EQ(director.rule(), AddressRule::leave);
    director.hears(Place::standby);
    director.hearsPath(1, true);
    EXPECT_EQ(director.rule(), AddressRule::down);
}

// keepalived tells its place once, whatever it is told anew.
TEST(Election, aPlaceThatWasToldBeforeANewConfigurationIsNotForgotten) {
    for (const bool isPathLast : {false, true}) {
        Director director(partnership(0));
        describeElections(director.elections, partnership(1));
        beginElections(director.elections, director.now);
        director.hears(Place::standby);
        holdElections(director.elections, director.now);
        if (isPathLast)
            director.hearsPath(0, true);
        else
            director.waits(10'000);
        EXPECT_EQ(director.rule(), AddressRule::down) << isPathLast;
    }
}

TEST(Election, aNewcomerOfWhichNothingIsToldIsNotActive) {
    Director director(partnership(0));
    describeElections(director.elections, partnership(1));
    beginElections(director.elections, director.now);
    director.waits(10'000);
    EXPECT_EQ(director.rule(), AddressRule::leave);
    director.hears(Place::standby);
    EXPECT_EQ(director.rule(), AddressRule::down);
}

TEST(Election, theLastPathGoesAndWhoeverIsActiveStaysSo) {
    Director director(partnership(1));
    director.hears(Place::active);
    describeElections(director.elections, partnership(0));
    EXPECT_EQ(director.elections.elections[0].place, Place::active);
    EXPECT_EQ(director.rule(), AddressRule::leave);
}

TEST(Election, twoElectionsAreApart) {
    Director director(partnership(1, false, 110, 2));
    director.hears(Place::active, 0);
    director.hears(Place::standby, 1);
    EXPECT_EQ(director.rule(0), AddressRule::up);
    EXPECT_EQ(director.rule(1), AddressRule::down);
    director.hears(Place::active, 1);
    director.hears(Place::standby, 0);
    EXPECT_EQ(director.announcements(), (Moments{0, 200, 1000, 5000})) << "of the one that it has";
    director.takeWords();
    director.hears(Place::standby, 1);
    EXPECT_EQ(director.takeWords(), "second election: standby (heard on 0 of 1 path)");
}

TEST(Election, noticesOfWhatIsNotThereArePassedOver) {
    Director director(partnership(1));
    director.hears(Place::active, 1);
    director.hearsPath(1, true);
    EXPECT_EQ(director.rule(), AddressRule::leave);
    EXPECT_EQ(director.takeWords(), "");
}

TEST(Election, wordsForTheNight) {
    Director director(partnership(2));
    director.hears(Place::standby);
    EXPECT_EQ(director.takeWords(), "standby");
    director.hearsPath(0, true);
    director.hearsPath(1, true);
    director.hearsPath(1, false);
    EXPECT_EQ(director.takeWords(), "");
    EXPECT_EQ(heardOn(director.elections), "heard on 1 of 2 paths");
    director.hearsPath(0, false);
    director.hearsOmen(Omen::silence);
    director.hears(Place::active);
    EXPECT_EQ(director.takeWords(), "active: nothing came from the partner for three adverts (heard on 0 of 2 paths)");
    director.waits(12'000);
    director.hearsPath(0, true);
    EXPECT_EQ(director.takeWords(), "the partner was silent for 12 s");
    director.hearsTwoActive();
    EXPECT_EQ(director.takeWords(), "two directors are active: the partner, which was silent for 12 s, is to give way; "
                                    "the addresses are announced again");
    director.waits(6'000);
    EXPECT_NE(director.takeWords().find("one director is active again"), std::string::npos);
    director.hears(Place::standby);
    EXPECT_EQ(director.takeWords(), "standby: the partner is active (heard on 1 of 2 paths)");
    director.hears(Place::failed);
    EXPECT_EQ(director.takeWords(), "failed: an interface that is watched has no link");
}

TEST(Election, whyItIsAStandbyAgain) {
    for (const bool isHeard : {false, true}) {
        Director director(partnership(1));
        director.hearsPath(0, isHeard);
        director.hears(Place::active);
        director.hearsOmen(Omen::lower);
        director.takeWords();
        director.hears(Place::standby);
        EXPECT_EQ(director.takeWords(),
                  isHeard
                      ? "standby: the partner is active (heard on 1 of 1 path)"
                      : "standby: two directors were active, and the partner has the higher priority (heard on 0 of "
                        "1 path)");
    }
    Director late(partnership(1));
    late.hears(Place::active);
    late.hearsOmen(Omen::lower);
    late.waits(60'000);
    late.takeWords();
    late.hears(Place::standby);
    EXPECT_EQ(late.takeWords(), "standby (heard on 0 of 1 path)");
}

TEST(Election, whyItIsActive) {
    struct Case {
        std::vector<Omen> omens;
        Moment later;
        const char *words;
    };
    for (const Case &each :
         {Case{{}, 0, "active: elected ("}, Case{{Omen::gaveWay}, 0, "active: the partner gave way ("},
          Case{{Omen::higher, Omen::silence}, 0, "active: the partner's priority is lower ("},
          Case{{Omen::silence}, 60'000, "active: elected ("}}) {
        Director director(partnership(1));
        for (const Omen omen : each.omens)
            director.hearsOmen(omen);
        director.waits(each.later);
        director.hears(Place::active);
        EXPECT_TRUE(director.takeWords().starts_with(each.words)) << each.words;
    }
    Director ordered(partnership(1));
    orderTakeOver(ordered.elections, ordered.now, ordered.words);
    ordered.hearsOmen(Omen::higher);
    ordered.hears(Place::active);
    EXPECT_TRUE(ordered.takeWords().starts_with("active: taken over by command ("));
}

TEST(Election, theNextMomentIsTheFirstThatIsDue) {
    Director director(partnership(1));
    EXPECT_EQ(nextMoment(director.elections), director.now + 14'000);
    director.hears(Place::active);
    EXPECT_EQ(nextMoment(director.elections), director.now) << "to announce";
    director.announcements();
    EXPECT_EQ(nextMoment(director.elections), 0);
}

} // namespace
} // namespace rk
