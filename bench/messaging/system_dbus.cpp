// libdbus through a dbus-daemon of its own: a method call with an array of bytes, answered with the same array.
#include <dbus/dbus.h>
#include <unistd.h>

#include <cstring>

#include "system.h"

namespace bench {

namespace {

constexpr const char *kPath = "/bench";
constexpr const char *kInterface = "com.example.Bench";

std::string readText(int fd) {
    char text[256];
    const ssize_t got = read(fd, text, sizeof text);
    if (got <= 0) {
        fail("nothing comes from the D-Bus side");
    }
    const std::string whole{text, static_cast<size_t>(got)};
    return whole.substr(0, whole.find('\n'));
}

DBusConnection *connectTo(const std::string &address) {
    DBusConnection *connection = dbus_connection_open_private(address.c_str(), nullptr);
    if (connection == nullptr || dbus_bus_register(connection, nullptr) == 0) {
        fail("cannot connect to dbus-daemon");
    }
    return connection;
}

// The bytes stay inside `msg`. An empty payload has no argument at all.
size_t bytesOf(DBusMessage *msg, const char **bytes) {
    int length = 0;
    if (dbus_message_get_args(msg, nullptr, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, bytes, &length, DBUS_TYPE_INVALID) == 0) {
        return 0;
    }
    return static_cast<size_t>(length);
}

void addBytes(DBusMessage *msg, const char *bytes, size_t count) {
    if (count != 0) {
        dbus_message_append_args(msg, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes, static_cast<int>(count),
                                 DBUS_TYPE_INVALID);
    }
}

void answer(DBusConnection *connection) {
    while (dbus_connection_read_write(connection, -1) != 0) {
        while (DBusMessage *msg = dbus_connection_pop_message(connection)) {
            if (dbus_message_get_type(msg) == DBUS_MESSAGE_TYPE_METHOD_CALL && dbus_message_get_no_reply(msg) == 0) {
                DBusMessage *reply = dbus_message_new_method_return(msg);
                const char *bytes = nullptr;
                const size_t count = bytesOf(msg, &bytes);
                addBytes(reply, bytes, count);
                dbus_connection_send(connection, reply, nullptr);
                dbus_connection_flush(connection);
                dbus_message_unref(reply);
            }
            dbus_message_unref(msg);
        }
    }
}

class DbusClient : public Client {
  public:
    DbusClient(DBusConnection *connection, std::string peer) : connection_{connection}, peer_{std::move(peer)} {}

    void roundTrip(size_t payload) override {
        DBusMessage *msg = call(payload);
        DBusMessage *reply = dbus_connection_send_with_reply_and_block(connection_, msg, -1, nullptr);
        const char *bytes = nullptr;
        if (reply == nullptr || (payload != 0 && bytesOf(reply, &bytes) != payload)) {
            fail("no reply through dbus-daemon");
        }
        dbus_message_unref(reply);
        dbus_message_unref(msg);
    }
    void events(size_t payload, size_t count) override {
        for (size_t i = 0; i < count; i++) {
            DBusMessage *msg = dbus_message_new_signal(kPath, kInterface, "Event");
            dbus_message_set_destination(msg, peer_.c_str());
            addBytes(msg, payload_, payload);
            dbus_connection_send(connection_, msg, nullptr);
            dbus_message_unref(msg);
        }
        roundTrip(0);
    }

  private:
    DBusMessage *call(size_t payload) {
        DBusMessage *msg = dbus_message_new_method_call(peer_.c_str(), kPath, kInterface, "Echo");
        addBytes(msg, payload_, payload);
        return msg;
    }
    DBusConnection *connection_;
    std::string peer_;
    char payload_[kLargestPayload] = {};
};

}  // namespace

System startDbus() {
    int ready[2];
    if (pipe(ready) != 0) {
        fail("pipe");
    }
    const pid_t daemon = spawn([&] {
        const std::string print = "--print-address=" + std::to_string(ready[1]);
        execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=unix:tmpdir=/tmp",
               print.c_str(), static_cast<char *>(nullptr));
        fail("cannot start dbus-daemon");
    });
    const std::string address = readText(ready[0]);
    const pid_t peer = spawn([&] {
        DBusConnection *connection = connectTo(address);
        const std::string name = dbus_bus_get_unique_name(connection) + std::string{"\n"};
        if (write(ready[1], name.data(), name.size()) == static_cast<ssize_t>(name.size())) {
            answer(connection);
        }
    });
    const std::string name = readText(ready[0]);
    return {"D-Bus", {daemon, peer}, std::make_unique<DbusClient>(connectTo(address), name)};
}

}  // namespace bench
