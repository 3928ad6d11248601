// vosctl interfaces: which daemons are described, and what each of them offers.
#include <cstdio>
#include <memory>

#include "command.h"
#include "interfaces.h"

namespace {

std::string fieldsOf(const iface::Struct *record, const std::optional<iface::Field> &word) {
    std::string text;
    const auto add = [&text](const iface::Field &field) {
        text.append(text.empty() ? "" : ", ").append(field.name).append(": ").append(iface::typeText(field));
    };
    if (word) {
        add(*word);
    }
    for (size_t i = 0; record != nullptr && i < record->fields.size(); i++) {
        if (const iface::Field &field = record->fields[i]; field.kind != iface::Kind::kPad && !record->isCount(field)) {
            add(field);
        }
    }
    return "{" + text + "}";
}

void printOne(const iface::Interface &interface) {
    printf("%s: %s\nserved by %s", interface.name.c_str(), interface.doc.c_str(), interface.server.c_str());
    printf(interface.eid != 0 ? ", entity %u\n" : "\n", interface.eid);
    for (const iface::Message &message : interface.messages) {
        const std::string name = interface.name + "." + message.name;
        const std::string reply = message.isAnswered() ? " -> " + fieldsOf(message.reply, message.result) : "";
        printf("\n%s %s %s%s\n    %s\n", std::string{iface::kindName(message.kind)}.c_str(), name.c_str(),
               fieldsOf(message.payload, message.word).c_str(), reply.c_str(), message.doc.c_str());
    }
}

void run(const std::string &name) {
    if (name.empty()) {
        for (const iface::Interface &each : vosctl::descriptions().interfaces()) {
            printf("%-16s %3zu messages  %s\n", each.name.c_str(), each.messages.size(), each.doc.c_str());
        }
        return;
    }
    const iface::Interface *interface = vosctl::descriptions().find(name);
    if (interface == nullptr) {
        throw vosctl::Failure{"there is no description of '" + name + "'; see 'vosctl interfaces'"};
    }
    printOne(*interface);
}

void setUp(CLI::App &app) {
    auto name = std::make_shared<std::string>();
    app.add_option("name", *name, "one of them, in full")->type_name("INTERFACE");
    vosctl::addInterfaces(app);
    app.callback([name] { run(*name); });
}
const vosctl::Command kCommand{"interfaces", "show which messages are described", setUp};

}  // namespace
