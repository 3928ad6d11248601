-- Wireshark dissector for captures of `vosctl monitor --pcap FILE` (link type 147, user 0):
--   wireshark -X lua_script:vos.lua trace.pcap

local vos = Proto("vos", "Gateway message")

-- What is known of messages: every description's table, from the directory VOS_INTERFACES or the installed one.
local function interfaces()
    local here = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
    local place = os.getenv("VOS_INTERFACES") or here .. "/../vos/interfaces"
    local all = {}
    local opened, files = pcall(Dir.open, place)
    for name in opened and files or function() end do
        if name:match("%.lua$") then
            local read, described = pcall(dofile, place .. "/" .. name)
            if read and type(described) == "table" then
                all[#all + 1] = described
            else
                print("vos.lua: " .. place .. "/" .. name .. " cannot be read: " .. tostring(described))
            end
        end
    end
    return all
end
local described = interfaces()

local types, records = {}, {} -- names by type; record by interface and name
for _, interface in ipairs(described) do
    for _, message in ipairs(interface.messages) do
        types[message.type] = message.constant or types[message.type] or interface.name .. "." .. message.name
    end
end
local verdicts = { [0] = "delivered", [1] = "to the hub", [2] = "from the hub", [3] = "no destination" }
local REQUEST, RESPONSE, SRPC = 0x02, 0x04, 0x20

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
}

-- A field of Wireshark's for each of a description: "vos.INTERFACE.RECORD.FIELD", "vos.RECORD.FIELD" for the library's.
local function proto_field(abbreviation, field, names)
    local bits = tostring(8 * (field.size or 0))
    local kind = field.kind
    if kind == "integer" or kind == "enum" then
        return ProtoField[(field.signed and "int" or "uint") .. bits](abbreviation, field.name, base.DEC, names, nil, field.doc)
    elseif kind == "flags" then
        return ProtoField["uint" .. bits](abbreviation, field.name, base.HEX, nil, nil, field.doc)
    elseif kind == "bool" then
        return ProtoField.bool(abbreviation, field.name)
    elseif kind == "ipv4" or kind == "ipv6" then
        return ProtoField[kind](abbreviation, field.name, field.doc)
    elseif kind == "mac" then
        return ProtoField.ether(abbreviation, field.name, field.doc)
    elseif kind == "struct" then
        return ProtoField.none(abbreviation, field.name, field.doc)
    elseif kind == "bytes" then
        return ProtoField.bytes(abbreviation, field.name, base.NONE, field.doc)
    end
    return ProtoField.string(abbreviation, field.name, base.UNICODE, field.doc)
end
for _, interface in ipairs(described) do
    local prefix = interface.name == "vos" and "vos." or "vos." .. interface.name .. "."
    local own = {}
    for _, record in ipairs(interface.records) do
        own[record.name] = record
        for _, field in ipairs(record.fields) do
            local names = field.kind == "enum" and interface.names[field.names] or nil
            field.proto = proto_field(prefix .. record.name .. "." .. field.name, field, names)
            field.bits = field.kind == "flags" and interface.names[field.names] or nil
            field.own, field.from = own, record.size
            f[#f + 1] = field.proto
        end
    end
    records[interface] = own
end
local fields = {}
for _, each in pairs(f) do
    fields[#fields + 1] = each
end
vos.fields = fields

local cut = ProtoExpert.new("vos.cut", "The message is longer than the capture of it", expert.group.UNDECODED,
    expert.severity.NOTE)
local misfit = ProtoExpert.new("vos.misfit", "The payload does not fit its description", expert.group.MALFORMED,
    expert.severity.WARN)
vos.experts = { cut, misfit }

local FATE, HEADER = 8, 32

-- The message that a header belongs to, its interface, and whether it is the reply.
local function message_of(message, flags, word)
    local function has(flag)
        return flags % (2 * flag) >= flag
    end
    local answered = has(REQUEST) or has(RESPONSE)
    local second
    for _, interface in ipairs(described) do
        for _, each in ipairs(interface.messages) do
            if each.type == message and (each.number == nil or each.number == word) then
                local kind = has(SRPC) and "procedure" or answered and "request" or nil
                if each.kind == kind or (kind == nil and (each.kind == "notice" or each.kind == "event")) then
                    return each, interface, has(RESPONSE)
                end
                second = second or { each, interface, has(RESPONSE) }
            end
        end
    end
    if second then
        return table.unpack(second)
    end
end

local shown = {} -- how each kind is added to the tree; all give what stands behind, or nil and why not

-- `number(tree, field, range)` adds in the byte order of the capture, `value(range)` reads in it.
local function add_fixed(tree, record, range, whole, number, value)
    local values = {}
    for _, field in ipairs(record.fields) do
        if field.offset then
            for i = 0, (field.count or 1) - 1 do
                local piece = range(field.offset + i * field.size, field.size)
                local bad = shown.element(tree, field, piece, whole, number, value)
                if bad then
                    return nil, bad
                end
                values[field.name] = field.kind == "integer" and value(piece) or nil
            end
        end
    end
    return values
end

-- The offset behind the NUL of a text.
local function behind_text(range, offset)
    for i = offset, range:len() - 1 do
        if range(i, 1):uint() == 0 then
            return i + 1
        end
    end
end

function shown.element(tree, field, piece, whole, number, value)
    local kind = field.kind
    if kind == "bool" and value(piece) > 1 then
        return string.format("'%s' is %u, neither 0 nor 1", field.name, value(piece))
    elseif kind == "chars" and piece(field.size - 1, 1):uint() ~= 0 then
        return "'" .. field.name .. "' does not end with a NUL"
    elseif kind == "struct" then
        local record = field.own[field.record]
        local _, bad = add_fixed(tree:add(field.proto, piece), record, piece, whole, number, value)
        return bad
    elseif kind == "textAt" then
        local offset = value(piece)
        if offset == 0 then
            return
        elseif offset < field.from or offset >= whole:len() then
            return string.format("'%s' stands at %.0f, outside of what follows the record", field.name, offset)
        end
        local behind = behind_text(whole, offset)
        if not behind then
            return "'" .. field.name .. "' does not end with a NUL"
        end
        local text = whole(offset, behind - offset)
        tree:add(field.proto, text, text:stringz())
    elseif kind == "chars" then
        tree:add(field.proto, piece, piece:stringz())
    elseif kind == "integer" or kind == "enum" then
        number(tree, field.proto, piece)
    elseif kind == "flags" then
        local item, bits = number(tree, field.proto, piece), value(piece)
        for bit, name in pairs(field.bits) do
            if bits % (2 * bit) >= bit then
                item:append_text(" " .. name)
            end
        end
    else
        tree:add(field.proto, piece)
    end
end

function shown.tail(tree, field, range, offset, values, number, value)
    local length = range:len()
    if field.kind == "cstring" or field.kind == "cstrings" then
        repeat
            local behind = behind_text(range, offset)
            if not behind then
                return (field.kind == "cstrings" and offset == length) and offset or nil, "'" .. field.name .. "' does not end with a NUL"
            end
            local text = range(offset, behind - offset)
            tree:add(field.proto, text, text:stringz())
            offset = behind
        until field.kind == "cstring" or offset == length
        return offset
    elseif field.list then
        local count = math.floor((length - offset) / field.size)
        local wanted = field.counter and values[field.counter] or count
        if wanted > count then
            return nil, string.format("'%s' says %.0f, there is room for %u", field.counter, wanted, count)
        end
        for _ = 1, wanted do
            local bad = shown.element(tree, field, range(offset, field.size), range, number, value)
            if bad then
                return nil, bad
            end
            offset = offset + field.size
        end
        return offset
    end
    if offset < length then
        local rest = range(offset)
        if field.kind == "text" then
            tree:add(field.proto, rest, rest:string())
        else
            tree:add(field.proto, rest)
        end
    end
    return length
end

local function bytes_text(count)
    return count .. (count == 1 and " byte" or " bytes")
end

-- Why the payload is none of this record; nothing when it is.
local function add_record(tree, record, range, number, value)
    local length = range and range:len() or 0
    if length < record.size or (not record.tail and length ~= record.size) then
        local least = record.tail and "at least " or ""
        return string.format("%s, where %s has %s%u", bytes_text(length), record.name, least, record.size)
    elseif length == 0 then
        return
    end
    local values, bad = add_fixed(tree, record, range, range, number, value)
    local offset, open = record.size, false
    for _, field in ipairs(record.fields) do
        open = open or field.kind == "textAt"
        if not bad and not field.offset then
            offset, bad = shown.tail(tree, field, range, offset, values, number, value)
        end
        if bad then
            return bad
        end
    end
    if offset < length and not open then
        return bytes_text(length - offset) .. " more than " .. record.name .. " has"
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

    local function value_of(range)
        if range:len() == 8 then
            return (little and range:le_uint64() or range:uint64()):tonumber()
        end
        return little and range:le_uint() or range:uint()
    end
    local present = buffer:len() - FATE - HEADER
    local known, interface, reply = message_of(message, flags, word)
    local range = present > 0 and buffer(FATE + HEADER, present) or nil
    local sub = range and tree:add(f.payload, range)
    if known then
        local record = records[interface][reply and known.reply or known.payload]
        tree:append_text(", " .. interface.name .. "." .. known.name)
        local whole, bad = present == length, nil
        if whole and record and (sub or not reply) then -- a reply that says no has a code and nothing else
            bad = add_record(sub, record, range, number, value_of)
        elseif whole and sub and not record and (reply or not known.number) then -- a procedure has 8 bytes at least
            bad = bytes_text(present) .. ", where none is described"
        end
        if bad then
            (sub or tree):add_proto_expert_info(misfit, "The payload does not fit its description: " .. bad)
        end
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
