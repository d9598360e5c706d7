#include "executor/availability/election.h"

#include <algorithm>

namespace rk {

namespace {

// Neighbours may miss one.
constexpr Moment kAfterElection[] = {0, 200, 1000, 5000};
constexpr Moment kAfterTwoWereActive[] = {0, 500, 1000, 2000, 5000};

constexpr char kNoLink[] = "failed: an interface that is watched has no link";
constexpr Moment kSpare = 1000;
constexpr Moment kTakeOverTime = 10000; // ample: three adverts are missed within it
constexpr Moment kTakenOverTime = 5000; // until the partner has surely heard of it

// A master is missed after three adverts, and a bit.
Moment electionTime(const Elections &elections) {
    return Moment{4} * elections.advertMilliseconds + kSpare;
}

bool isActive(const Elections &elections) {
    return std::any_of(elections.elections.begin(), elections.elections.end(),
                       [](const ElectionState &each) { return each.place == Place::active; });
}

// What an election is called for an operator: nothing while there is only one.
std::string prefixOf(const Elections &elections, std::size_t election) {
    if (elections.elections.size() == 1)
        return "";
    return election == 0 ? "first election: " : "second election: ";
}

template <std::size_t count> void announce(Elections &elections, const Moment (&after)[count], Moment now) {
    elections.announcements.clear();
    for (const Moment each : after)
        elections.announcements.push_back(now + each);
}

bool isFresh(const Elections &elections, const ElectionState &state, Moment now) {
    return now - state.omenAt <= electionTime(elections);
}

std::string whyActive(const Elections &elections, const ElectionState &state, Moment now) {
    if (state.boostedUntil > now)
        return "taken over by command";
    switch (isFresh(elections, state, now) ? state.omen : Omen::none) {
    case Omen::silence:
        return "nothing came from the partner for three adverts";
    case Omen::gaveWay:
        return "the partner gave way";
    case Omen::higher:
        return "the partner's priority is lower";
    default:
        return "elected";
    }
}

void becomeActive(Elections &elections, std::size_t election, Moment now, std::string &words) {
    ElectionState &state = elections.elections[election];
    say(words, prefixOf(elections, election) + "active: " + whyActive(elections, state, now) + " (" +
                   heardOn(elections) + ")");
    state.place = Place::active;
    state.takenAt = isFresh(elections, state, now) && state.omen == Omen::higher ? now : 0;
    if (state.boostedUntil > now) {
        state.isTakenOver = true;
        state.boostedUntil = now + kTakenOverTime;
    }
    elections.settledAt = 0; // whoever is active has nothing to wait for
    announce(elections, kAfterElection, now);
}

// Unheard by each other, two directors are active until one hears the other one again.
std::string whyStandby(const Elections &elections, const ElectionState &state, Moment now) {
    if (pathsUp(elections) > 0)
        return "standby: the partner is active (";
    if (state.omen == Omen::lower && isFresh(elections, state, now))
        return "standby: two directors were active, and the partner has the higher priority (";
    return "standby (";
}

void leaveActive(Elections &elections, std::size_t election, Place place, Moment now, std::string &words) {
    ElectionState &state = elections.elections[election];
    say(words, prefixOf(elections, election) +
                   (place == Place::failed ? kNoLink : whyStandby(elections, state, now) + heardOn(elections) + ")"));
    state.place = place;
    state.isTakenOver = false;
    state.takenAt = 0;
    state.twoActiveSince = 0;
    state.twoActiveUntil = 0;
    if (!isActive(elections))
        elections.announcements.clear();
}

void enterPlace(Elections &elections, std::size_t election, Place place, Moment now, std::string &words) {
    ElectionState &state = elections.elections[election];
    if (state.place == place)
        return;
    if (place == Place::active) {
        becomeActive(elections, election, now, words);
    } else if (state.place == Place::active) {
        leaveActive(elections, election, place, now, words);
    } else {
        const bool isTold = place == Place::failed || state.place == Place::failed || state.place == Place::none;
        state.place = place;
        if (isTold)
            say(words, prefixOf(elections, election) + (place == Place::failed ? kNoLink : "standby"));
    }
}

// What was told while the place was held comes true.
void endHold(Elections &elections, std::size_t election, Moment now, std::string &words) {
    ElectionState &state = elections.elections[election];
    const Place told = state.told;
    if (state.isNewcomer && told == Place::none)
        state.place = Place::none; // it was never elected
    state.heldUntil = 0;
    state.isNewcomer = false;
    state.told = Place::none;
    if (told != Place::none)
        enterPlace(elections, election, told, now, words);
}

void hearPlace(Elections &elections, std::size_t election, Place place, Moment now, std::string &words) {
    ElectionState &state = elections.elections[election];
    const bool isHeld = state.heldUntil > now && !(state.isNewcomer && pathsUp(elections) > 0);
    if (isHeld && place == Place::standby) {
        state.told = place;
        return;
    }
    if (state.isNewcomer && place == Place::active)
        state.place = Place::none; // elected for the first time: it is to be announced
    state.told = place;
    endHold(elections, election, now, words);
}

// A partner of lower priority is not listened to, so that its adverts are missing as well.
void hearOmen(Elections &elections, std::size_t election, Omen omen, Moment now) {
    ElectionState &state = elections.elections[election];
    const bool isExplained = state.omen == Omen::higher && now - state.omenAt <= electionTime(elections);
    if (omen == Omen::silence && isExplained)
        return;
    state.omen = omen;
    state.omenAt = now;
}

void hearTwoActive(Elections &elections, std::size_t election, Moment now, std::string &words) {
    ElectionState &state = elections.elections[election];
    if (state.place != Place::active)
        return;
    announce(elections, kAfterTwoWereActive, now);
    const bool isTakeOver = state.takenAt != 0 && now - state.takenAt < electionTime(elections);
    if (isTakeOver)
        return;
    if (state.twoActiveSince == 0) {
        state.twoActiveSince = now;
        std::string silence;
        if (elections.silentSince != 0)
            silence = ", which was silent for " + std::to_string((now - elections.silentSince) / 1000) + " s";
        say(words, prefixOf(elections, election) + "two directors are active: the partner" + silence +
                       ", is to give way; the addresses are announced again");
    }
    state.twoActiveUntil = now + electionTime(elections);
}

// A partner that was active meanwhile, and gave way before it could be heard, has left its neighbours astray.
void hearAgain(Elections &elections, Moment now, std::string &words) {
    if (now - elections.silentSince > kSpare)
        say(words, "the partner was silent for " + std::to_string((now - elections.silentSince) / 1000) + " s");
    if (isActive(elections))
        announce(elections, kAfterTwoWereActive, now);
}

void hearPath(Elections &elections, std::size_t path, bool isUp, Moment now, std::string &words) {
    if (elections.paths[path].isUp == isUp)
        return;
    elections.paths[path].isUp = isUp;
    if (pathsUp(elections) == 0)
        elections.silentSince = now;
    else if (isUp && pathsUp(elections) == 1 && elections.silentSince != 0)
        hearAgain(elections, now, words);
    for (std::size_t election = 0; isUp && election < elections.elections.size(); ++election) {
        if (elections.elections[election].isNewcomer && elections.elections[election].told != Place::none)
            endHold(elections, election, now, words);
    }
}

} // namespace

void describeElections(Elections &elections, const Partnership &partnership) {
    elections.isManual = partnership.isManual;
    elections.advertMilliseconds = partnership.advertMilliseconds;
    const std::size_t known = elections.elections.size();
    elections.elections.resize(partnership.elections.size());
    elections.paths.resize(partnership.paths.size());
    if (!partnership.paths.empty())
        return;
    elections.silentSince = 0;
    // By role alone, as there is nobody to be heard.
    for (std::size_t election = known; election < elections.elections.size(); ++election) {
        const bool isPrimary = partnership.elections[election].priority == kPrimaryPriority;
        elections.elections[election].place = isPrimary ? Place::active : Place::standby;
    }
}

void beginElections(Elections &elections, Moment now) {
    elections.settledAt = now + kSettlingMilliseconds;
    for (PathState &path : elections.paths)
        path.isUp = false;
    elections.silentSince = 0;
    for (ElectionState &state : elections.elections) {
        state.isNewcomer = state.place == Place::active;
        state.heldUntil = state.isNewcomer ? now + electionTime(elections) : 0;
        state.told = Place::none;
    }
}

void holdElections(Elections &elections, Moment now) {
    for (ElectionState &state : elections.elections) {
        // What was told in an earlier hold stays: it is told again only when it changes.
        state.heldUntil = state.place == Place::active ? now + electionTime(elections) : 0;
    }
}

void hearNotice(Elections &elections, const Notice &notice, Moment now, std::string &words) {
    const auto index = static_cast<std::size_t>(notice.index);
    if (notice.kind == NoticeKind::path) {
        if (index < elections.paths.size())
            hearPath(elections, index, notice.isUp, now, words);
        return;
    }
    if (index >= elections.elections.size())
        return;
    if (notice.kind == NoticeKind::omen)
        hearOmen(elections, index, notice.omen, now);
    else if (notice.kind == NoticeKind::twoActive)
        hearTwoActive(elections, index, now, words);
    else
        hearPlace(elections, index, notice.place, now, words);
}

void loseElections(Elections &elections, std::string &words) {
    for (std::size_t election = 0; election < elections.elections.size(); ++election) {
        ElectionState &state = elections.elections[election];
        if (state.place == Place::active)
            say(words, prefixOf(elections, election) + "standby: there is no keepalived to decide");
        const Moment boosted = state.boostedUntil;
        state = ElectionState{};
        state.place = Place::standby;
        state.boostedUntil = boosted;
    }
    for (PathState &path : elections.paths)
        path.isUp = false;
    elections.silentSince = 0;
    elections.announcements.clear();
}

bool orderTakeOver(Elections &elections, Moment now, std::string &words) {
    for (const ElectionState &state : elections.elections) {
        if (state.place == Place::failed) {
            say(words, "an interface that is watched has no link");
            return false;
        }
    }
    for (std::size_t election = 0; election < elections.elections.size(); ++election) {
        ElectionState &state = elections.elections[election];
        if (state.place == Place::active && !elections.paths.empty()) {
            state.isTakenOver = true;
            continue;
        }
        state.boostedUntil = now + kTakeOverTime;
        if (elections.paths.empty()) { // there is nobody to vote
            state.place = Place::none;
            becomeActive(elections, election, now, words);
        }
    }
    return true;
}

void passTime(Elections &elections, Moment now, std::string &words) {
    if (elections.settledAt != 0 && now >= elections.settledAt)
        elections.settledAt = 0;
    for (std::size_t election = 0; election < elections.elections.size(); ++election) {
        ElectionState &state = elections.elections[election];
        if (state.heldUntil != 0 && now >= state.heldUntil)
            endHold(elections, election, now, words);
        if (state.boostedUntil != 0 && now >= state.boostedUntil) {
            state.boostedUntil = 0;
            if (state.place != Place::active)
                say(words, prefixOf(elections, election) +
                               "not taken over: the partner has the higher priority, or is not heard");
        }
        if (state.twoActiveUntil != 0 && now >= state.twoActiveUntil) {
            say(words,
                prefixOf(elections, election) + "one director is active again: two were, for at least " +
                    std::to_string((state.twoActiveUntil - electionTime(elections) - state.twoActiveSince) / 1000) +
                    " s");
            state.twoActiveSince = 0;
            state.twoActiveUntil = 0;
        }
    }
}

Moment nextMoment(const Elections &elections) {
    Moment next = 0;
    const auto consider = [&next](Moment moment) {
        if (moment != 0 && (next == 0 || moment < next))
            next = moment;
    };
    consider(elections.settledAt);
    for (const ElectionState &state : elections.elections) {
        consider(state.heldUntil);
        consider(state.boostedUntil);
        consider(state.twoActiveUntil);
    }
    if (!elections.announcements.empty())
        consider(elections.announcements.front());
    return next;
}

bool takeAnnouncements(Elections &elections, Moment now) {
    const auto isLater = [now](Moment moment) { return moment > now; };
    const auto later = std::find_if(elections.announcements.begin(), elections.announcements.end(), isLater);
    const bool isDue = later != elections.announcements.begin();
    elections.announcements.erase(elections.announcements.begin(), later);
    return isDue;
}

int boostOf(const Elections &elections, std::size_t election, Moment now) {
    const ElectionState &state = elections.elections[election];
    int boost = 0;
    if (state.boostedUntil > now || (state.heldUntil > now && !state.isNewcomer))
        boost = kTakeOverBoost;
    else if (state.place == Place::active && !state.isNewcomer)
        boost = elections.isManual || state.isTakenOver ? kManualBoost : 0;
    else if (elections.settledAt > now)
        boost = kSettlingBoost;
    return boost + elections.unreachable * kUnreachableBoost;
}

AddressRule ruleFor(const Elections &elections, std::size_t election) {
    const ElectionState &state = elections.elections[election];
    const bool isByRoleAlone = (elections.paths.empty() && !state.isTakenOver) || state.isNewcomer;
    if (isByRoleAlone || state.place == Place::none)
        return AddressRule::leave;
    return state.place == Place::active ? AddressRule::up : AddressRule::down;
}

int pathsUp(const Elections &elections) {
    return static_cast<int>(
        std::count_if(elections.paths.begin(), elections.paths.end(), [](const PathState &path) { return path.isUp; }));
}

void say(std::string &words, const std::string &what) {
    if (!words.empty())
        words += "; ";
    words += what;
}

std::string heardOn(const Elections &elections) {
    if (elections.paths.empty())
        return "no path to the partner";
    return "heard on " + std::to_string(pathsUp(elections)) + " of " + std::to_string(elections.paths.size()) +
           (elections.paths.size() == 1 ? " path" : " paths");
}

} // namespace rk
