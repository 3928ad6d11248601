// vosctl cli: runs a command in a daemon and prints what it wrote.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "arguments.h"
#include "command.h"
#include "common/msg_names.h"
#include "internal/guards.h"
#include "output.h"
#include "vos/cli.h"

namespace {

struct Options {
    std::string entity;
    std::vector<std::string> words;
    uint32_t timeoutMs = vosctl::kDefaultTimeoutMs;
    bool json = false;
};

vosctl::Bytes commandLine(const std::vector<std::string> &words) {
    vosctl::Bytes line(sizeof(UtilCliFunc));
    for (const std::string &word : words) {
        const auto bytes = std::as_bytes(std::span{word.c_str(), word.size() + 1});
        line.insert(line.end(), bytes.begin(), bytes.end());
    }
    return line;
}

// Anybody may put anything there: a link, or a FIFO that nobody writes into, is no result.
vos::UniqueFile openResult(const std::string &daemon) {
    const int fd = open(UTIL_CLI_RESULT_FILE, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT) {
        throw vosctl::Failure{daemon + " answered without running the command: there is no " UTIL_CLI_RESULT_FILE
                                       "; 'vosctl monitor' shows what it answers"};
    }
    vos::UniqueFile file{fd >= 0 ? fdopen(fd, "rb") : nullptr};
    struct stat status {};
    if (!file || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        throw vosctl::Failure{UTIL_CLI_RESULT_FILE " is no regular file that can be read; remove it and try again"};
    }
    return file;
}

// Hands over what the command wrote, block by block.
template <typename Take>
void readOutput(const std::string &daemon, Take take) {
    const vos::UniqueFile file = openResult(daemon);
    std::array<char, 65536> block;
    size_t got = 0;
    while ((got = fread(block.data(), 1, block.size(), file.get())) > 0) {
        take(block.data(), got);
    }
}

void printText(const std::string &daemon, uint32_t result) {
    readOutput(daemon, [](const char *text, size_t length) { fwrite(text, 1, length, stdout); });
    if (result == VOS_RET_OK) {
        printf("result %s\n", msgnames::retText(result).c_str());
    }
}

void printJson(const std::string &daemon, uint32_t result) {
    std::string output;
    readOutput(daemon, [&](const char *text, size_t length) { output.append(text, length); });
    vosctl::printJson({{"result", result}, {"resultName", msgnames::retText(result)}, {"output", output}});
}

void run(const Options &options) {
    if (options.words.size() > UTIL_CLI_MAX_ARGS) {
        throw vosctl::Failure{"a command line has " + std::to_string(UTIL_CLI_MAX_ARGS) + " words at most",
                              vosctl::Exit::kUsage};
    }
    vosctl::Hub hub{options.timeoutMs};
    const vosctl::Entity daemon = hub.find(options.entity);
    unlink(UTIL_CLI_RESULT_FILE);  // what is there afterwards is the answer to this command
    const auto words = static_cast<uint32_t>(options.words.size());
    const vosctl::MessagePtr request =
        hub.build(daemon.eid, hubproto::kRemoteCli, VOS_MSG_FLAG_REQUEST, words, commandLine(options.words));
    const vosctl::MessagePtr reply = hub.request(*request, daemon.text, options.timeoutMs);
    if (!reply) {
        throw vosctl::Failure{daemon.text + " came back and was asked again; run the command once more"};
    }
    (options.json ? printJson : printText)(daemon.text, reply->wordData);
    vosctl::flushOutput();  // before anything on standard error
    if (reply->wordData != VOS_RET_OK) {
        throw vosctl::Failure{"the command ended with " + msgnames::retText(reply->wordData)};
    }
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    vosctl::addEntity(app, "entity", options->entity).required();
    app.option("words", options->words, "command and arguments; put '--' in front").called("WORD").required();
    vosctl::addTimeout(app, options->timeoutMs);
    vosctl::addJson(app, options->json);
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"cli", "run a command in a daemon and print what it wrote", setUp};

}  // namespace
