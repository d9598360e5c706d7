#include "executor/fronts/availability_options.h"

#include "executor/state/values.h"

#include <arpa/inet.h>
#include <charconv>
#include <cmath>
#include <net/if.h>

namespace rk {

namespace {

constexpr int kShortestAdvert = 10;    // milliseconds: keepalived's own step
constexpr int kLongestAdvert = 40'950; // what an advert of version 3 can tell

bool parseAddress(const std::string &text, NetworkAddress &address) {
    in_addr parsed{};
    const bool isAddress = inet_pton(AF_INET, text.c_str(), &parsed) == 1;
    address.word = parsed.s_addr;
    return isAddress && isUnicast(address);
}

} // namespace

bool isInterfaceName(const std::string &value) {
    constexpr char known[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    return !value.empty() && value.size() < IFNAMSIZ && value.find_first_not_of(known) == std::string::npos;
}

std::string applyHighAvailability(AvailabilityChoice &choice, const std::string &value) {
    if (value == "keepalived")
        choice.mode = AvailabilityMode::keepalived;
    else if (value == "none")
        choice.mode = AvailabilityMode::none;
    else
        return "--high-availability is keepalived or none, not '" + value + "'";
    return "";
}

std::string applyAdvertInterval(AvailabilityChoice &choice, const std::string &value) {
    double seconds = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
    const double steps = seconds * 1000 / kShortestAdvert;
    const bool isNumber = error == std::errc{} && end == value.data() + value.size();
    if (!isNumber || !(steps >= 1) || seconds * 1000 > kLongestAdvert)
        return "--advert-interval is 0.01 to 40.95 seconds, not '" + value + "'";
    choice.partnership.advertMilliseconds = static_cast<int>(std::lround(steps)) * kShortestAdvert;
    return "";
}

std::string applyAddressInterface(AvailabilityChoice &choice, const std::string &value) {
    if (!isInterfaceName(value))
        return "--address-interface needs the name of an interface, not '" + value + "'";
    choice.partnership.addressInterface = value;
    return "";
}

std::string applyMovingAddress(AvailabilityChoice &choice, const std::string &value) {
    const std::size_t at = value.find('@');
    ExtraAddress extra{};
    const bool isGood = parseAddress(value.substr(0, at), extra.address) &&
                        (at == std::string::npos || parseAddress(value.substr(at + 1), extra.primaryHost));
    if (!isGood)
        return "--moving-address is ADDRESS or ADDRESS@PRIMARY-HOST, not '" + value + "'";
    choice.partnership.extraAddresses.push_back(extra);
    return "";
}

} // namespace rk
