// vosctl interfaces: which daemons are described, and what each of them offers.
#include <cstdio>
#include <memory>

#include "arguments.h"
#include "command.h"
#include "interfaces.h"
#include "output.h"

namespace {

struct Options {
    std::string name;
    bool json = false;
};

/** Names and types of a message's word and of the fields behind it. */
iface::Json fieldsOf(const iface::Struct *record, const std::optional<iface::Field> &word) {
    iface::Json fields = iface::Json::object();
    const auto add = [&fields](const iface::Field &field) { fields[field.name] = iface::typeText(field); };
    if (word) {
        add(*word);
    }
    for (size_t i = 0; record != nullptr && i < record->fields.size(); i++) {
        if (const iface::Field &field = record->fields[i]; field.kind != iface::Kind::kPad && !record->isCount(field)) {
            add(field);
        }
    }
    return fields;
}

std::string textOf(const iface::Json &fields) {
    std::string text;
    for (const auto &[name, type] : fields.items()) {
        text.append(text.empty() ? "" : ", ").append(name).append(": ").append(type.get<std::string>());
    }
    return "{" + text + "}";
}

iface::Json jsonOf(const iface::Interface &interface) {
    iface::Json messages = iface::Json::array();
    for (const iface::Message &message : interface.messages) {
        iface::Json each{{"name", message.name},
                         {"kind", iface::kindName(message.kind)},
                         {"type", message.type},
                         {"doc", message.doc},
                         {"fields", fieldsOf(message.payload, message.word)}};
        if (message.kind == iface::MessageKind::kProcedure) {
            each["procedure"] = message.number;
        }
        if (message.isAnswered()) {
            each["reply"] = fieldsOf(message.reply, message.result);
        }
        messages.push_back(std::move(each));
    }
    return {{"name", interface.name},
            {"doc", interface.doc},
            {"server", interface.server},
            {"eid", interface.eid},
            {"messages", std::move(messages)}};
}

void printOne(const iface::Interface &interface) {
    printf("%s: %s\nserved by %s", interface.name.c_str(), interface.doc.c_str(), interface.server.c_str());
    printf(interface.eid != 0 ? ", entity %u\n" : "\n", interface.eid);
    for (const iface::Message &message : interface.messages) {
        const std::string name = interface.name + "." + message.name;
        const std::string reply = message.isAnswered() ? " -> " + textOf(fieldsOf(message.reply, message.result)) : "";
        printf("\n%s %s %s%s\n    %s\n", std::string{iface::kindName(message.kind)}.c_str(), name.c_str(),
               textOf(fieldsOf(message.payload, message.word)).c_str(), reply.c_str(), message.doc.c_str());
    }
}

void runAll(bool json) {
    iface::Json all = iface::Json::array();
    for (const iface::Interface &each : vosctl::descriptions().interfaces()) {
        if (json) {
            all.push_back(jsonOf(each));
        } else {
            printf("%-16s %3zu messages  %s\n", each.name.c_str(), each.messages.size(), each.doc.c_str());
        }
    }
    if (json) {
        vosctl::printJson({{"interfaces", std::move(all)}});
    }
}

void run(const Options &options) {
    if (options.name.empty()) {
        runAll(options.json);
        return;
    }
    const iface::Interface *interface = vosctl::descriptions().find(options.name);
    if (interface == nullptr) {
        throw vosctl::Failure{"there is no description of '" + options.name + "'; see 'vosctl interfaces'"};
    }
    if (options.json) {
        vosctl::printJson(jsonOf(*interface));
    } else {
        printOne(*interface);
    }
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("name", options->name, "one of them, in full").called("INTERFACE");
    vosctl::addInterfaces(app);
    vosctl::addJson(app, options->json);
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"interfaces", "show which messages are described", setUp};

}  // namespace
