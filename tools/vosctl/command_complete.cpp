// vosctl complete: what the shell may offer for the last of the given words, one candidate a line. Hidden; the bash
// completion calls it, so that new commands and options are completed without a change there.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "command.h"
#include "common/msg_names.h"
#include "hub_connection.h"
#include "interfaces.h"

namespace {

using Words = std::vector<std::string>;

constexpr const char *kSelf = "complete";

void offer(const std::string &word) {
    printf("%s\n", word.c_str());
}

void offerCommands(const CLI::App &parent) {
    for (const CLI::App *command :
         parent.get_subcommands([](const CLI::App *app) { return app->get_name() != kSelf; })) {
        offer(command->get_name());
    }
}

void offerOptions(const CLI::App &command) {
    for (const CLI::Option *option : command.get_options()) {
        for (const std::string &name : option->get_lnames()) {
            offer("--" + name);
        }
    }
}

// The shell expands what it is offered, and a client gives itself any name.
bool isPlain(const std::string &name) {
    const auto plain = [](unsigned char c) { return isalnum(c) != 0 || strchr("._-", c) != nullptr; };
    return !name.empty() && std::ranges::all_of(name, plain);
}

void offerEntities() {
    vosctl::Hub hub;
    for (const hubproto::ClientRow &row : hub.clients()) {
        const std::string name = row.name;
        if (row.eid != hub.eid()) {
            offer(isPlain(name) ? name : std::to_string(row.eid));
        }
    }
}

void offerDescribed(const std::string &kind) {
    for (const msgnames::NamedCode &type : msgnames::messageTypes()) {
        if (kind == "TYPE") {
            offer(std::string{type.name});
        }
    }
    for (const iface::Interface &interface : vosctl::descriptions().interfaces()) {
        if (kind == "INTERFACE") {
            offer(interface.name);
            continue;
        }
        for (const iface::Message &message : interface.messages) {
            offer(interface.name + "." + message.name);
        }
    }
}

void offerValues(const CLI::Option *option) {
    const std::string kind = option != nullptr ? option->get_type_name() : "";
    if (kind == "TYPE" || kind == "MESSAGE" || kind == "INTERFACE") {
        offerDescribed(kind);
    } else if (kind == "ENTITY") {
        offerEntities();
    }
}

// The option that takes `word` as its name and another word as its value.
const CLI::Option *valueOption(const CLI::App &command, const std::string &word) {
    const CLI::Option *option = word.starts_with("-") ? command.get_option_no_throw(word) : nullptr;
    return option != nullptr && option->get_items_expected_max() > 0 ? option : nullptr;
}

const CLI::Option *positional(const CLI::App &command, size_t index) {
    const auto all = command.get_options([](const CLI::Option *option) { return option->get_positional(); });
    return index < all.size() ? all[index] : nullptr;
}

const CLI::App *subcommand(const CLI::App &app, const std::string &name) {
    const auto named = app.get_subcommands([&name](const CLI::App *each) { return each->get_name() == name; });
    return named.empty() ? nullptr : named.front();
}

void complete(const CLI::App &root, const Words &words) {
    const CLI::App *command = &root;
    size_t positionals = 0;
    const CLI::Option *pending = nullptr;
    for (size_t i = 0; i + 1 < words.size(); i++) {
        if (pending != nullptr) {
            pending = nullptr;
        } else if (words[i].starts_with("-")) {
            pending = valueOption(*command, words[i]);
        } else if (const CLI::App *deeper = subcommand(*command, words[i])) {
            command = deeper;
        } else {
            positionals++;
        }
    }
    if (pending == nullptr && !words.empty() && words.back().starts_with("-")) {
        return offerOptions(*command);
    }
    offerValues(pending != nullptr ? pending : positional(*command, positionals));
    if (pending == nullptr && positionals == 0) {
        offerCommands(*command);
    }
}

void setUp(vosctl::Arguments app) {
    auto words = std::make_shared<Words>();
    app.hide();
    app.option("words", *words, "the words behind 'vosctl', the unfinished one last");
    app.runs([words, app] { complete(*app.app()->get_parent(), *words); });
}
const vosctl::Command kCommand{kSelf, "list what may stand for the last word", setUp};

}  // namespace
