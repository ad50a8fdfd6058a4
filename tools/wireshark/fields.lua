
-- ---- fields: the catalogue as a tree of nodes, each with the fields that it shows

local quarlo = Proto("quarlo", "quarlo")

local fields = {}

local function register(make, path, label, ...)
    local field = make("quarlo." .. path, label, ...)
    fields[#fields + 1] = field
    return field
end

-- The prefixes p, pa and arr of pointers and arrays say nothing here.
local function label_of(name)
    for _, prefix in ipairs({ "arr", "pa", "p" }) do
        local rest = name:match("^" .. prefix .. "(%u.*)$")
        if rest then return rest end
    end
    return name
end

local makers = {
    UInt8 = ProtoField.uint8, UInt16 = ProtoField.uint16, UInt32 = ProtoField.uint32,
    Int8 = ProtoField.int8, Int64 = ProtoField.int64,
}

local function value_node(path, label, type, size, about)
    local node = { kind = "value", path = path, label = label, size = size,
                   names = enumerations[type], is_signed = type == "Int8" or type == "Int64" }
    if masks[type] then
        node.field = register(ProtoField.uint32, path, label, base.HEX, nil, nil, about)
        node.bits = {}
        for i, bit in ipairs(masks[type]) do
            node.bits[i] = register(ProtoField.bool, path .. "." .. bit.name:lower(), bit.name, 32,
                                    nil, bit.value, bit.about)
        end
    else
        local make = node.names and makers["UInt" .. 8 * size] or makers[type]
        node.field = register(make, path, label, base.DEC, node.names, nil, about)
    end
    return node
end

-- Records that are shown as one value, with their parts below it.
local whole = {
    String = ProtoField.string, Decimal = ProtoField.double, Version = ProtoField.string,
    Rectangle = ProtoField.string,
}

local nodes_of

local function record_node(path, label, record, about)
    local node = { path = path, label = label, record = record,
                   kind = whole[record] and record:lower() or "record" }
    if whole[record] then
        node.field = register(whole[record], path, label, nil, nil, about)
    else
        node.field = register(ProtoField.none, path, label, about)
    end
    if record == "String" then
        local encoding, content = records.String.fields[1], records.String.fields[2]
        node.nodes = {
            value_node(path .. ".encoding", encoding.name, encoding.type, 1, encoding.about),
            value_node(path .. ".length", content.length.name, content.length.type, 2, "bytes"),
        }
    else
        node.nodes = nodes_of(path, records[record].fields)
    end
    return node
end

local function field_node(prefix, field)
    local label = label_of(field.name)
    local path = prefix .. "." .. label:lower()
    if field.kind == "value" then
        return value_node(path, label, field.type, field.size, field.about)
    elseif field.kind == "member" then
        return record_node(path, label, field.type, field.about)
    end
    local node = { kind = field.kind, path = path, label = label, size = field.size,
                   count = field.count }
    if field.length then
        node.length = value_node(prefix .. "." .. label_of(field.length.name):lower(),
                                 label_of(field.length.name), field.length.type,
                                 field.length.size, "how many " .. label .. " follow")
        node.is_long = field.length.size == 4
    end
    if field.kind == "bytes" or field.kind == "run_of_bytes" then
        node.field = register(ProtoField.bytes, path, label, base.NONE, field.about)
    elseif field.kind == "run" then
        node.element = value_node(path, label, field.type, field.size, field.about)
    else
        node.element = record_node(path, label, field.type, field.about)
        node.size = records[field.type].minimum
    end
    return node
end

function nodes_of(prefix, described)
    local nodes = {}
    for i, field in ipairs(described) do nodes[i] = field_node(prefix, field) end
    return nodes
end

-- What the data of custom data is, by its event. Types are those of the packet's own side.
local function content_nodes(prefix, side, from_phone)
    local function group(name, nodes)
        nodes.field = register(ProtoField.none, prefix .. "." .. name, name)
        nodes.path = prefix .. "." .. name
        return nodes
    end
    local function type_of(name)
        return value_node(prefix .. "." .. name .. ".type", "Type",
                          side .. "CustomData" .. name:gsub("^%l", string.upper) .. "Type", 2)
    end
    local raw = prefix .. ".raw"
    local opcodes = {}
    for value, name in pairs(enumerations[side .. "CustomDataRawType"]) do
        opcodes[math.floor(value / 0x1000)] = name
    end
    local can = nodes_of(prefix .. ".can", records.CANMessage.fields)
    return {
        [1] = group("string", {
            kind = "string", type = type_of("string"),
            record_node(prefix .. ".string.text", "Text", "String"),
        }),
        [2] = group("int", {
            kind = "int", type = type_of("int"),
            { kind = "number", path = prefix .. ".int.value", sizes = { 1, 2, 4, 8 },
              field = register(ProtoField.uint64, prefix .. ".int.value", "Value", base.DEC) },
        }),
        [3] = group("raw", {
            kind = "raw", names = opcodes,
            opcode = register(ProtoField.uint16, raw .. ".opcode", "Opcode", base.DEC, opcodes,
                              0xF000),
            identifier = register(ProtoField.uint16, raw .. ".identifier", "Identifier", base.DEC,
                                  nil, 0x0FFF),
        }),
        [4] = group("can", { kind = "can", type = type_of("can"), can[1], can[2], most = 13 }),
        [5] = group("key", {
            kind = "key", type = type_of("key"),
            value_node(prefix .. ".key.code", "Code", side .. "CustomDataKeyCode", 1),
            not from_phone and value_node(prefix .. ".key.timestamp", "Timestamp", "UInt32", 4,
                                          "when (ms)") or nil,
        }),
    }
end

local type_names = {}
for number, packet in pairs(packets) do
    local prefix = packet.name:lower()
    type_names[number] = packet.name
    packet.field = register(ProtoField.none, prefix, packet.name, packet.about)
    packet.nodes = nodes_of(prefix, packet.fields)
    local side = packet.name:match("^(%a+)CustomData$")
    if side then packet.content = content_nodes(prefix, side, packet.from_phone) end
end

local shown = {
    type = register(ProtoField.uint8, "type", "Type", base.DEC, type_names),
    flags = register(ProtoField.uint32, "flags", "Flags", base.HEX),
    length = register(ProtoField.uint32, "length", "Length", base.DEC, nil, nil,
                      "of the payload (bytes)"),
    direction = register(ProtoField.uint8, "direction", "Direction", base.DEC,
                         { [0] = "to the phone", [1] = "from the phone" }),
    payload = register(ProtoField.bytes, "payload", "Payload", base.NONE,
                       "of a packet of an unknown type"),
    trailer = register(ProtoField.bytes, "trailer", "Trailer", base.NONE, "behind the fields"),
    undecoded = register(ProtoField.bytes, "undecoded", "Undecoded", base.NONE,
                         "behind what is malformed"),
    response_in = register(ProtoField.framenum, "response_in", "Response in", base.NONE,
                           frametype.RESPONSE),
    response_to = register(ProtoField.framenum, "response_to", "Response to", base.NONE,
                           frametype.REQUEST),
    response_time = register(ProtoField.relative_time, "response_time", "Response time"),
}

quarlo.fields = fields

local severity, group = expert.severity, expert.group
local experts = {}
for name, about in pairs({
    malformed = { "Malformed", group.MALFORMED, severity.ERROR },
    truncated = { "Cut by the capture", group.UNDECODED, severity.NOTE },
    unknown_type = { "Packet of an unknown type", group.UNDECODED, severity.WARN },
    unknown_value = { "Value without a name", group.UNDECODED, severity.NOTE },
    trailing = { "Bytes behind the fields", group.PROTOCOL, severity.NOTE },
    flags_set = { "Flags other than 0", group.PROTOCOL, severity.NOTE },
    wrong_direction = { "Packet of the other side", group.PROTOCOL, severity.WARN },
}) do
    experts[name] = ProtoExpert.new("quarlo." .. name, table.unpack(about))
end
quarlo.experts = experts

local prefs = quarlo.prefs
prefs["tcp.port"] = Pref.uint("TCP port", 5910, "Where the phone is found")
prefs.head_unit_listens = Pref.bool("Head unit listens", false,
                                    "The port is the head unit's, and not the phone's")
prefs.longest_packet = Pref.uint("Longest packet", 67108864,
                                 "Payload in bytes; what announces more is malformed")
prefs.all_bytes = Pref.bool("All bytes", false,
                            "Show all bytes of pixels and icons, and not the first 64 only")
