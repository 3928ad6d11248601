-- Made by vosgen from the description of hub; do not edit.
return {
    name = "hub",
    names = {
        Verdict = {
            [0] = "delivered",
            [1] = "toHub",
            [2] = "fromHub",
            [3] = "noDestination",
        },
    },
    records = {
        { name = "ClientRow", size = 640, tail = false, fields = {
            { name = "eid", kind = "integer", doc = "its entity id", size = 4, offset = 0 },
            { name = "pid", kind = "integer", doc = "its process id", size = 4, offset = 4 },
            { name = "uid", kind = "integer", doc = "its user", size = 4, offset = 8 },
            { name = "heartbeats", kind = "integer", doc = "how many it sent", size = 4, offset = 12 },
            { name = "connectedMs", kind = "integer", doc = "how long ago it connected", size = 8, offset = 16 },
            { name = "lastHeartbeatMs", kind = "integer", doc = "how long ago the last heartbeat came; all ones: never", size = 8, offset = 24 },
            { name = "messagesIn", kind = "integer", doc = "received from it", size = 8, offset = 32 },
            { name = "messagesOut", kind = "integer", doc = "sent to it", size = 8, offset = 40 },
            { name = "queuedBytes", kind = "integer", doc = "waiting for it", size = 8, offset = 48 },
            { name = "watchdogStopped", kind = "bool", doc = "whether it stopped the watchdog", size = 1, offset = 56 },
            { name = "monitor", kind = "bool", doc = "whether it gets copies", size = 1, offset = 57 },
            { name = "heldBack", kind = "bool", doc = "not read for a while, because somebody takes what it sends too slowly", size = 1, offset = 58 },
            { name = "name", kind = "chars", doc = "under which it launched", size = 64, offset = 64 },
            { name = "path", kind = "chars", doc = "its executable", size = 512, offset = 128 },
        } },
        { name = "ListClientsReply", size = 0, tail = true, fields = {
            { name = "clients", kind = "struct", doc = "one for each", size = 640, list = true, record = "ClientRow" },
        } },
        { name = "GetCountersReply", size = 80, tail = false, fields = {
            { name = "uptimeMs", kind = "integer", doc = "since it started", size = 8, offset = 0 },
            { name = "clients", kind = "integer", doc = "connected now", size = 8, offset = 8 },
            { name = "routed", kind = "integer", doc = "messages delivered between clients", size = 8, offset = 16 },
            { name = "hubRequests", kind = "integer", doc = "requests that it answered itself", size = 8, offset = 24 },
            { name = "eventsDropped", kind = "integer", doc = "events to an id that nobody holds", size = 8, offset = 32 },
            { name = "peerGoneReplies", kind = "integer", doc = "requests to an id that nobody holds", size = 8, offset = 40 },
            { name = "disconnects", kind = "integer", doc = "clients thrown out", size = 8, offset = 48 },
            { name = "bytesRouted", kind = "integer", doc = "between clients", size = 8, offset = 56 },
            { name = "memoryUsed", kind = "integer", doc = "by messages that wait, are being read or are kept", size = 8, offset = 64 },
            { name = "memoryLimit", kind = "integer", doc = "that they may take", size = 8, offset = 72 },
        } },
        { name = "Echo", size = 0, tail = true, fields = {
            { name = "data", kind = "bytes", doc = "whatever is to come back" },
        } },
        { name = "EchoReply", size = 0, tail = true, fields = {
            { name = "data", kind = "bytes", doc = "as sent" },
        } },
        { name = "RemoteCli", size = 8, tail = true, fields = {
            { name = "function", kind = "integer", doc = "0", size = 8, offset = 0 },
            { name = "words", kind = "cstrings", doc = "the command line" },
        } },
        { name = "Copy", size = 16, tail = true, fields = {
            { name = "realtimeNs", kind = "integer", doc = "when, as CLOCK_REALTIME says", size = 8, offset = 0 },
            { name = "verdict", kind = "enum", doc = "what became of it", size = 4, offset = 8, names = "Verdict" },
            { name = "lost", kind = "integer", doc = "copies dropped for this monitor since the last one it got", size = 4, offset = 12 },
            { name = "message", kind = "bytes", doc = "header and payload" },
        } },
    },
    messages = {
        { name = "attachMonitor", kind = "request", type = 0x1000f001, constant = "HUB_MONITOR_ATTACH" },
        { name = "copy", kind = "event", type = 0x1000f002, constant = "HUB_MONITOR_COPY", payload = "Copy" },
        { name = "listClients", kind = "request", type = 0x1000f003, constant = "HUB_LIST_CLIENTS", reply = "ListClientsReply" },
        { name = "getCounters", kind = "request", type = 0x1000f004, constant = "HUB_GET_COUNTERS", reply = "GetCountersReply" },
        { name = "advanceClock", kind = "request", type = 0x1000f005, constant = "HUB_ADVANCE_CLOCK" },
        { name = "echo", kind = "request", type = 0x1000f010, constant = "ECHO", payload = "Echo", reply = "EchoReply" },
        { name = "remoteCli", kind = "request", type = 0x1000f030, constant = "REMOTE_CLI", payload = "RemoteCli" },
    },
}
