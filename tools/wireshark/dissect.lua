
-- ---- packets: header, fields, and what is said of them

local header_size = 9

-- Set for all whose first field refuses by not being 1, or whose number tells them apart.
local function essence_of(packet, values)
    local node = packet.nodes[1]
    local name = node and node.path:match("[^.]*$")
    if name == "isacknowledged" or name == "successful" then
        return values[name] ~= nil and values[name] ~= 1 and " (refused)" or ""
    end
    local text = node and node.kind == "value" and not node.bits and values[name .. ".text"]
    return text and ": " .. text or ""
end

local function is_phones(pinfo)
    local port = prefs["tcp.port"]
    local from, to = pinfo.src_port, pinfo.dst_port
    local is_from
    if (from == port) ~= (to == port) then
        is_from = from == port
    elseif from ~= to then
        is_from = from < to
    else
        is_from = tostring(pinfo.src) < tostring(pinfo.dst)
    end
    if prefs.head_unit_listens then return not is_from end
    return is_from
end

local function connection_of(pinfo)
    local one = tostring(pinfo.src) .. " " .. pinfo.src_port
    local other = tostring(pinfo.dst) .. " " .. pinfo.dst_port
    return one < other and one .. " " .. other or other .. " " .. one
end

local function show_rest(cursor, field, tree)
    local some = math.min(cursor.stop, cursor.captured) - cursor.at
    if some > 0 then return tree:add(field, cursor.tvb(cursor.at, some)) end
end

-- Runs a decoder, and says what it found wrong.
local function guarded(cursor, tree, decode, ...)
    local is_fine, result = pcall(decode, cursor, ...)
    if is_fine then return true end
    if type(result) ~= "table" then error(result, 0) end
    if result.truncated == true then
        tree:add_proto_expert_info(experts.truncated)
        return false
    end
    local why = result.malformed and experts.malformed or experts.truncated
    tree:add_proto_expert_info(why, result.malformed or result.truncated)
    show_rest(cursor, shown.undecoded, tree)
    return false
end

local function show_fields(cursor, packet, tree)
    local size = math.max(cursor.stop - cursor.at, 1)
    local item = tree:add(packet.field, range_of(cursor, cursor.at, size))
    local values = {}
    if not guarded(cursor, item, read_fields, packet, item, values) then return values end
    if cursor.at < cursor.stop then
        local trailer = show_rest(cursor, shown.trailer, item)
        local text = bytes_of(cursor.stop - cursor.at) .. " behind the fields"
        (trailer or item):add_proto_expert_info(experts.trailing, text)
    end
    if cursor.stop > cursor.captured then
        item:add_proto_expert_info(experts.truncated)
    end
    return values
end

-- A packet whose header is there; what of its payload is there may be less.
local function show_packet(tvb, at, size, pinfo, root)
    local captured = tvb:captured_len()
    local number, flags = tvb(at, 1):uint(), tvb(at + 1, 4):le_uint()
    local packet = packets[number]
    local name = packet and packet.name or "Unknown (" .. number .. ")"
    local cursor = { tvb = tvb, at = at + header_size, stop = at + header_size + size,
                     captured = captured }
    local tree = root:add(quarlo, range_of(cursor, at, header_size + size))
    tree:append_text(", " .. name)
    local type_item = tree:add(shown.type, tvb(at, 1))
    local flags_item = tree:add_le(shown.flags, tvb(at + 1, 4))
    tree:add_le(shown.length, tvb(at + 5, 4))
    local from_phone = is_phones(pinfo)
    tree:add(shown.direction, tvb(at, 1), from_phone and 1 or 0):set_generated()
    if flags ~= 0 then flags_item:add_proto_expert_info(experts.flags_set) end
    if not packet then
        type_item:add_proto_expert_info(experts.unknown_type,
                                        number .. " is the type of no packet")
        show_rest(cursor, shown.payload, tree)
        if cursor.stop > captured then tree:add_proto_expert_info(experts.truncated) end
        return name
    end
    if packet.from_phone ~= from_phone then
        type_item:add_proto_expert_info(experts.wrong_direction, name .. " is sent " ..
                                        (packet.from_phone and "by the phone" or "to the phone"))
    end
    local values = show_fields(cursor, packet, tree)
    local identity = table.concat({ pinfo.number, tvb:offset() + at, tvb:len() }, ":")
    local exchange = exchange_of(identity, connection_of(pinfo), packet, values, pinfo)
    show_exchange(exchange, tvb(at, header_size), tree)
    return name .. essence_of(packet, values)
end

-- ---- framing: packets in the bytes that TCP hands over

-- Where the capture lacks bytes TCP puts nothing together; of a packet that was cut what follows is
-- left out. By connection and direction, and by the place where it was found.
local owed, left_out = {}, {}

function quarlo.init()
    forget_answers()
    owed, left_out = {}, {}
end

local function cut_by(tvb, pinfo)
    local direction = connection_of(pinfo) .. " " .. tostring(is_phones(pinfo))
    local place = table.concat({ pinfo.number, tvb:offset(), tvb:len() }, ":")
    if not pinfo.visited then
        local count = math.min(owed[direction] or 0, tvb:reported_len())
        owed[direction] = (owed[direction] or 0) - count
        left_out[place] = count > 0 and count or nil
    end
    return left_out[place] or 0, direction
end

local function show_undecoded(tvb, at, count, root, ...)
    local cursor = { tvb = tvb, at = at, stop = at + count, captured = tvb:captured_len() }
    local tree = root:add(quarlo, range_of(cursor, at, count))
    tree:add_proto_expert_info(...)
    show_rest(cursor, shown.undecoded, tree)
end

local function show_overlong(tvb, at, size, root)
    local text = string.format("quarlo.length of %d is more than quarlo.longest_packet", size)
    show_undecoded(tvb, at, tvb:reported_len() - at, root, experts.malformed, text)
end

-- Asks TCP for more; false when it has none to give.
local function wait_for(pinfo, at, count)
    if pinfo.can_desegment == 0 then return false end
    pinfo.desegment_offset = at
    pinfo.desegment_len = count
    return true
end

-- @return the name of the packet at this place, and where the next begins; nothing at the end
local function next_packet(tvb, at, pinfo, root, direction)
    local left, captured = tvb:reported_len() - at, tvb:captured_len() - at
    if left < header_size then
        if not wait_for(pinfo, at, DESEGMENT_ONE_MORE_SEGMENT) then
            show_undecoded(tvb, at, left, root, experts.truncated)
        end
        return
    end
    if captured < header_size then
        if captured > 0 then show_undecoded(tvb, at, left, root, experts.truncated) end
        return
    end
    local size = tvb(at + 5, 4):le_uint()
    if size > prefs.longest_packet then return show_overlong(tvb, at, size, root) end
    local missing = header_size + size - left
    if missing > 0 then
        if wait_for(pinfo, at, missing) then return end
        if not pinfo.visited then owed[direction] = missing end
    end
    return show_packet(tvb, at, size, pinfo, root), at + header_size + size
end

local function tell(names, pinfo)
    if #names == 0 then return end
    local text = table.concat(names, ", ")
    pinfo.cols.protocol = "quarlo"
    if pinfo.private.quarlo then
        pinfo.cols.info:append(", " .. text)
    else
        pinfo.cols.info:set(text)
    end
    pinfo.cols.info:fence()
    pinfo.private.quarlo = "1"
end

function quarlo.dissector(tvb, pinfo, root)
    local at, direction = cut_by(tvb, pinfo)
    if at > 0 then show_undecoded(tvb, 0, at, root, experts.truncated) end
    local names = {}
    while at and at < tvb:reported_len() do
        local name
        name, at = next_packet(tvb, at, pinfo, root, direction)
        names[#names + 1] = name
    end
    tell(names, pinfo)
    return tvb:reported_len()
end

local ports = DissectorTable.get("tcp.port")
local port = prefs["tcp.port"]
ports:add(port, quarlo)

function quarlo.prefs_changed()
    if prefs["tcp.port"] == port then return end
    ports:remove(port, quarlo)
    port = prefs["tcp.port"]
    ports:add(port, quarlo)
end
