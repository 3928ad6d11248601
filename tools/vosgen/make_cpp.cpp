// C++: a typed client, blocking, with callbacks and for coroutines, and the base of a server.
#include "generate.h"

namespace vosgen {

namespace {

using iface::Message;
using iface::MessageKind;
using iface::Struct;

std::string typeOf(const Struct *record) {
    return record != nullptr ? record->name : "void";
}

class CppMaker {
  public:
    explicit CppMaker(const iface::Interface &all)
        // The library's own messages cannot have the library's namespace.
        : all_{all}, space_{all.name == "vos" ? "vos_messages" : all.name}, constant_{upperSnake(all.name) + "_"} {}

    std::string make() {
        out_.put("// Made by vosgen from the description of ", all_.name, "; do not edit.");
        out_.put("#pragma once\n\n#include <tuple>\n#include <vos/interface.hpp>\n\n#include \"", all_.name, ".h\"\n");
        out_.put("/** ", all_.doc, " */\nnamespace ", space_, " {\n");
        const std::string type = upperFirst(all_.name);
        for (const iface::Named &each : all_.named) {
            out_.put("using ", each.name, " = ", type, each.name, ";");
        }
        for (const Struct &each : all_.structs) {
            out_.put("using ", each.name, " = ", type, each.name, ";");
        }
        std::string types;
        for (const Struct &each : all_.structs) {
            types += (types.empty() ? "" : ", ") + each.name;
        }
        out_.put("/** Every structure, in the order of the description. */\nusing Payloads = std::tuple<", types, ">;");
        out_.put("\n}  // namespace ", space_, "\n");
        for (const Struct &each : all_.structs) {
            putCodec(each, type + each.name);
        }
        out_.put("\nnamespace ", space_, " {\n");
        putClient();
        putServer();
        out_.put("}  // namespace ", space_);
        return out_.text();
    }

  private:
    std::string typeConstant(const Message &message) const { return constant_ + upperSnake(message.name) + "_TYPE"; }
    std::string numberConstant(const Message &message) const {
        return constant_ + upperSnake(message.name) + "_NUMBER";
    }
    // "AddReply, false": what the templates need to know of a reply.
    static std::string replyArguments(const Message &message) {
        return typeOf(message.reply) + ", " + (message.result ? "true" : "false");
    }
    // "const Add &payload, uint32_t count, ", what a message carries as parameters.
    static std::string parameters(const Message &message) {
        return (message.payload != nullptr ? "const " + message.payload->name + " &payload, " : "") +
               (message.word ? "uint32_t " + message.word->name + ", " : "");
    }
    static std::string trimmed(const std::string &list) {
        return list.empty() ? list : list.substr(0, list.size() - 2);
    }
    // What parameters() gives, passed on.
    static std::string arguments(const Message &message, const std::string &word) {
        return (message.payload != nullptr ? "payload, " : "") + std::string{message.word ? word + ", " : ""};
    }
    static std::string lambdaParameter(const Message &message) {
        return message.payload != nullptr ? "const " + message.payload->name + " &payload" : "";
    }

    void putCodec(const Struct &record, const std::string &name) {
        out_.put("template <>\nstruct vos::Codec<", name, "> {");
        out_.put("    static constexpr bool kPlain = ", record.hasTail ? "false" : "true", ";");
        for (const char *way : {"read", "write"}) {
            out_.put("    static constexpr auto ", way, " = ", all_.name, "_", way, record.name, ";");
        }
        out_.put("};");
    }

    void putClient() {
        out_.put("/** Asks ", all_.server, ". */\nclass Client {\n  public:");
        out_.put("    Client(vos::Connection &hub, VosEntityId server) noexcept : hub_{&hub}, server_{server} {}");
        out_.put("    /** Looks the server up. */");
        out_.put(
            "    static vos::Result<Client> find(vos::Connection &hub, vos::iface::Patience patience = vos::kPatience) "
            "{");
        if (all_.eid != 0) {
            out_.put("        static_cast<void>(patience);\n        return Client{hub, ", constant_, "EID};\n    }");
        } else {
            out_.put("        const auto server = hub.lookUp(", constant_, "SERVER, patience);");
            out_.put(
                "        return server ? vos::Result<Client>{Client{hub, *server}} : "
                "vos::Result<Client>{server.ret()};\n    }");
        }
        out_.put("    VosEntityId server() const noexcept { return server_; }");
        for (const Message &each : all_.messages) {
            out_.put("\n    /** ", each.doc, " */");
            each.isAnswered()                   ? putAsk(each)
            : each.kind == MessageKind::kNotice ? putSend(each, each.name, "server_", "hub_->")
                                                : putListen(each);
        }
        out_.put("\n  private:\n    vos::Connection *hub_;\n    VosEntityId server_;\n};\n");
    }
    void putAsk(const Message &message) {
        const std::string reply = replyArguments(message);
        const std::string patience = "vos::iface::Patience patience = vos::kPatience";
        const bool procedure = message.kind == MessageKind::kProcedure;
        const bool writes = message.payload != nullptr;
        const std::string written =
            writes ? "        const vos::iface::Written<" + message.payload->name + "> written{payload};\n" : "";
        const std::string question = "{.to = server_, .type = " + typeConstant(message) +
                                     (procedure      ? ", .word = " + numberConstant(message)
                                      : message.word ? ", .word = " + message.word->name
                                                     : "") +
                                     (writes ? ", .payload = written.payload()" : "") + ", .patience = patience" +
                                     (procedure ? ", .procedure = true" : "") +
                                     (writes ? ", .unfit = written.ret()" : "") + "}";
        out_.put("    vos::iface::Answer<", reply, "> ", message.name, "(", parameters(message), patience,
                 ") const {\n", written, "        return vos::iface::ask<", reply, ">(*hub_, ", question, ");\n    }");
        out_.put("    template <typename Done>\n    requires std::is_invocable_v<Done &, vos::iface::Answer<", reply,
                 ">>");
        out_.put("    vos::Call ", message.name, "(vos::Loop &loop, ", parameters(message), "Done done, ", patience,
                 ") const {\n", written, "        return vos::iface::ask<", reply, ">(loop, ", question,
                 ", std::move(done));\n    }");
        out_.put("    vos::iface::AskingFor<", reply, "> ", message.name, "(vos::Loop &loop, ", parameters(message),
                 patience, ") const {\n", written, "        return vos::iface::AskingFor<", reply, ">{loop.ask(",
                 question, ")};\n    }");
    }
    void putSend(const Message &message, const std::string &name, const std::string &to, const std::string &hub) {
        out_.put("    vos::Result<void> ", name, "(", trimmed(parameters(message)), ") const {");
        const std::string word = message.word ? message.word->name : "0";
        const std::string head = hub + "notify(" + to + ", " + typeConstant(message) + ", " + word;
        if (message.payload == nullptr) {
            out_.put("        return ", head, ");\n    }");
            return;
        }
        out_.put("        const vos::iface::Written<", message.payload->name, "> written{payload};");
        out_.put("        return written.ret() == VOS_RET_OK ? ", head, ", written.payload()) : written.ret();\n    }");
    }
    void putListen(const Message &message) {
        out_.put("    template <typename Handler>");
        out_.put("    vos::Result<void> on", upperFirst(message.name), "(vos::Loop &loop, Handler handler) const {");
        out_.put("        loop.on(", typeConstant(message),
                 ", [handler = std::move(handler)]([[maybe_unused]] const vos::MessageView &message) mutable {");
        out_.put("            vos::iface::take<", typeOf(message.payload), ">(message, [&](", lambdaParameter(message),
                 ") { handler(", trimmed(arguments(message, "message.word()")), "); });");
        out_.put("        });\n        return hub_->subscribe(", typeConstant(message), ");\n    }");
    }

    void putServer() {
        out_.put("/** Answers as ", all_.server,
                 ". Registered with the loop as long as it lives; a request that does not fit is answered "
                 "VOS_RET_BAD_ARG. */");
        out_.put("class Server {\n  public:\n    explicit Server(vos::Loop &loop) : loop_{loop} {");
        for (const Message &each : all_.messages) {
            if (each.kind != MessageKind::kEvent) {
                putRegistration(each);
            }
        }
        out_.put(
            "    }\n    Server(const Server &) = delete;\n    Server &operator=(const Server &) = delete;\n    virtual "
            "~Server() {");
        for (const Message &each : all_.messages) {
            if (each.kind != MessageKind::kEvent) {
                out_.put("        loop_.", each.isAnswered() ? "serve(" : "on(", registrationKey(each), ", {});");
            }
        }
        out_.put("    }");
        for (const Message &each : all_.messages) {
            if (each.kind == MessageKind::kEvent) {
                out_.put("\n    /** To all who listen: ", each.doc, " */");
                putSend(each, "publish" + upperFirst(each.name), "EID_HUBD", "loop_.hub().");
            }
        }
        out_.put("\n  protected:");
        for (const Message &each : all_.messages) {
            if (each.isAnswered()) {
                out_.put("    /** ", each.doc, " */");
                out_.put("    virtual void ", each.name, "(", parameters(each), "vos::iface::ReplyTo<",
                         replyArguments(each), "> reply) = 0;");
            } else if (each.kind == MessageKind::kNotice) {
                out_.put("    /** ", each.doc, " */");
                out_.put("    virtual void ", each.name, "(", trimmed(parameters(each)), ") = 0;");
            }
        }
        out_.put("\n    vos::Loop &loop_;\n};\n");
    }
    std::string registrationKey(const Message &message) const {
        return typeConstant(message) + (message.kind == MessageKind::kProcedure ? ", " + numberConstant(message) : "");
    }
    void putRegistration(const Message &message) {
        const bool answered = message.isAnswered();
        const std::string what = answered ? "request" : "message";
        out_.put("        loop.", answered ? "serve(" : "on(", registrationKey(message),
                 ", [this](const vos::", answered ? "Request" : "MessageView", " &", what, ") {");
        out_.put("            vos::iface::", answered ? "serve<" : "take<", typeOf(message.payload), ">(", what,
                 ", [&](", lambdaParameter(message), ") {");
        const std::string list = arguments(message, what + ".word()") +
                                 (answered ? "vos::iface::ReplyTo<" + replyArguments(message) + ">{request}, " : "");
        out_.put("                ", message.name, "(", trimmed(list), ");\n            });\n        });");
    }

    const iface::Interface &all_;
    std::string space_, constant_;
    Lines out_;
};

}  // namespace

std::string makeCpp(const iface::Interface &all) {
    return CppMaker{all}.make();
}

}  // namespace vosgen
