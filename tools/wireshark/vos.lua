-- Wireshark dissector for captures of `vosctl monitor --pcap FILE` (link type 147, user 0):
--   wireshark -X lua_script:vos.lua trace.pcap

local vos = Proto("vos", "Gateway message")

local types = {
    [0x00000013] = "VOS_MSG_SYSTEM_TASK_FINISH",
    [0x10000251] = "VOS_MSG_LAUNCHED",
    [0x10000800] = "VOS_MSG_REGISTER_DELAYED_MSG",
    [0x10000801] = "VOS_MSG_UNREGISTER_DELAYED_MSG",
    [0x10000802] = "VOS_MSG_REGISTER_EVENT_INTEREST",
    [0x10000803] = "VOS_MSG_UNREGISTER_EVENT_INTEREST",
    [0x1000080b] = "VOS_MSG_IS_APP_RUNNING",
    [0x10000830] = "VOS_MSG_REQUEUE_WAKEUP",
    [0x10000831] = "VOS_MSG_RESEND_REQUEST",
    [0x10000832] = "VOS_MSG_HEARTBEAT",
    [0x10000834] = "VOS_MSG_STOP_WATCHDOG",
    [0x10000850] = "VOS_MSG_REBOOT",
    [0x10002c07] = "VOS_MSG_SAVE_LOG_TO_FLASH",
    [0x10003620] = "VOS_MSG_ADD_ENTITY_INFO",
    [0x10003621] = "VOS_MSG_DEL_ENTITY_INFO",
    [0x10003627] = "VOS_MSG_GET_EID_BY_APP_NAME",
    [0x1000700b] = "VOS_MSG_PLUGIN_SET_PARAMETER",
    [0x10009130] = "VOS_MSG_GET_PLUGIN_CFG_DIR",
}
local verdicts = { [0] = "delivered", [1] = "to the hub", [2] = "from the hub", [3] = "no destination" }
local LAUNCHED, REGISTER_DELAYED, ADD_ENTITY, DEL_ENTITY, GET_EID =
    0x10000251, 0x10000800, 0x10003620, 0x10003621, 0x10003627
local RESPONSE = 0x04

local f = {
    verdict = ProtoField.uint32("vos.verdict", "What became of it", base.DEC, verdicts),
    lost = ProtoField.uint32("vos.lost", "Lost before it"),
    type = ProtoField.uint32("vos.type", "Type", base.HEX, types),
    src = ProtoField.uint32("vos.src", "From entity"),
    dst = ProtoField.uint32("vos.dst", "To entity"),
    flags = ProtoField.uint16("vos.flags", "Flags", base.HEX),
    event = ProtoField.bool("vos.flags.event", "Event", 16, nil, 0x01),
    request = ProtoField.bool("vos.flags.request", "Request", 16, nil, 0x02),
    response = ProtoField.bool("vos.flags.response", "Response", 16, nil, 0x04),
    requeue = ProtoField.bool("vos.flags.requeue", "Requeue", 16, nil, 0x08),
    keep = ProtoField.bool("vos.flags.keep", "Keep", 16, nil, 0x10),
    srpc = ProtoField.bool("vos.flags.srpc", "SRPC", 16, nil, 0x20),
    sequence = ProtoField.uint16("vos.sequence", "Sequence number"),
    word = ProtoField.uint32("vos.word", "Word", base.DEC_HEX),
    length = ProtoField.uint32("vos.length", "Payload length"),
    payload = ProtoField.bytes("vos.payload", "Payload"),
    name = ProtoField.stringz("vos.name", "Name"),
    path = ProtoField.stringz("vos.path", "Executable"),
    delay = ProtoField.uint32("vos.delay", "Delay in milliseconds"),
}
vos.fields = f

local cut = ProtoExpert.new("vos.cut", "The message is longer than the capture of it", expert.group.UNDECODED,
    expert.severity.NOTE)
vos.experts = { cut }

local FATE, HEADER = 8, 32

-- A text with its NUL at `offset`, added to the tree; the offset behind it, or nil when its NUL is missing.
local function text(tree, field, range, offset)
    for i = offset, range:len() - 1 do
        if range(i, 1):uint() == 0 then
            tree:add(field, range(offset, i - offset + 1))
            return i + 1
        end
    end
end

local function payload(tree, range, message, number)
    local sub = tree:add(f.payload, range)
    if message == LAUNCHED then
        local behind = text(sub, f.name, range, 0)
        if behind and behind < range:len() then
            text(sub, f.path, range, behind)
        end
    elseif message == ADD_ENTITY or message == DEL_ENTITY or message == GET_EID then
        text(sub, f.name, range, 0)
    elseif message == REGISTER_DELAYED and range:len() >= 4 then
        number(sub, f.delay, range(0, 4))
    end
end

-- Everything is in the byte order of the machine that captured. The payload's length stands outside the packet too; a
-- message without payload has small numbers, flags before all, which are large in the other order.
local function is_little(buffer)
    local length, present = buffer(FATE + 28, 4), buffer:reported_len() - FATE - HEADER
    local little, big = length:le_uint() == present, length:uint() == present
    if little ~= big then
        return little
    end
    for _, range in ipairs({ buffer(FATE + 12, 2), buffer(0, 4), buffer(FATE + 8, 4), buffer(FATE + 4, 4) }) do
        if range:le_uint() ~= range:uint() then
            return range:le_uint() < range:uint()
        end
    end
    return true
end

function vos.dissector(buffer, info, root)
    if buffer:len() < FATE + HEADER then
        return 0
    end
    info.cols.protocol = "VOS"
    local little = is_little(buffer)
    local function number(tree, field, range)
        return little and tree:add_le(field, range) or tree:add(field, range)
    end
    local function value(offset, length)
        local range = buffer(offset, length)
        return little and range:le_uint() or range:uint()
    end

    local header = buffer(FATE, HEADER)
    local message, from, to = value(8, 4), value(12, 4), value(16, 4)
    local flags, word, length = value(20, 2), value(32, 4), value(36, 4)
    local tree = root:add(vos, buffer(), "Gateway message")
    number(tree, f.verdict, buffer(0, 4))
    number(tree, f.lost, buffer(4, 4))
    number(tree, f.type, header(0, 4))
    number(tree, f.src, header(4, 4))
    number(tree, f.dst, header(8, 4))
    local bits = number(tree, f.flags, header(12, 2))
    for _, name in ipairs({ "event", "request", "response", "requeue", "keep", "srpc" }) do
        number(bits, f[name], header(12, 2))
    end
    number(tree, f.sequence, header(14, 2))
    number(tree, f.word, header(24, 4))
    number(tree, f.length, header(28, 4))

    local present = buffer:len() - FATE - HEADER
    if present > 0 then
        payload(tree, buffer(FATE + HEADER, present), message, number)
    end
    if present < length then
        tree:add_proto_expert_info(cut)
    end

    local kind = "message"
    for _, known in ipairs({ { 0x01, "event" }, { 0x02, "request" }, { RESPONSE, "reply" } }) do
        if flags % (2 * known[1]) >= known[1] then
            kind = known[2]
        end
    end
    local outcome = flags % (2 * RESPONSE) >= RESPONSE and " = " .. word or ""
    info.cols.src = tostring(from)
    info.cols.dst = tostring(to)
    local what = types[message] or string.format("0x%08x", message)
    info.cols.info = string.format("%s %s%s, %u bytes", what, kind, outcome, length)
    return buffer:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, vos)
