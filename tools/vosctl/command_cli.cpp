// vosctl cli: runs a command in a daemon and prints what it wrote.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>

#include "arguments.h"
#include "command.h"
#include "common/msg_names.h"
#include "vos/cli.h"

namespace {

struct Options {
    std::string entity;
    std::vector<std::string> words;
    uint32_t timeoutMs = vosctl::kDefaultTimeoutMs;
};

vosctl::Bytes commandLine(const std::vector<std::string> &words) {
    vosctl::Bytes line(sizeof(UtilCliFunc));
    for (const std::string &word : words) {
        const auto bytes = std::as_bytes(std::span{word.c_str(), word.size() + 1});
        line.insert(line.end(), bytes.begin(), bytes.end());
    }
    return line;
}

void printOutput(const std::string &daemon) {
    std::ifstream file{UTIL_CLI_RESULT_FILE, std::ios::binary};
    if (!file) {
        throw vosctl::Failure{daemon + " answered without running the command: there is no " UTIL_CLI_RESULT_FILE
                                       "; 'vosctl monitor' shows what it answers"};
    }
    const std::string output{std::istreambuf_iterator<char>{file}, {}};
    fwrite(output.data(), 1, output.size(), stdout);
    fflush(stdout);  // before anything on standard error
}

void run(const Options &options) {
    if (options.words.size() > UTIL_CLI_MAX_ARGS) {
        throw vosctl::Failure{"a command line has " + std::to_string(UTIL_CLI_MAX_ARGS) + " words at most",
                              vosctl::Exit::usage};
    }
    vosctl::Hub hub;
    const vosctl::Entity daemon = hub.find(options.entity);
    unlink(UTIL_CLI_RESULT_FILE);  // what is there afterwards is the answer to this command
    const auto words = static_cast<uint32_t>(options.words.size());
    const vosctl::MessagePtr request =
        hub.build(daemon.eid, hubproto::kRemoteCli, VOS_MSG_FLAG_REQUEST, words, commandLine(options.words));
    const vosctl::MessagePtr reply = hub.request(*request, daemon.text, options.timeoutMs);
    if (!reply) {
        throw vosctl::Failure{daemon.text + " came back and was asked again; run the command once more"};
    }
    printOutput(daemon.text);
    const std::string result = msgnames::retText(reply->wordData);
    if (reply->wordData != VOS_RET_OK) {
        throw vosctl::Failure{"the command ended with " + result};
    }
    printf("result %s\n", result.c_str());
}

const vosctl::Command kCommand{"cli", "run a command in a daemon and print what it wrote", [](CLI::App &app) {
                                   auto options = std::make_shared<Options>();
                                   vosctl::addEntity(app, "entity", options->entity)->required();
                                   app.add_option("words", options->words, "command and arguments; put '--' in front")
                                       ->type_name("WORD")
                                       ->required();
                                   vosctl::addTimeout(app, options->timeoutMs);
                                   app.callback([options] { run(*options); });
                               }};

}  // namespace
