// vosctl log: shows and changes the log of a daemon through its shared segment, and follows its file.
#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string_view>

#include "arguments.h"
#include "command.h"
#include "common/message_line.h"
#include "log_follow.h"
#include "log_segment.h"
#include "output.h"
#include "vos/eid.h"

namespace {

using vosctl::Exit;
using vosctl::Failure;
using vosctl::LogSegment;

struct Named {
    uint32_t value;
    std::string_view name;
};
constexpr std::array kLevels{Named{VOS_LOG_LEVEL_NONE, "none"},   Named{VOS_LOG_LEVEL_RAW, "raw"},
                             Named{VOS_LOG_LEVEL_ERROR, "error"}, Named{VOS_LOG_LEVEL_NOTICE, "notice"},
                             Named{VOS_LOG_LEVEL_DEBUG, "debug"}, Named{VOS_LOG_LEVEL_DEVEL, "devel"}};
constexpr std::array kDestinations{Named{VOS_LOG_DEST_STDERR, "stderr"}, Named{VOS_LOG_DEST_SYSLOG, "syslog"},
                                   Named{VOS_LOG_DEST_TTY, "tty"}, Named{VOS_LOG_DEST_ANDROID, "android"},
                                   Named{VOS_LOG_DEST_CONSOLE, "console"}};

struct Options {
    std::string app;
    std::string level;
    std::string destination;
    std::optional<uint32_t> maxSize;
    bool all = false;
    bool follow = false;
    bool json = false;
};

std::string textOf(std::span<const Named> names, uint32_t value) {
    for (const Named &named : names) {
        if (named.value == value) {
            return std::string{named.name} + " (" + std::to_string(value) + ")";
        }
    }
    return std::to_string(value);
}

/** The number of a name, or a number as it stands; nothing for an option that was not given. */
std::optional<uint32_t> valueOf(std::span<const Named> names, const char *what, const std::string &text) {
    if (text.empty()) {
        return std::nullopt;
    }
    std::string choice;
    for (const Named &named : names) {
        if (named.name == text) {
            return named.value;
        }
        choice.append(choice.empty() ? "" : ", ").append(named.name);
    }
    if (const auto number = vosctl::parseNumber(text)) {
        return number;
    }
    throw Failure{std::string{"unknown "} + what + " '" + text + "'; give " + choice + " or a number", Exit::kUsage};
}

/** The entity id behind the name of a log: from the name itself, the entity table or the hub; 0 for an unknown one. */
VosEntityId eidOf(const std::string &name) {
    constexpr std::string_view kNumbered = "EID";
    if (name.starts_with(kNumbered)) {
        if (const auto number = vosctl::parseNumber(name.substr(kNumbered.size()))) {
            return *number;
        }
    }
    if (const VosEntityId known = vosEid_getAppEid(name.c_str()); known != 0) {
        return known;
    }
    try {
        return vosctl::Hub{}.find(name).eid;
    } catch (const Failure &) {
        return 0;
    }
}

/** The names under which the entity that the user means may have opened its log, the likelier first. */
std::vector<std::string> namesOf(const std::string &app) {
    if (vosctl::findLog(app)) {
        return {app};
    }
    const auto number = vosctl::parseNumber(app);
    const VosEntityId eid = number ? *number : eidOf(app);
    if (eid == 0) {
        return {};
    }
    char name[64] = "";
    vosEid_getAppName(name, sizeof name, eid);
    return {name, "EID" + std::to_string(eid)};
}

LogSegment findSegment(const std::string &app) {
    for (const std::string &name : namesOf(app)) {
        auto segment = name.empty() ? std::nullopt : vosctl::findLog(name);
        if (!segment) {
            continue;
        }
        if (segment->isForeign()) {
            throw Failure{segment->id < 0
                              ? "the log of '" + name + "' has no segment any more; start the daemon again"
                              : "the segment of '" + name + "' has " + std::to_string(segment->size) +
                                    " bytes: it is no log's; remove it with ipcrm -m " + std::to_string(segment->id)};
        }
        return *segment;
    }
    throw Failure{"no log of '" + app + "'; 'vosctl log --all' lists those there are"};
}

std::string fileOf(VosEntityId eid, bool older) {
    return VOS_LOG_DIRECTORY + std::to_string(eid) + (older ? ".log.0" : ".log");
}

void printFile(VosEntityId eid) {
    for (const bool older : {false, true}) {
        const std::string path = fileOf(eid, older);
        std::error_code error;
        const auto size = std::filesystem::file_size(path, error);
        if (!error) {
            printf("%-12s %s, %ju bytes\n", older ? "rotated" : "file", path.c_str(), static_cast<uintmax_t>(size));
        }
    }
}

nlohmann::ordered_json logJson(const LogSegment &segment) {
    if (segment.isForeign()) {
        return {{"log", segment.name}, {"segment", segment.id < 0 ? "missing" : "foreign"}};
    }
    const VosEntityId eid = eidOf(segment.name);
    return {{"log", segment.name},
            {"segment", "present"},
            {"eid", eid},
            {"level", segment.config.level},
            {"destination", segment.config.destination},
            {"maxSize", segment.config.maxSize},
            {"file", fileOf(eid, false)},
            {"attached", segment.attached},
            {"processes", segment.processes},
            {"callSites", segment.callSites()}};
}

void show(const LogSegment &segment) {
    printf("%-12s %s\n", "log", msgline::printable(segment.name).c_str());
    printf("%-12s %s\n", "level", textOf(kLevels, segment.config.level).c_str());
    printf("%-12s %s\n", "destination", textOf(kDestinations, segment.config.destination).c_str());
    printf("%-12s %" PRIu32 " bytes\n", "rotates at", segment.config.maxSize);
    printFile(eidOf(segment.name));
    printf("%-12s %s\n", "held by", segment.holders().c_str());
    printf("call sites, the oldest first:\n");
    for (const std::string &site : segment.callSites()) {
        printf("    %s\n", site.c_str());
    }
}

void showAll(bool json) {
    constexpr const char *kRow = "%-24s %-12s %-12s %10s  %-16s %s\n";
    const std::vector<LogSegment> logs = vosctl::findLogs();
    if (json) {
        auto all = nlohmann::ordered_json::array();
        std::ranges::transform(logs, std::back_inserter(all), logJson);
        return vosctl::printJson(all);
    }
    printf(kRow, "LOG", "LEVEL", "DESTINATION", "ROTATES AT", "HELD BY", "LAST CALL SITE");
    for (const LogSegment &segment : logs) {
        const std::string name = msgline::printable(segment.name);
        if (segment.isForeign()) {
            printf("%-24s %s\n", name.c_str(), segment.id < 0 ? "no segment" : "a segment too small for a log");
            continue;
        }
        const auto sites = segment.callSites();
        printf(kRow, name.c_str(), textOf(kLevels, segment.config.level).c_str(),
               textOf(kDestinations, segment.config.destination).c_str(),
               std::to_string(segment.config.maxSize).c_str(), segment.holders().c_str(),
               sites.empty() ? "-" : sites.back().c_str());
    }
}

void follow(const LogSegment &segment) {
    const VosEntityId eid = eidOf(segment.name);
    if (eid == 0) {
        throw Failure{"cannot tell the entity id of '" + segment.name + "', which names its file; start the hub"};
    }
    vosctl::LogFollower{fileOf(eid, false), fileOf(eid, true)}.run();
}

void run(const Options &options) {
    if (options.all) {
        return showAll(options.json);
    }
    if (options.app.empty()) {
        throw Failure{"give the name or number of a daemon, or --all", Exit::kUsage};
    }
    const vosctl::LogChange change{.level = valueOf(kLevels, "level", options.level),
                                   .destination = valueOf(kDestinations, "destination", options.destination),
                                   .maxSize = options.maxSize};
    const LogSegment segment = findSegment(options.app);
    const bool changes = change.level || change.destination || change.maxSize;
    if (changes) {
        vosctl::changeLog(segment, change);
    }
    if (options.follow) {
        follow(segment);
    }
    if (options.json) {
        vosctl::printJson(logJson(changes ? findSegment(options.app) : segment));
    } else if (!changes) {
        show(segment);
    }
}

const vosctl::Command kCommand{
    "log", "show, change or follow the log of a daemon", [](vosctl::Arguments app) {
        auto options = std::make_shared<Options>();
        vosctl::Argument name = vosctl::addEntity(app, "app", options->app);
        name.describedAs("name or number of the daemon, running or not");
        app.option("--level", options->level, "write entries up to this level from now on")
            .called("none|raw|error|notice|debug|devel|N")
            .needs(name);
        app.option("--dest", options->destination, "where entries go besides the file from now on")
            .called("stderr|syslog|tty|android|console|N")
            .needs(name);
        app.option("--max-size", options->maxSize, "rotate the file at this size from now on")
            .called("BYTES")
            .needs(name);
        vosctl::Argument follow =
            app.flag("--follow", options->follow, "print the log file and what is added to it, through rotation")
                .needs(name);
        app.flag("--all", options->all, "list the logs of all daemons").excludes(name);
        vosctl::addJson(app, options->json, "one JSON object, with --all an array of them").excludes(follow);
        app.runs([options] { run(*options); });
    }};

}  // namespace
