// Launch announcements.
#include "launch.h"

#include <filesystem>

#include "internal/bytes.h"
#include "internal/message_header.h"

namespace hubd {

namespace {

constexpr uint64_t kLaunchWork = 16;  // in the units of Turns

}  // namespace

std::string Launcher::launch(Client &client, const Frame &frame) {
    const VosMsgHeader &header = frame.header;
    if (header.type != VOS_MSG_LAUNCHED) {
        return "its first message is no announcement";
    }
    vos::ByteReader reader{frame.payload().data(), frame.payload().size()};
    const std::string name{reader.terminatedText().substr(0, kMaxName)};
    const std::string path{reader.terminatedText()};
    if (!reader.ok()) {
        return "its announcement is broken";
    }
    const auto pid = static_cast<uint32_t>(client.credentials.pid);
    if (header.wordData != pid &&
        !kernel::isIdInOwnNamespace(client.fd.get(), client.credentials.pid, header.wordData)) {
        return "it announces process id " + std::to_string(header.wordData) + ", which is not its own";
    }
    const auto eid = header.src != 0 ? std::optional{header.src} : directory_.idForLaunch(name);
    if (!eid) {
        return "every dynamic id is taken";
    }
    const Client *holder = ids_.find(*eid);
    if (*eid == EID_HUBD || holder != nullptr) {
        return "entity id " + std::to_string(*eid) + " is held by " +
               (holder != nullptr ? holder->describe() : std::string{"the hub"});
    }
    client.name = !name.empty() ? name : directory_.nameOf(*eid);
    if (client.name.empty()) {
        client.name = std::filesystem::path{path}.filename().string().substr(0, kMaxName);
    }
    client.path = path;
    directory_.enter(client.name, *eid);
    try {
        ids_.insert(*eid, &client);
    } catch (const std::bad_alloc &) {
        directory_.leave(client.name, *eid);
        throw;
    }
    client.eid = *eid;
    router_.addWork(kLaunchWork);

    router_.sendFromHub(client, vos::messageHeader(VOS_MSG_LAUNCHED, EID_HUBD, *eid, VOS_MSG_FLAG_RESPONSE));
    clients_.forEachClient([&](Client &other) { router_.resend(other, *eid); });
    Frame event = frame;
    event.header.src = *eid;
    services_.publish(client, event);
    return {};
}

}  // namespace hubd
