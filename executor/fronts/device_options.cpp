#include "executor/fronts/device_options.h"

#include "rk/device.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <getopt.h>

namespace rk {

namespace {

constexpr char kDeviceFolder[] = "/dev/";
constexpr std::size_t kLongestDeviceName = 63; // the kernel's own lists cut longer ones

enum OptionCode : int {
    kDeviceName = 256,
    kForeground,
    kLog,
    kForward,
    kScheduler,
    kAnnounceTable,
    kCopyConnections,
    kDrain,
    kAnnounce,
    kKeepForwarding,
    kHighAvailability,
    kAdvertInterval,
    kAddressInterface,
    kMovingAddress,
    kHelp,
    kVersion
}; // above any short option's

constexpr option kOptions[] = {
    {"device-name", required_argument, nullptr, kDeviceName},
    {"foreground", no_argument, nullptr, kForeground},
    {"log", required_argument, nullptr, kLog},
    {"forward", required_argument, nullptr, kForward},
    {"scheduler", required_argument, nullptr, kScheduler},
    {"announce-table", required_argument, nullptr, kAnnounceTable},
    {"copy-connections", required_argument, nullptr, kCopyConnections},
    {"drain", no_argument, nullptr, kDrain},
    {"announce", no_argument, nullptr, kAnnounce},
    {"keep-forwarding", no_argument, nullptr, kKeepForwarding},
    {"high-availability", required_argument, nullptr, kHighAvailability},
    {"advert-interval", required_argument, nullptr, kAdvertInterval},
    {"address-interface", required_argument, nullptr, kAddressInterface},
    {"moving-address", required_argument, nullptr, kMovingAddress},
    {"help", no_argument, nullptr, kHelp},
    {"version", no_argument, nullptr, kVersion},
    {nullptr, 0, nullptr, 0},
};

// A plain name below /dev: no path to another folder, nothing that has a meaning to a shell or to the kernel.
bool isDeviceName(const std::string &name) {
    constexpr char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    return !name.empty() && name.size() <= kLongestDeviceName && std::strchr(letters, name[0]) != nullptr &&
           name.find_first_not_of(std::string(letters) + "-_.") == std::string::npos;
}

void refuse(DeviceOptions &options, std::string mistake) {
    options.action = DeviceAction::refuse;
    options.mistake = std::move(mistake);
}

constexpr std::string_view kSchedulers[] = {"wrr", "wlc", "sh", "mh"};

void applyForward(DeviceOptions &options, const std::string &value) {
    if (value == "kernel")
        options.forward = ForwardMode::kernel;
    else if (value == "none")
        options.forward = ForwardMode::none;
    else
        refuse(options, "--forward is kernel or none, not '" + value + "'");
}

void applyScheduler(DeviceOptions &options, const std::string &value) {
    options.scheduler = value;
    if (std::ranges::find(kSchedulers, value) == std::end(kSchedulers))
        refuse(options, "--scheduler is wrr, wlc, sh or mh, not '" + value + "'");
}

// The kernel's own tables are 253 to 255.
void applyAnnounceTable(DeviceOptions &options, const std::string &value) {
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), options.announceTable);
    const uint32_t table = options.announceTable;
    if (error != std::errc{} || end != value.data() + value.size() || table == 0 || (table >= 253 && table <= 255))
        refuse(options, "--announce-table is a number from 1 on, but for 253 to 255, not '" + value + "'");
}

void applyCopyConnections(DeviceOptions &options, const std::string &value) {
    options.copyInterface = value;
    if (!isInterfaceName(value))
        refuse(options, "--copy-connections needs the name of an interface, not '" + value + "'");
}

// What does not go together. Where all directors are active there is nobody to take over from.
void checkTogether(DeviceOptions &options) {
    const bool isHashed = options.scheduler == "mh";
    if (options.announceTable != 0 && !isHashed)
        refuse(options, "--announce-table needs --scheduler mh");
    if (!options.copyInterface.empty() && !isHashed)
        refuse(options,
               "--copy-connections needs --scheduler mh: two directors that watch each other copy by themselves");
    if (isHashed && options.availability.mode == AvailabilityMode::keepalived)
        refuse(options, "--scheduler mh is for directors that are all active: not with --high-availability keepalived");
    if (isHashed)
        options.availability.mode = AvailabilityMode::none;
}

// Takes an option of high availability.
using ApplyAvailability = std::string (*)(AvailabilityChoice &choice, const std::string &value);

void applyAvailability(DeviceOptions &options, ApplyAvailability apply, const std::string &value) {
    std::string mistake = apply(options.availability, value);
    if (!mistake.empty())
        refuse(options, std::move(mistake));
}

// What is wrong with the option at which getopt_long stopped. `argument` is the last one that it looked at.
std::string describeOption(const std::string &argument) {
    if (optopt >= kDeviceName)
        return argument + ": this option takes no value";
    if (optopt != 0)
        return std::string("unknown option -") + static_cast<char>(optopt);
    return "unknown option " + argument;
}

// Takes what getopt_long found. `argument` is the last one that it looked at.
void applyOption(DeviceOptions &options, int found, const std::string &argument) {
    switch (found) {
    case kDeviceName:
        options.deviceName = optarg;
        if (!isDeviceName(options.deviceName))
            refuse(options, "'" + options.deviceName +
                                "' is no device name: letters, digits, '-', '_' and '.', a letter or digit first, "
                                "at most 63 characters");
        break;
    case kForeground:
        options.isForeground = true;
        break;
    case kLog:
        options.logFile = optarg;
        if (options.logFile.empty())
            refuse(options, "--log needs the name of a file");
        break;
    case kForward:
        applyForward(options, optarg);
        break;
    case kScheduler:
        applyScheduler(options, optarg);
        break;
    case kAnnounceTable:
        applyAnnounceTable(options, optarg);
        break;
    case kCopyConnections:
        applyCopyConnections(options, optarg);
        break;
    case kDrain:
        options.action = DeviceAction::drain;
        break;
    case kAnnounce:
        options.action = DeviceAction::announce;
        break;
    case kKeepForwarding:
        options.keepsForwarding = true;
        break;
    case kHighAvailability:
        applyAvailability(options, applyHighAvailability, optarg);
        break;
    case kAdvertInterval:
        applyAvailability(options, applyAdvertInterval, optarg);
        break;
    case kAddressInterface:
        applyAvailability(options, applyAddressInterface, optarg);
        break;
    case kMovingAddress:
        applyAvailability(options, applyMovingAddress, optarg);
        break;
    case kHelp:
        options.action = DeviceAction::showHelp;
        break;
    case kVersion:
        options.action = DeviceAction::showVersion;
        break;
    case ':':
        refuse(options, argument + " needs a value");
        break;
    default:
        refuse(options, describeOption(argument));
    }
}

} // namespace

const char kDeviceHelp[] =
    R"(usage: qelxwd [--device-name NAME] [--foreground] [--log FILE]
              [--forward kernel|none] [--scheduler NAME]
              [--announce-table NUMBER] [--copy-connections INTERFACE]
              [--keep-forwarding]
              [--high-availability keepalived|none] [--advert-interval SECONDS]
              [--address-interface NAME] [--moving-address ADDRESS[@HOST]]...
       qelxwd --drain | --announce

Makes the character device /dev/qelxw and answers the commands that come to it
as a load balancer's executor does. It keeps the configuration in memory, and
has the kernel forward packets as it says, by IPVS and nftables. The management
server's library finds it in kernel mode.

  --device-name NAME   make /dev/NAME instead (the library knows /dev/qelxw only)
  --foreground         stay in the foreground, and say when the device is there;
                       otherwise the program goes to the background then
  --log FILE           append a line to FILE for each command; SIGHUP opens FILE
                       anew, as log rotation expects
  --forward kernel     forward, or fail when this kernel cannot; without this
                       option, what cannot be had is told in one line
  --forward none       forward no packets
  --scheduler NAME     how a server is picked: wrr, by weight (as it is without
                       this option); wlc, by weight and open connections; sh, by
                       the client's address; mh, by its address and port, the same
                       by several directors that are all active: link level and
                       tunnels only, and no partner is heard
  --announce-table NUMBER
                       with mh: a route for each address that is forwarded into
                       this table of the kernel's, which a routing daemon learns
  --copy-connections INTERFACE
                       with mh: copy connections to the directors in the network of
                       this interface, and take theirs
  --drain              have the qelxwd that runs announce nothing, and wait until
                       no packet comes
  --announce           have it announce again
  --keep-forwarding    leave all that is forwarded in force at the end
  --high-availability keepalived
                       hear a partner, or fail when that cannot be; without this
                       option, the log tells what is missing when a backup is added
  --high-availability none
                       keep what is said of a partner, and hear none
  --advert-interval SECONDS
                       between two adverts of the active director, 1 without this
                       option; the partner takes over after three that are missing
  --address-interface NAME
                       put cluster addresses that are in no interface's network on
                       this one
  --moving-address ADDRESS[@HOST]
                       an address that moves with the clusters' addresses: the
                       servers' way back, where addresses are translated; @HOST as
                       a cluster's primary host
  --help               show this text
  --version            show the version

It needs the kernel's module cuse (modprobe cuse) and the right to open
/dev/cuse, which root has, and the user qelxwd where the installed rule of udev
is in force; to forward, CAP_NET_ADMIN and the modules ip_vs, ip_vs_NAME of the
scheduler, nf_tables and nft_chain_nat. SIGTERM or SIGINT stop it: the device
goes, and the configuration with it.

Exit status: 0 stopped, or gone to the background; 1 something failed, and the
reason was written to standard error; 2 the command line is wrong.
)";

DeviceOptions parseDeviceOptions(int count, char *const *arguments) {
    DeviceOptions options;
    options.deviceName = kExecutorDevice + sizeof kDeviceFolder - 1;
    options.scheduler = kSchedulers[0];
    optind = 0; // makes getopt_long start again
    opterr = 0;
    int found = 0;
    while (options.action == DeviceAction::serve &&
           (found = getopt_long(count, arguments, ":", kOptions, nullptr)) != -1)
        applyOption(options, found, arguments[optind - 1]);
    if (options.action == DeviceAction::serve && optind < count)
        refuse(options, std::string("surplus argument: ") + arguments[optind]);
    if (options.action == DeviceAction::serve)
        checkTogether(options);
    return options;
}

std::string describeChannelError(int error) {
    const std::string channel = kDeviceChannel;
    if (error == ENOENT || error == ENODEV || error == ENXIO)
        return "there is no " + channel + ": load the kernel's module first (modprobe cuse)";
    if (error == EACCES || error == EPERM)
        return "no right to open " + channel +
               ": run as root or as the service's user, in a container with the device handed in";
    return "cannot open " + channel + ": " + std::strerror(error);
}

} // namespace rk
