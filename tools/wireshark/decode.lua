
-- ---- decoding: one function for each kind of node, on a cursor
--
-- A cursor knows where the payload ends, and where the bytes of the capture do. Whoever finds that
-- something does not fit raises a table, which the packet's decoder catches.

local function bytes_of(count)
    return count == 1 and "1 byte" or count .. " bytes"
end

local function fail_for(cursor, path, needed)
    local left = cursor.stop - cursor.at
    error({ malformed = string.format("quarlo.%s needs %s, %s left", path, needed,
                                      left == 1 and "1 is" or left .. " are") })
end

local function take(cursor, size, path)
    if size > cursor.stop - cursor.at then fail_for(cursor, path, bytes_of(size)) end
    if cursor.at + size > cursor.captured then error({ truncated = true }) end
    local at = cursor.at
    cursor.at = at + size
    return cursor.tvb(at, size)
end

-- As much of a range as there is; a record may begin where nothing is left.
local function range_of(cursor, at, size)
    local captured = cursor.captured
    if at >= captured then return cursor.tvb(captured - 1, 1) end
    return cursor.tvb(at, math.max(1, math.min(size, captured - at)))
end

-- Wireshark refuses trees of a million items; no packet of a phone comes near this.
local most_values = 400000

local function count_value(cursor)
    cursor.values = (cursor.values or 0) + 1
    if cursor.values > most_values then error({ truncated = "Too many values to show" }) end
end

local read = {}

local function read_node(cursor, node, tree)
    return read[node.kind](cursor, node, tree)
end

-- Each returns the value, and a text for the labels above it.
function read.value(cursor, node, tree)
    count_value(cursor)
    local range = take(cursor, node.size, node.path)
    local item = tree:add_le(node.field, range)
    if node.size == 8 then return range:le_int64(), tostring(range:le_int64()) end
    local value = node.is_signed and range:le_int() or range:le_uint()
    for _, bit in ipairs(node.bits or {}) do item:add_le(bit, range) end
    local name = node.names and node.names[value]
    if node.names and not name then
        item:add_proto_expert_info(experts.unknown_value,
                                   string.format("quarlo.%s has no name for %d", node.path, value))
    end
    return value, name or tostring(value)
end

function read.number(cursor, node, tree)
    local size = cursor.stop - cursor.at
    if size ~= 1 and size ~= 2 and size ~= 4 and size ~= 8 then
        error({ malformed = string.format("quarlo.%s is of 1, 2, 4 or 8 bytes, not of %d",
                                          node.path, size) })
    end
    tree:add_le(node.field, take(cursor, size, node.path))
end

-- Of a text that does not fit, what stands before it is shown in its place.
function read.string(cursor, node, tree)
    local begin, stop = cursor.at, math.min(cursor.stop, cursor.captured)
    local size = begin + 3 <= stop and cursor.tvb(begin + 1, 2):le_uint()
    local encoding = begin < stop and cursor.tvb(begin, 1):uint()
    local text, item = "", tree
    if size and begin + 3 + size <= stop then
        if size == 0 then
            item = tree:add(node.field, cursor.tvb(begin, 3), "")
        else
            local range = cursor.tvb(begin + 3, size)
            local coding = encoding == 2 and ENC_ISO_8859_1 or ENC_UTF_8
            item = tree:add_packet_field(node.field, range, coding)
            text = range:string(coding)
        end
    end
    read.value(cursor, node.nodes[1], item)
    local length = read.value(cursor, node.nodes[2], item)
    local content = length > 0 and take(cursor, length, node.path):bytes():tohex() or ""
    return encoding .. ":" .. content, text
end

-- Records of fixed size, shown as a text or number made of their parts.
local function read_whole(make)
    return function(cursor, node, tree)
        local size = 0
        for _, part in ipairs(node.nodes) do size = size + part.size end
        local begin = cursor.at
        local range = take(cursor, size, node.path)
        local values, at = {}, begin
        for i, part in ipairs(node.nodes) do
            local piece = cursor.tvb(at, part.size)
            values[i] = part.size == 8 and piece:le_int64() or
                        part.is_signed and piece:le_int() or piece:le_uint()
            at = at + part.size
        end
        local value = make(table.unpack(values))
        local item = tree:add(node.field, range, value)
        cursor.at = begin
        for _, part in ipairs(node.nodes) do read.value(cursor, part, item) end
        return value, tostring(value)
    end
end

-- From the text of both, which rounds once.
read.decimal = read_whole(function(value, exponent)
    return tonumber(tostring(value) .. "e" .. exponent)
end)
read.version = read_whole(function(major, minor, build)
    return major .. "." .. minor .. "." .. build
end)
read.rectangle = read_whole(function(x, y, width, height)
    return width .. "x" .. height .. "+" .. x .. "+" .. y
end)

function read.record(cursor, node, tree, label)
    local begin = cursor.at
    local item = tree:add(node.field, range_of(cursor, begin, 1))
    if label then item:set_text(label) end
    local essence
    for _, each in ipairs(node.nodes) do
        local _, text = read_node(cursor, each, item)
        essence = essence or text
    end
    item:set_len(cursor.at - begin)
    if label and essence then item:append_text(": " .. essence) end
    return nil, essence
end

function read.bytes(cursor, node, tree)
    tree:add(node.field, take(cursor, node.count, node.path))
end

function read.run_of_bytes(cursor, node, tree)
    local count = read.value(cursor, node.length, tree)
    if count == 0 then return 0 end
    if count > cursor.stop - cursor.at then fail_for(cursor, node.path, bytes_of(count)) end
    local first = node.is_long and not prefs.all_bytes and 64 or count
    local some = math.min(first, count, cursor.captured - cursor.at)
    if some > 0 then
        local item = tree:add(node.field, cursor.tvb(cursor.at, some))
        if some < count then
            item:append_text(string.format(" (the first %d of %s)", some, bytes_of(count)))
        end
    end
    take(cursor, count, node.path)
    return count
end

function read.run(cursor, node, tree)
    local count = read.value(cursor, node.length, tree)
    local needed = count * node.size
    if needed > cursor.stop - cursor.at then fail_for(cursor, node.path, bytes_of(needed)) end
    for _ = 1, count do read.value(cursor, node.element, tree) end
end

function read.list(cursor, node, tree)
    local count = read.value(cursor, node.length, tree)
    for i = 1, count do
        if node.size > cursor.stop - cursor.at then
            fail_for(cursor, node.length.path,
                     string.format("at least %s for the element %d of %d", bytes_of(node.size), i,
                                   count))
        end
        read.record(cursor, node.element, tree, node.label .. " " .. i)
    end
end

-- The data of custom data once more, as what its event says that it is.
local function read_content(cursor, packet, values, tree)
    local content = packet.content[values.event]
    if not content then return end
    local size = values.data
    local begin = cursor.at - size
    local inner = { tvb = cursor.tvb, at = begin, stop = cursor.at, captured = cursor.captured }
    local item = tree:add(content.field, range_of(cursor, math.max(begin, 2), math.max(size, 1)))
    local type_range = cursor.tvb(values.type_at, 2)
    if content.opcode then
        item:add_le(content.opcode, type_range)
        item:add_le(content.identifier, type_range)
        if not content.names[math.floor(values.type / 0x1000)] then
            item:add_proto_expert_info(experts.unknown_value, "no operation has this number")
        end
        return
    end
    read.value({ tvb = cursor.tvb, at = values.type_at, stop = values.type_at + 2,
                 captured = cursor.captured }, content.type, item)
    for _, node in ipairs(content) do read_node(inner, node, item) end
    if inner.at < inner.stop or size > (content.most or size) then
        error({ malformed = string.format("quarlo.%s is too long: %s", content.path,
                                          bytes_of(size)) })
    end
end

-- The fields of a packet; values of the outermost ones are kept by their names.
local function read_fields(cursor, packet, tree, values)
    for _, node in ipairs(packet.nodes) do
        local name = node.path:match("[^.]*$")
        if name == "type" then values.type_at = cursor.at end
        local value, text = read_node(cursor, node, tree)
        values[name] = value
        values[name .. ".text"] = text
    end
    if packet.content then read_content(cursor, packet, values, tree) end
    return true
end
